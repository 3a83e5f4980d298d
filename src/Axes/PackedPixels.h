// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/Segments.h"
#include "Numeric/Registers.h"

#include <cstddef>

/// Some pixels of a segment one after the other, so that kernels find work in every lane. For sources that are
/// compiled once per instruction set, and for nobody else.
namespace TEVRA::Impl {
inline namespace TEVRA_WIDE {

static_assert(PACKING_ROOM >= FLOATS);

/// One number of each packed pixel.
struct SPacked {
    alignas(64) float values[SEGMENT_PIXELS + PACKING_ROOM];
};

/// Fills up the last group of lanes.
TEVRA_LANES_INLINE void Pad(float* values, std::size_t count) {
    __builtin_memset(values + count, 0, PACKING_ROOM * sizeof(float));
}

/// @param positions of the pixels in the row.
TEVRA_LANES_INLINE void PackPixels(const float* row, const unsigned short* positions, std::size_t count,
                                   SPacked& packed) {
    for (std::size_t i = 0; i < count; ++i) {
        packed.values[i] = row[positions[i]];
    }
    Pad(packed.values, count);
}

/// Appends the numbers of those pixels of a group that got no axis. @param at the group's first one of `count`.
/// @return how many there are then.
template <typename LanesT>
TEVRA_LANES_INLINE std::size_t AppendFailed(const MaskOf<LanesT>& found, std::size_t at, std::size_t count,
                                            unsigned short* failed, std::size_t failures) {
    using Group = SLaneAccess<LanesT>;
    if (__builtin_expect(Group::AllOf(found), 1)) {
        return failures;
    }
    for (std::size_t lane = 0; lane < Group::COUNT && at + lane < count; ++lane) {
        if (!Group::IsSet(found, lane)) {
            failed[failures++] = static_cast<unsigned short>(at + lane);
        }
    }
    return failures;
}

} // namespace TEVRA_WIDE
} // namespace TEVRA::Impl
