// SPDX-License-Identifier: BSD-3-Clause
#include "stream/SlabReader.h"

#include <algorithm>
#include <utility>

namespace TEVRA::stream {

CSlabReader::CSlabReader(ReadSlices read, const SSliceRange& slices, long long slabSlices,
                         std::size_t sliceBytes)
    : m_read(std::move(read)), m_slices(slices), m_slabSlices(slabSlices) {
    const long long slabs = SlabCount(slices, slabSlices);
    for (std::size_t buffer = 0; buffer < static_cast<std::size_t>(std::min(slabs, 2LL)); ++buffer) {
        m_buffers[buffer].resize(static_cast<std::size_t>(std::min(slabSlices, slices.Count())) * sliceBytes);
    }
    start_reading();
}

const std::byte* CSlabReader::Next() {
    m_reading.get();
    const std::byte* const pixels = m_buffers[static_cast<std::size_t>(m_slabsStarted - 1) % 2].data();
    start_reading();
    return pixels;
}

void CSlabReader::start_reading() {
    const long long slab = m_slabsStarted;
    if (slab == SlabCount(m_slices, m_slabSlices)) {
        return;
    }
    std::byte* const target = m_buffers[static_cast<std::size_t>(slab) % 2].data();
    m_reading = std::async(std::launch::async,
                           [this, slab, target] { m_read(SlabOf(m_slices, m_slabSlices, slab), target); });
    ++m_slabsStarted;
}

} // namespace TEVRA::stream
