// SPDX-License-Identifier: BSD-3-Clause
#include "stream/stages/GreyRows.h"

#include "VexoFilter/PixelGrid.h"

namespace TEVRA::stream {

CGreyRows::CGreyRows(CGreySlices& grey)
    : m_grey(grey), m_raw(grey.RawSliceBytes()), m_prepared(grey.NewBuffer()) {}

volume::SValueRange CGreyRows::Fill(long long z, float* rows, std::size_t rowFloats) {
    m_grey.Read({z, z + 1}, m_raw.data());
    const SGreySlice slice = m_grey.Prepare(m_raw.data(), m_prepared);
    const CSize& size = m_grey.Size();
    const Impl::CPixelGrid pixels(slice.pixels, m_grey.Type(), CSize(size[0], size[1]));
    for (long long y = 0; y < size[1]; ++y) {
        pixels.Read({0, y, 0}, size[0], rows + static_cast<std::size_t>(y) * rowFloats);
    }
    return slice.range;
}

} // namespace TEVRA::stream
