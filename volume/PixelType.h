// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

namespace TEVRA::volume {

/// Pixel types that readers hand out: unsigned 8 and 16 bit, 32-bit float.
enum class EPixelType { u8, u16, f32 };

std::size_t BytesPerPixel(EPixelType type) noexcept;
/// "u8", "u16" or "f32".
const char* ToString(EPixelType type) noexcept;
/// "8-bit unsigned integer", "16-bit unsigned integer" or "32-bit float".
const char* Description(EPixelType type) noexcept;

} // namespace TEVRA::volume
