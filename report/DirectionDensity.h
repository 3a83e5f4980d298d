// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace TEVRA::report {

/// Density of directions over the upper half-space in Lambert's equal-area projection, in multiples of that of evenly
/// distributed directions.
///
/// Nodes lie on a square grid from -1 to 1 along x (to the right) and y (down, as in images), row by row; the circle of
/// radius 1 is the equator. The density is an average with the weight exp(k (cos a - 1)), a being the angle to the node:
/// a bell of 5 degrees standard deviation. Axes near the equator count on both sides of it.
struct SDirectionDensity {
    static constexpr std::size_t NODES = 81; ///< along each axis
    std::vector<float> values;               ///< NaN outside the circle
};

/// @param counts axes by the cells of Impl::CDirectionGrid, at least one.
SDirectionDensity DensityOfDirections(std::span<const unsigned long long> counts);

/// The direction at a point of the projection; none outside the circle.
std::optional<std::array<double, 3>> DirectionAt(double x, double y);

} // namespace TEVRA::report
