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
}

void CSlabReader::ReadNext() {
    if (m_slabsRead < SlabCount(m_slices, m_slabSlices)) {
        m_read(SlabOf(m_slices, m_slabSlices, m_slabsRead),
               m_buffers[static_cast<std::size_t>(m_slabsRead) % 2].data());
        ++m_slabsRead;
    }
}

} // namespace TEVRA::stream
