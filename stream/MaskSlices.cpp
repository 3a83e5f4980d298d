// SPDX-License-Identifier: BSD-3-Clause
#include "stream/MaskSlices.h"

namespace TEVRA::stream {

std::size_t CMaskSlices::SlicePixels() const {
    const CSize& size = m_reader.Info().size;
    return static_cast<std::size_t>(size[0] * size[1]);
}

void CMaskSlices::Read(const SSliceRange& slices, std::byte* foreground) {
    m_raw.resize(m_reader.SliceBytes());
    for (long long z = slices.first; z < slices.end; ++z) {
        m_reader.ReadSlices(z, 1, m_raw.data());
        switch (m_reader.Info().pixelType) {
        case volume::EPixelType::u8:
            convert<std::uint8_t>(foreground);
            break;
        case volume::EPixelType::u16:
            convert<std::uint16_t>(foreground);
            break;
        case volume::EPixelType::f32:
            convert<float>(foreground);
            break;
        }
        foreground += SlicePixels();
    }
}

void AddMaskValue(volume::CMaskValues& values, double value) {
    try {
        values.Add(value);
    } catch (const volume::CInputError& error) {
        throw CMaskError(error.what());
    }
}

template <typename PixelT>
void CMaskSlices::convert(std::byte* foreground) {
    const auto* const raw = reinterpret_cast<const PixelT*>(m_raw.data());
    const std::size_t count = m_raw.size() / sizeof(PixelT);
    for (std::size_t i = 0; i < count; ++i) {
        const bool set = raw[i] != PixelT{0};
        if (set) {
            AddMaskValue(m_values, static_cast<double>(raw[i]));
        }
        m_hasBackground = m_hasBackground || !set;
        foreground[i] = static_cast<std::byte>(set);
    }
}

} // namespace TEVRA::stream
