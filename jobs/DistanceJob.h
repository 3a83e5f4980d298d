// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/AngleMaps.h"
#include "zeklib2image/Image.h"

#include <array>
#include <memory>

namespace TEVRA::jobs {

/// The angle of every axis to a reference direction.
struct SDistances {
    std::unique_ptr<CImage> distances; ///< GREY_F, radians in [0, pi/2]; -1 where there is no axis
    long long axes = 0;
    double meanRad = 0.0; ///< of the axes; 0 if there are none
};

/// @param reference unit vector; its sign means nothing.
SDistances MeasureDistances(const SAngleMaps& maps, const std::array<double, 3>& reference);

} // namespace TEVRA::jobs
