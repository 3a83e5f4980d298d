// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/AxisAngles.h"

#include "Axes/AngleKernel.h"

namespace TEVRA::Impl {

SAxisAngles AnglesOfAxis(const std::array<double, 3>& axis) {
    const SAngles<double> angles = FoldedAngles(SVector3<double>{axis[0], axis[1], axis[2]});
    return {static_cast<float>(angles.colatitude), static_cast<float>(angles.longitude)};
}

float AngleOfAxis(const std::array<double, 2>& axis) {
    return static_cast<float>(FoldedAngle(SVector2<double>{axis[0], axis[1]}));
}

} // namespace TEVRA::Impl
