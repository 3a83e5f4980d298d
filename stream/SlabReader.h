// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/SliceRange.h"

#include <array>
#include <cstddef>
#include <functional>
#include <future>
#include <vector>

namespace TEVRA::stream {

/// Slabs of slices one after the other, each read while the one before is being worked on.
class CSlabReader {
  public:
    /// Reads slices into memory; called on another thread, one call at a time.
    using ReadSlices = std::function<void(const SSliceRange& slices, std::byte* pixels)>;

    CSlabReader(ReadSlices read, const SSliceRange& slices, long long slabSlices, std::size_t sliceBytes);
    CSlabReader(const CSlabReader&) = delete; // the reading thread knows the object
    CSlabReader& operator=(const CSlabReader&) = delete;

    /// The pixels of the next slab; those of the one before are gone. @throws what reading threw.
    const std::byte* Next();

  private:
    void start_reading();

    ReadSlices m_read;
    SSliceRange m_slices;
    long long m_slabSlices;
    long long m_slabsStarted = 0;
    std::array<std::vector<std::byte>, 2> m_buffers;
    std::future<void> m_reading; // last: its end is waited for before the buffers go
};

} // namespace TEVRA::stream
