// SPDX-License-Identifier: BSD-3-Clause
#include "volume/MemoryReader.h"

#include <cstring>

namespace TEVRA::volume {

CMemoryReader::CMemoryReader(const CSize& size, EPixelType pixelType, const void* pixels)
    : m_pixels(static_cast<const std::byte*>(pixels)) {
    m_info.format = "memory";
    m_info.size = size;
    m_info.pixelType = pixelType;
    m_info.storedType = Description(pixelType);
}

void CMemoryReader::read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) {
    std::memcpy(pixels, m_pixels + static_cast<std::size_t>(firstSlice) * SliceBytes(),
                static_cast<std::size_t>(sliceCount) * SliceBytes());
}

} // namespace TEVRA::volume
