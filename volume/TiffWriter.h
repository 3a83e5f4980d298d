// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/ImageInterface.h"

#include <array>
#include <string>

namespace TEVRA::volume {

/// Writes a 2D or 3D image to an uncompressed TIFF file, one page per slice; BigTIFF if it takes 4 GB or
/// more. GREY_8, GREY_16, GREY_F, or BINARY_FG as 8-bit pixels.
///
/// The spacing goes into OME metadata of the first page if `spacingUnit` is "mm" or "um"; TIFF has no way to
/// state a spacing without unit. Progress is reported to the calling thread's monitor, by slices.
/// @throws CEnvironmentError if the file cannot be written, std::invalid_argument for other images.
void WriteTiff(const std::string& path, const IImage& image, const std::array<double, 3>& spacing,
               const std::string& spacingUnit);

} // namespace TEVRA::volume
