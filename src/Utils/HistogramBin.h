// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Lanes.h"

#include <cstddef>

namespace TEVRA::Impl {
inline namespace TEVRA_WIDE {

/// Position of a value in a histogram of `bins` equal bins over [min, max]: 0 at min, `bins` at max, in
/// single precision, every operation rounded.
TEVRA_LANES_INLINE float HistogramPosition(float value, float min, float max, float bins) {
    return (value - min) * bins / (max - min);
}

} // namespace TEVRA_WIDE

/// Bin of a float value in a histogram of `bins` equal bins over [min, max]: its position, truncated, at most
/// the last bin. A value below min falls into bin 0.
///
/// @param value not NaN.
inline std::size_t HistogramBin(float value, float min, float max, std::size_t bins) {
    const float position = HistogramPosition(value, min, max, static_cast<float>(bins));
    if (!(position >= 1.0F)) {
        return 0;
    }
    // Compared before the conversion, which is not defined for positions beyond 64 bits.
    if (position >= static_cast<float>(bins)) {
        return bins - 1;
    }
    const auto bin = static_cast<std::size_t>(position);
    return bin < bins ? bin : bins - 1;
}

} // namespace TEVRA::Impl
