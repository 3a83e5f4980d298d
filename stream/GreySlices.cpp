// SPDX-License-Identifier: BSD-3-Clause
#include "stream/GreySlices.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>

namespace TEVRA::stream {
namespace {

/// @param nanIsHi whether NaN becomes the largest value, or the smallest.
void replace(float* pixels, std::size_t count, const std::optional<volume::SValueRange>& finite,
             bool nanIsHi) {
    const float lo = finite ? static_cast<float>(finite->lo) : 0.0F;
    const float hi = finite ? static_cast<float>(finite->hi) : 0.0F;
    for (std::size_t i = 0; i < count; ++i) {
        if (!std::isfinite(pixels[i])) {
            const bool isHi = std::isnan(pixels[i]) ? nanIsHi : pixels[i] > 0.0F;
            pixels[i] = isHi ? hi : lo;
        }
    }
}

template <typename PixelT>
PixelT turned(PixelT value) {
    if constexpr (std::is_same_v<PixelT, float>) {
        return -value;
    } else {
        return static_cast<PixelT>(std::numeric_limits<PixelT>::max() - value);
    }
}

template <typename PixelT>
void turn(PixelT* pixels, std::size_t count) {
    std::transform(pixels, pixels + count, pixels, turned<PixelT>);
}

} // namespace

CGreySlices::CGreySlices(volume::IImageReader& reader, const std::optional<volume::SGreyWindow>& window,
                         Impl::EFiberContrast contrast)
    : m_reader(reader), m_window(window), m_contrast(contrast) {
    if (window) {
        volume::CheckWindow(*window);
    }
}

double CGreySlices::Turned(double value) const {
    if (m_contrast == Impl::EFiberContrast::bright) {
        return value;
    }
    const IImage::CType& type = Type();
    const double top = type == IMAGE_GREY_8    ? std::numeric_limits<std::uint8_t>::max()
                       : type == IMAGE_GREY_16 ? std::numeric_limits<std::uint16_t>::max()
                                               : 0.0;
    return top - value;
}

double CGreySlices::FromFile(double value) const {
    return Turned(m_window ? 255.0 * (value - m_window->lo) / (m_window->hi - m_window->lo) : value);
}

Impl::SGreyScale CGreySlices::UnitScale(const volume::SValueRange& range) const {
    const auto prepared = [this](double value) {
        return Turned(m_window ? static_cast<double>(volume::GreyOf(value, *m_window)) : value);
    };
    const auto [lo, hi] = std::minmax({prepared(range.lo), prepared(range.hi)});
    return {static_cast<float>(lo), hi > lo ? static_cast<float>(1.0 / (hi - lo)) : 0.0F};
}

const IImage::CType& CGreySlices::Type() const {
    return m_window ? IMAGE_GREY_8 : volume::ImageTypeOf(m_reader.Info().pixelType);
}

SGreySlice CGreySlices::Prepare(const std::byte* raw, std::vector<std::byte>& buffer) const {
    switch (m_reader.Info().pixelType) {
    case volume::EPixelType::u8:
        return prepare(reinterpret_cast<const std::uint8_t*>(raw), buffer.data());
    case volume::EPixelType::u16:
        return prepare(reinterpret_cast<const std::uint16_t*>(raw), buffer.data());
    case volume::EPixelType::f32:
        break;
    }
    return prepare(reinterpret_cast<const float*>(raw), buffer.data());
}

template <typename PixelT>
SGreySlice CGreySlices::prepare(const PixelT* raw, std::byte* buffer) const {
    const std::size_t count = slice_pixels();
    const bool isDark = m_contrast == Impl::EFiberContrast::dark;
    const volume::SValueRange range = volume::RangeOf(std::span(raw, count));
    if (m_window) {
        auto* const grey = reinterpret_cast<std::uint8_t*>(buffer);
        for (std::size_t i = 0; i < count; ++i) {
            const auto value = static_cast<double>(raw[i]);
            grey[i] = isDark && std::isnan(value) ? std::uint8_t{255} : volume::GreyOf(value, *m_window);
        }
        if (isDark) {
            turn(grey, count);
        }
        return {buffer, range};
    }
    const bool isFinite = range.nanCount + range.infiniteCount == 0;
    if (isFinite && !isDark) {
        return {reinterpret_cast<const std::byte*>(raw), range};
    }
    auto* const pixels = reinterpret_cast<PixelT*>(buffer);
    std::copy_n(raw, count, pixels);
    if constexpr (std::is_same_v<PixelT, float>) {
        if (!isFinite) {
            replace(pixels, count, m_finite, isDark);
        }
    }
    if (isDark) {
        turn(pixels, count);
    }
    return {buffer, range};
}

} // namespace TEVRA::stream
