// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/PixelType.h"
#include "volume/RawLayout.h"

#include <cstddef>
#include <optional>
#include <string>

namespace TEVRA::volume {

/// Pixel types that files may hold. Signed whole numbers are handed out as floats, which hold them exactly.
enum class EStoredType { u8, u16, f32, i8, i16 };

/// What a file's header says of its pixels' numbers.
enum class ENumberKind { unsignedInteger, signedInteger, floatingPoint };

/// The type for a kind and number of bits; nothing if such pixels are not read.
std::optional<EStoredType> StoredTypeFrom(ENumberKind kind, int bits) noexcept;
/// As in "16-bit signed integer", for any number of bits.
std::string NumberDescription(ENumberKind kind, int bits);
/// What to do about pixels that are not read: the end of error messages.
std::string PixelTypeAdvice();

/// As in "16-bit signed integer".
const char* Description(EStoredType type) noexcept;
EPixelType HandedOutType(EStoredType type) noexcept;
std::size_t BytesPerPixel(EStoredType type) noexcept;

/// Turns stored pixels of any type, in the machine's byte order, into floats. The two must not overlap.
void ConvertToFloat(EStoredType type, const std::byte* stored, std::size_t count, std::byte* pixels);
/// Changes the byte order of pixels in place.
void SwapBytes(std::byte* pixels, std::size_t count, std::size_t bytesPerPixel) noexcept;
/// True if pixels in that order have to be swapped on this machine.
bool NeedsSwap(EByteOrder order) noexcept;

} // namespace TEVRA::volume
