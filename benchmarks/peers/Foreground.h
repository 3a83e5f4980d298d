// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <span>

namespace TEVRA::benchmarks {

/// The threshold that all peers use, so that they agree on the foreground: Otsu's, from 256 bins between the
/// least and the largest value, its position in that range scaled by `factor`.
double ThresholdOf(std::span<const float> smoothed, double factor);

/// The same for grey values, from one bin per value, the value scaled.
double ThresholdOf(std::span<const unsigned char> grey, double factor);

struct SAngles {
    float theta;
    float phi;
};

/// No axis, as all maps mark it.
inline constexpr SAngles NO_AXIS{-1.0F, -4.1415925F};

/// The angles of an axis of any length but zero, by the C library's functions.
inline SAngles AnglesOf(std::array<double, 3> axis) {
    const double length = std::sqrt(axis[0] * axis[0] + axis[1] * axis[1] + axis[2] * axis[2]);
    const double sign = axis[2] < 0.0 ? -1.0 : 1.0;
    return {static_cast<float>(std::acos(sign * axis[2] / length)),
            static_cast<float>(std::atan2(sign * axis[1], sign * axis[0]))};
}

} // namespace TEVRA::benchmarks
