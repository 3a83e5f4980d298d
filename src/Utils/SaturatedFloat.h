// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

namespace TEVRA::Impl {

/// The nearest float; numbers beyond the range of floats become the largest or lowest one. Infinities and NaN
/// stay what they are.
inline float SaturatedFloat(double value) {
    constexpr double LARGEST = std::numeric_limits<float>::max();
    return static_cast<float>(std::isfinite(value) ? std::clamp(value, -LARGEST, LARGEST) : value);
}

/// The same, but NaN becomes the lowest float.
inline float SaturatedFloatWithoutNan(double value) {
    return std::isnan(value) ? std::numeric_limits<float>::lowest() : SaturatedFloat(value);
}

} // namespace TEVRA::Impl
