// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/Markers.h"

#include <array>

namespace TEVRA::Impl {

/// Angles of a 3D axis, in radians: colatitude in [0, pi/2], longitude in (-pi, pi].
struct SAxisAngles {
    float colatitudeRad;
    float longitudeRad;
};

/// The angles of a 3D unit axis, folded into the upper half-space. A negative zero counts as zero.
SAxisAngles AnglesOfAxis(const std::array<double, 3>& axis);

/// The angle from the x axis of a 2D unit axis, folded into [0, pi]. A negative zero counts as zero.
float AngleOfAxis(const std::array<double, 2>& axis);

} // namespace TEVRA::Impl
