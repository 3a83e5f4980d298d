// SPDX-License-Identifier: BSD-3-Clause
#include "volume/StoredPixels.h"

#include "volume/Failure.h"
#include "volume/NumberText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace TEVRA::volume {
namespace {

struct SNumberType {
    EStoredType type;
    ENumberKind kind;
    int bits;
};

constexpr std::array<SNumberType, 10> TYPES{{{EStoredType::u8, ENumberKind::unsignedInteger, 8},
                                             {EStoredType::u16, ENumberKind::unsignedInteger, 16},
                                             {EStoredType::f32, ENumberKind::floatingPoint, 32},
                                             {EStoredType::i8, ENumberKind::signedInteger, 8},
                                             {EStoredType::i16, ENumberKind::signedInteger, 16},
                                             {EStoredType::u32, ENumberKind::unsignedInteger, 32},
                                             {EStoredType::i32, ENumberKind::signedInteger, 32},
                                             {EStoredType::u64, ENumberKind::unsignedInteger, 64},
                                             {EStoredType::i64, ENumberKind::signedInteger, 64},
                                             {EStoredType::f64, ENumberKind::floatingPoint, 64}}};

constexpr bool stand_at_their_numbers() {
    for (std::size_t i = 0; i < TYPES.size(); ++i) {
        if (static_cast<std::size_t>(TYPES[i].type) != i) {
            return false;
        }
    }
    return true;
}
static_assert(stand_at_their_numbers());

const SNumberType& number_type(EStoredType type) noexcept {
    return TYPES[static_cast<std::size_t>(type)];
}

} // namespace

std::optional<EStoredType> StoredTypeFrom(ENumberKind kind, int bits) noexcept {
    for (const SNumberType& known : TYPES) {
        if (known.kind == kind && known.bits == bits) {
            return known.type;
        }
    }
    return std::nullopt;
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

std::string Description(EStoredType type) {
    return NumberDescription(number_type(type).kind, number_type(type).bits);
}

EPixelType HandedOutType(EStoredType type) noexcept {
    switch (type) {
    case EStoredType::u8:
        return EPixelType::u8;
    case EStoredType::u16:
        return EPixelType::u16;
    default:
        return EPixelType::f32;
    }
}

std::size_t BytesPerPixel(EStoredType type) noexcept {
    return static_cast<std::size_t>(number_type(type).bits / 8);
}

bool IsConverted(EStoredType type) noexcept {
    return type != EStoredType::f32 && HandedOutType(type) == EPixelType::f32;
}

bool IsRounded(EStoredType type) noexcept {
    return number_type(type).bits > std::numeric_limits<float>::digits && type != EStoredType::f32;
}

template <typename StoredT>
void CFloatConversion::convert(const std::byte* stored, std::size_t count, std::byte* pixels,
                               const SValueScale& scale) {
    constexpr bool ROUNDED =
        std::is_same_v<StoredT, double> || (std::is_integral_v<StoredT> && sizeof(StoredT) >= 4);
    // Whole numbers of 64 bit have more digits than a double.
    using Exact =
        std::conditional_t<std::is_integral_v<StoredT> && sizeof(StoredT) == 8, long double, double>;
    const bool scales = scale.slope != 1.0 || scale.intercept != 0.0;
    Exact largest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        StoredT value{};
        std::memcpy(&value, stored + i * sizeof(StoredT), sizeof(StoredT));
        auto exact = static_cast<Exact>(value);
        if (scales) {
            exact = scale.slope * exact + scale.intercept;
        }
        if (std::abs(exact) > std::numeric_limits<float>::max() && std::isfinite(exact)) {
            throw CInputError(
                m_name + ": a pixel's value is " + NumberText(static_cast<double>(exact)) +
                ", but images are read in 32-bit floats, which end at 3.4e38; divide the values by "
                "a constant");
        }
        const auto asFloat = static_cast<float>(exact);
        if constexpr (ROUNDED) {
            // A NaN compares false and stays out.
            const Exact difference = std::abs(exact - static_cast<Exact>(asFloat));
            largest = difference > largest ? difference : largest;
        }
        std::memcpy(pixels + i * sizeof(float), &asFloat, sizeof(float));
    }
    m_largestRounding = std::max(m_largestRounding, static_cast<double>(largest));
}

void CFloatConversion::Convert(EStoredType type, const std::byte* stored, std::size_t count,
                               std::byte* pixels, const SValueScale& scale) {
    switch (type) {
    case EStoredType::u8:
        return convert<std::uint8_t>(stored, count, pixels, scale);
    case EStoredType::u16:
        return convert<std::uint16_t>(stored, count, pixels, scale);
    case EStoredType::f32:
        return convert<float>(stored, count, pixels, scale);
    case EStoredType::i8:
        return convert<std::int8_t>(stored, count, pixels, scale);
    case EStoredType::i16:
        return convert<std::int16_t>(stored, count, pixels, scale);
    case EStoredType::u32:
        return convert<std::uint32_t>(stored, count, pixels, scale);
    case EStoredType::i32:
        return convert<std::int32_t>(stored, count, pixels, scale);
    case EStoredType::u64:
        return convert<std::uint64_t>(stored, count, pixels, scale);
    case EStoredType::i64:
        return convert<std::int64_t>(stored, count, pixels, scale);
    case EStoredType::f64:
        return convert<double>(stored, count, pixels, scale);
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
