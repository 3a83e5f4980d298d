// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/ByteOrder.h"
#include "volume/PixelType.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace TEVRA::volume {

/// Pixel types that files may hold. What is no EPixelType is handed out as floats, which hold signed numbers
/// of 8 and 16 bit exactly and round the others.
enum class EStoredType { u8, u16, f32, i8, i16, u32, i32, u64, i64, f64 };

/// Stored values v stand for `slope * v + intercept`.
struct SValueScale {
    double slope = 1.0;
    double intercept = 0.0;
};

/// What a file's header says of its pixels' numbers.
enum class ENumberKind { unsignedInteger, signedInteger, floatingPoint };

/// The type for a kind and number of bits; nothing if such pixels are not read.
std::optional<EStoredType> StoredTypeFrom(ENumberKind kind, int bits) noexcept;
/// As in "16-bit signed integer", for any number of bits.
std::string NumberDescription(ENumberKind kind, int bits);
/// What to do about pixels that are not read: the end of error messages.
std::string PixelTypeAdvice();

/// As in "16-bit signed integer".
std::string Description(EStoredType type);
EPixelType HandedOutType(EStoredType type) noexcept;
std::size_t BytesPerPixel(EStoredType type) noexcept;
/// Whether pixels have to be converted to be handed out.
bool IsConverted(EStoredType type) noexcept;
/// Whether there are values of the type that a float cannot hold.
bool IsRounded(EStoredType type) noexcept;

/// Turns stored pixels into floats and remembers what was lost by it.
class CFloatConversion {
  public:
    /// @param name of the image, for messages.
    explicit CFloatConversion(std::string name) : m_name(std::move(name)) {}

    /// @param stored in the machine's byte order; must not overlap with `pixels`.
    /// @throws CInputError for a finite value that is beyond the range of floats.
    void Convert(EStoredType type, const std::byte* stored, std::size_t count, std::byte* pixels,
                 const SValueScale& scale = {});

    /// Largest difference between a stored value of a rounded type and the float it has become.
    double LargestRounding() const noexcept { return m_largestRounding; }

  private:
    template <typename StoredT>
    void convert(const std::byte* stored, std::size_t count, std::byte* pixels, const SValueScale& scale);

    std::string m_name;
    double m_largestRounding = 0.0;
};
/// Changes the byte order of pixels in place.
void SwapBytes(std::byte* pixels, std::size_t count, std::size_t bytesPerPixel) noexcept;
/// True if pixels in that order have to be swapped on this machine.
bool NeedsSwap(EByteOrder order) noexcept;

} // namespace TEVRA::volume
