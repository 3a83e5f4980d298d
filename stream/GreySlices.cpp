// SPDX-License-Identifier: BSD-3-Clause
#include "stream/GreySlices.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace TEVRA::stream {
namespace {

const IImage::CType& type_of(volume::EPixelType type) {
    switch (type) {
    case volume::EPixelType::u8:
        return IMAGE_GREY_8;
    case volume::EPixelType::u16:
        return IMAGE_GREY_16;
    case volume::EPixelType::f32:
        break;
    }
    return IMAGE_GREY_F;
}

void replace(float* pixels, std::size_t count, const std::optional<volume::SValueRange>& finite) {
    const float lo = finite ? static_cast<float>(finite->lo) : 0.0F;
    const float hi = finite ? static_cast<float>(finite->hi) : 0.0F;
    for (std::size_t i = 0; i < count; ++i) {
        if (!std::isfinite(pixels[i])) {
            pixels[i] = pixels[i] > 0.0F ? hi : lo; // NaN is not above 0
        }
    }
}

} // namespace

CGreySlices::CGreySlices(volume::IImageReader& reader, const std::optional<volume::SGreyWindow>& window)
    : m_reader(reader), m_window(window) {
    if (window) {
        volume::CheckWindow(*window);
    }
}

std::unique_ptr<CImage> CGreySlices::NewSlice() const {
    const CSize& size = Size();
    const IImage::CType& type = m_window ? IMAGE_GREY_8 : type_of(m_reader.Info().pixelType);
    return std::make_unique<CImage>(type, CSize(size[0], size[1]), CSize(0, 0, 0));
}

volume::SValueRange CGreySlices::Prepare(const std::byte* raw, CImage& slice) const {
    switch (m_reader.Info().pixelType) {
    case volume::EPixelType::u8:
        return prepare(reinterpret_cast<const std::uint8_t*>(raw), slice);
    case volume::EPixelType::u16:
        return prepare(reinterpret_cast<const std::uint16_t*>(raw), slice);
    case volume::EPixelType::f32:
        break;
    }
    return prepare(reinterpret_cast<const float*>(raw), slice);
}

template <typename PixelT>
volume::SValueRange CGreySlices::prepare(const PixelT* raw, CImage& slice) const {
    const auto count = static_cast<std::size_t>(slice.Size().Elements());
    const volume::SValueRange range = volume::RangeOf(std::span(raw, count));
    if (m_window) {
        auto* const grey = slice.Pixels<std::uint8_t>();
        for (std::size_t i = 0; i < count; ++i) {
            grey[i] = volume::GreyOf(static_cast<double>(raw[i]), *m_window);
        }
        return range;
    }
    std::memcpy(slice.Pixels<PixelT>(), raw, count * sizeof(PixelT));
    if constexpr (std::is_same_v<PixelT, float>) {
        if (range.nanCount + range.infiniteCount > 0) {
            replace(slice.Pixels<float>(), count, m_finite);
        }
    }
    return range;
}

} // namespace TEVRA::stream
