// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/PixelType.h"
#include "zeklib2image/Size.h"

#include <string>

namespace TEVRA::volume {

enum class EByteOrder { little, big };

/// How the bytes of a file without header are to be read: pixels in a row, x fastest, nothing before or
/// after.
struct SRawLayout {
    CSize size; ///< 2 or 3 dimensions
    EPixelType pixelType = EPixelType::u8;
    EByteOrder byteOrder = EByteOrder::little;
};

/// The layout that a text describes: "X,Y,Z,TYPE" or "X,Y,TYPE", as in "512,512,300,u16". TYPE is u8, u16 or
/// f32, in little-endian byte order; u16be and f32be are big-endian.
/// @throws CInputError for any other text.
SRawLayout ParseRawLayout(const std::string& text);

} // namespace TEVRA::volume
