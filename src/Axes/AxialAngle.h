// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cmath>

namespace TEVRA::Impl {

/// The angle between two axes, in radians in [0, pi/2], from the cosine of the angle between vectors along
/// them: the same for a vector and its opposite. NaN for a cosine outside [-1, 1].
inline double AxialAngle(double cosine) {
    const double angleRad = std::acos(cosine);
    const double angleToOppositeRad = std::acos(-cosine);
    return angleRad <= angleToOppositeRad ? angleRad : angleToOppositeRad;
}

} // namespace TEVRA::Impl
