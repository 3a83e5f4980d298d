// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

namespace TEVRA::Impl {

/// Bin of a float value in a histogram of `bins` equal bins over [min, max], in single precision:
/// (value - min) * bins / (max - min), truncated, at most the last bin. A value below min falls into bin 0.
///
/// @param value not NaN.
inline std::size_t HistogramBin(float value, float min, float max, std::size_t bins) {
    const float position = (value - min) * static_cast<float>(bins) / (max - min);
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
