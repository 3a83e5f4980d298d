// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>

namespace TEVRA::stream {

/// Slices `first` to `end` - 1.
struct SSliceRange {
    long long first = 0;
    long long end = 0;

    long long Count() const noexcept { return end - first; }
    friend bool operator==(const SSliceRange&, const SSliceRange&) = default;
};

/// Slab number `slab` of a range that is cut into slabs of `slabSlices` slices, the last one possibly
/// smaller.
inline SSliceRange SlabOf(const SSliceRange& range, long long slabSlices, long long slab) {
    const long long first = range.first + slab * slabSlices;
    return {first, std::min(first + slabSlices, range.end)};
}

inline long long SlabCount(const SSliceRange& range, long long slabSlices) {
    return (range.Count() + slabSlices - 1) / slabSlices;
}

} // namespace TEVRA::stream
