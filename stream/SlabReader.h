// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/SliceRange.h"

#include <array>
#include <cstddef>
#include <functional>
#include <vector>

namespace TEVRA::stream {

/// Slabs of slices one after the other, each read while the one before is being worked on.
///
///     CSlabReader reader(read, slices, slabSlices, sliceBytes);
///     reader.ReadNext();
///     for (each slab) {
///         const std::byte* const pixels = reader.Take();
///         workers.Run(tasks, work on pixels, [&reader] { reader.ReadNext(); });
///     }
class CSlabReader {
  public:
    /// Reads slices into memory; one call at a time, of any thread.
    using ReadSlices = std::function<void(const SSliceRange& slices, std::byte* pixels)>;

    CSlabReader(ReadSlices read, const SSliceRange& slices, long long slabSlices, std::size_t sliceBytes);

    /// Reads the next slab; nothing after the last. Leaves the one taken alone. @throws what reading throws.
    void ReadNext();
    /// The pixels of the slab read last; those of the one before are gone with the next `ReadNext`.
    const std::byte* Take() const { return m_buffers[static_cast<std::size_t>(m_slabsRead - 1) % 2].data(); }

  private:
    ReadSlices m_read;
    SSliceRange m_slices;
    long long m_slabSlices;
    long long m_slabsRead = 0;
    std::array<std::vector<std::byte>, 2> m_buffers;
};

} // namespace TEVRA::stream
