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

/// @param theta, phi GREY_F, 3D, of one size, in radians; colatitude negative where there is no axis.
/// @param reference unit vector; its sign means nothing.
/// @throws CException for other maps.
SDistances MeasureDistances(const IImage& theta, const IImage& phi, const std::array<double, 3>& reference);
inline SDistances MeasureDistances(const SAngleMaps& maps, const std::array<double, 3>& reference) {
    return MeasureDistances(*maps.theta, *maps.phi, reference);
}

} // namespace TEVRA::jobs
