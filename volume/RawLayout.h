// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/ByteOrder.h"
#include "volume/StoredPixels.h"
#include "zeklib2image/Size.h"

#include <string>

namespace TEVRA::volume {

/// How the bytes of a file without header are to be read: pixels in a row, x fastest, nothing before or
/// after.
struct SRawLayout {
    CSize size; ///< 2 or 3 dimensions
    EStoredType type = EStoredType::u8;
    EByteOrder byteOrder = EByteOrder::little;
};

/// The layout that a text describes: "X,Y,Z,TYPE" or "X,Y,TYPE", as in "512,512,300,u16". TYPE is u8, u16 or
/// f32, or one of the other names of EStoredType, in little-endian byte order; u16be, f32be and so on are
/// big-endian.
/// @throws CInputError for any other text.
SRawLayout ParseRawLayout(const std::string& text);

} // namespace TEVRA::volume
