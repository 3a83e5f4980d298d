// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "LocalTensors/PlaneKernels.h"

#include <cstddef>
#include <memory>
#include <new>

namespace TEVRA::Impl {

/// A register of the widest instruction set, and a line of the caches: numbers that begin anywhere else are
/// loaded at half the speed.
inline constexpr std::size_t LINE_BYTES = 64;
inline constexpr std::size_t LINE_FLOATS = LINE_BYTES / sizeof(float);
static_assert(ROW_GROUP % LINE_FLOATS == 0);

/// From one row to the next, for rows that are read side by side: room for whole groups, and an odd number of
/// cache lines, so that not all rows compete for the same few places of a cache.
inline constexpr std::size_t RowStride(std::size_t count) {
    return (RoundedToGroup(count) / LINE_FLOATS | 1U) * LINE_FLOATS;
}

/// From one slice to the next, for the same reason; with room for what is loaded beyond the last voxel.
inline constexpr std::size_t SliceStride(std::size_t floats) {
    constexpr std::size_t PLACES = 64; // lines that a cache tells apart by their address within a page
    constexpr std::size_t STAGGER = 5;
    const std::size_t lines = (floats + VOXEL_LOAD + LINE_FLOATS - 1) / LINE_FLOATS;
    return (lines + (PLACES + STAGGER - lines % PLACES) % PLACES) * LINE_FLOATS;
}

/// Numbers that begin with a cache line, not initialised; freed with the last owner.
using RowMemory = std::shared_ptr<float>;

inline RowMemory NewRowMemory(std::size_t floats) {
    constexpr std::align_val_t ALIGNMENT{LINE_BYTES};
    return {static_cast<float*>(::operator new[](floats * sizeof(float), ALIGNMENT)),
            [ALIGNMENT](float* memory) { ::operator delete[](memory, ALIGNMENT); }};
}

} // namespace TEVRA::Impl
