// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/StoredPixels.h"

#include <cstddef>
#include <string>

namespace TEVRA::volume {

/// What a PNG file holds.
struct SPngInfo {
    long long width = 0;
    long long height = 0;
    EStoredType type = EStoredType::u8; ///< 1-, 2- and 4-bit grey values are handed out spread over 0 to 255
    int bits = 8;                       ///< as stored
    double xPixelsPerMm = 0.0;          ///< 0 if not stated
    double yPixelsPerMm = 0.0;
};

/// @throws CInputError if the file is not a grey PNG image or broken, CEnvironmentError if it cannot be
/// opened.
SPngInfo ReadPngInfo(const std::string& path);

/// Memory that decoding takes beside the pixels.
std::size_t PngBufferBytes(const SPngInfo& info) noexcept;

/// Decodes the image. @param pixels room for width x height pixels of the given info's type.
/// @throws CInputError if the file is broken or no longer what `info` says.
void ReadPng(const std::string& path, const SPngInfo& info, std::byte* pixels);

} // namespace TEVRA::volume
