// SPDX-License-Identifier: BSD-3-Clause
#include "volume/StoredPixels.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace TEVRA::volume {
namespace {

template <typename StoredT>
void convert_to_float(const std::byte* stored, std::size_t count, std::byte* pixels) {
    for (std::size_t i = 0; i < count; ++i) {
        StoredT value{};
        std::memcpy(&value, stored + i * sizeof(StoredT), sizeof(StoredT));
        const auto asFloat = static_cast<float>(value);
        std::memcpy(pixels + i * sizeof(float), &asFloat, sizeof(float));
    }
}

} // namespace

std::optional<EStoredType> StoredTypeFrom(ENumberKind kind, int bits) noexcept {
    switch (kind) {
    case ENumberKind::unsignedInteger:
        return bits == 8    ? std::optional(EStoredType::u8)
               : bits == 16 ? std::optional(EStoredType::u16)
                            : std::nullopt;
    case ENumberKind::signedInteger:
        return bits == 8    ? std::optional(EStoredType::i8)
               : bits == 16 ? std::optional(EStoredType::i16)
                            : std::nullopt;
    case ENumberKind::floatingPoint:
        break;
    }
    return bits == 32 ? std::optional(EStoredType::f32) : std::nullopt;
}

std::string NumberDescription(ENumberKind kind, int bits) {
    const std::string start = std::to_string(bits) + "-bit ";
    switch (kind) {
    case ENumberKind::unsignedInteger:
        return start + "unsigned integer";
    case ENumberKind::signedInteger:
        return start + "signed integer";
    case ENumberKind::floatingPoint:
        break;
    }
    return start + "float";
}

std::string PixelTypeAdvice() {
    return "convert the image to 8- or 16-bit integer or 32-bit float grey values";
}

const char* Description(EStoredType type) noexcept {
    switch (type) {
    case EStoredType::u8:
    case EStoredType::u16:
    case EStoredType::f32:
        return Description(HandedOutType(type));
    case EStoredType::i8:
        return "8-bit signed integer";
    case EStoredType::i16:
        break;
    }
    return "16-bit signed integer";
}

EPixelType HandedOutType(EStoredType type) noexcept {
    switch (type) {
    case EStoredType::u8:
        return EPixelType::u8;
    case EStoredType::u16:
        return EPixelType::u16;
    case EStoredType::f32:
    case EStoredType::i8:
    case EStoredType::i16:
        break;
    }
    return EPixelType::f32;
}

std::size_t BytesPerPixel(EStoredType type) noexcept {
    switch (type) {
    case EStoredType::u8:
    case EStoredType::i8:
        return 1;
    case EStoredType::u16:
    case EStoredType::i16:
        return 2;
    case EStoredType::f32:
        break;
    }
    return 4;
}

void ConvertToFloat(EStoredType type, const std::byte* stored, std::size_t count, std::byte* pixels) {
    switch (type) {
    case EStoredType::u8:
        return convert_to_float<std::uint8_t>(stored, count, pixels);
    case EStoredType::u16:
        return convert_to_float<std::uint16_t>(stored, count, pixels);
    case EStoredType::f32:
        return convert_to_float<float>(stored, count, pixels);
    case EStoredType::i8:
        return convert_to_float<std::int8_t>(stored, count, pixels);
    case EStoredType::i16:
        return convert_to_float<std::int16_t>(stored, count, pixels);
    }
}

void SwapBytes(std::byte* pixels, std::size_t count, std::size_t bytesPerPixel) noexcept {
    if (bytesPerPixel < 2) {
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::reverse(pixels + i * bytesPerPixel, pixels + (i + 1) * bytesPerPixel);
    }
}

bool NeedsSwap(EByteOrder order) noexcept {
    return (order == EByteOrder::big) != (std::endian::native == std::endian::big);
}

} // namespace TEVRA::volume
