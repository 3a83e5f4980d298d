// SPDX-License-Identifier: BSD-3-Clause
#include "stream/stages/GreyRows.h"

#include "VexoFilter/PixelGrid.h"

#include <algorithm>

namespace TEVRA::stream {

CGreyRows::CGreyRows(CGreySlices& grey)
    : m_grey(grey), m_raw(grey.RawSliceBytes()), m_slice(grey.NewSlice()) {}

volume::SValueRange CGreyRows::Fill(long long z, float* rows, std::size_t rowFloats) {
    m_grey.Read({z, z + 1}, m_raw.data());
    const volume::SValueRange range = m_grey.Prepare(m_raw.data(), *m_slice);
    const CSize& size = m_slice->Size();
    const auto width = static_cast<std::size_t>(size[0]);
    const auto height = static_cast<std::size_t>(size[1]);
    const auto convert = [&](const auto* pixels) {
        for (std::size_t y = 0; y < height; ++y) {
            std::transform(pixels + y * width, pixels + (y + 1) * width, rows + y * rowFloats,
                           [](auto value) { return static_cast<float>(value); });
        }
    };
    if (m_slice->Type() == IMAGE_GREY_8) {
        convert(m_slice->Pixels<unsigned char>());
    } else if (m_slice->Type() == IMAGE_GREY_16) {
        convert(m_slice->Pixels<unsigned short>());
    } else {
        convert(m_slice->Pixels<float>());
    }
    return range;
}

} // namespace TEVRA::stream
