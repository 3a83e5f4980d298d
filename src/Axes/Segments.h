// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

namespace TEVRA::Impl {

/// Rows are worked on in segments of at most this many pixels, whose packed pixels fit the stack and the
/// first-level cache.
inline constexpr std::size_t SEGMENT_PIXELS = 512;

/// Where the numbers of a row's pixels stand.
enum class EPlaces {
    inRow, ///< each pixel's at its own place
    packed ///< those of a segment's foreground pixels one after the other, from the segment's first place on
};

/// Packed numbers stand in arrays with room for this many more: kernels work on whole registers.
inline constexpr std::size_t PACKING_ROOM = 16;

} // namespace TEVRA::Impl
