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
template <typename NumberT>
inline constexpr std::size_t LINE_NUMBERS = LINE_BYTES / sizeof(NumberT);
static_assert(ROW_GROUP % LINE_NUMBERS<HalfBits> == 0 && ROW_GROUP % LINE_NUMBERS<float> == 0);

/// From one row to the next, for rows that are read side by side: room for whole groups, and an odd number of
/// cache lines, so that not all rows compete for the same few places of a cache.
template <typename NumberT>
constexpr std::size_t RowStride(std::size_t count) {
    return (RoundedToGroup(count) / LINE_NUMBERS<NumberT> | 1U) * LINE_NUMBERS<NumberT>;
}

/// From one slice to the next, for the same reason; with room for what is loaded beyond the last voxel.
template <typename NumberT>
constexpr std::size_t SliceStride(std::size_t numbers) {
    constexpr std::size_t LINE = LINE_NUMBERS<NumberT>;
    constexpr std::size_t PLACES = 64; // lines that a cache tells apart by their address within a page
    constexpr std::size_t STAGGER = 5;
    const std::size_t lines = (numbers + VOXEL_LOAD + LINE - 1) / LINE;
    return (lines + (PLACES + STAGGER - lines % PLACES) % PLACES) * LINE;
}

/// Memory that begins with a cache line, not initialised; freed with the last owner.
using RowMemory = std::shared_ptr<void>;

inline RowMemory NewRowMemory(std::size_t bytes) {
    constexpr std::align_val_t ALIGNMENT{LINE_BYTES};
    return {::operator new[](bytes, ALIGNMENT),
            [ALIGNMENT](void* memory) { ::operator delete[](memory, ALIGNMENT); }};
}

} // namespace TEVRA::Impl
