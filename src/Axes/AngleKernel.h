// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/Approximations.h"
#include "Numeric/Lanes.h"

/// Between axes and the angles that maps store, for any arithmetic type of Lanes.h.
namespace TEVRA::Impl {
inline namespace TEVRA_WIDE {

template <typename Real>
struct SVector2 {
    Real x, y;
};

template <typename Real>
struct SVector3 {
    Real x, y, z;
};

/// Angles in radians, to be rounded to float.
template <typename Real>
struct SAngles {
    Real colatitude, longitude;
};

/// Angles of a unit axis, folded into the upper half-space. A negative zero counts as zero.
template <typename Real>
TEVRA_LANES_INLINE SAngles<Real> FoldedAngles(const SVector3<Real>& axis) {
    const Real one(1.0);
    const Real zero(0.0);
    const Real sign = Select(axis.z < zero, Real(-one), one);
    const Real height = Abs(axis.z);
    // A length rounded down can leave a component just above 1.
    return {ArcCosine(Select(height < one, height, one)),
            ArcTangent(Real(sign * axis.y), Real(sign * axis.x))};
}

/// Angle of a 2D unit axis, folded into [0, pi]. A negative zero counts as zero.
template <typename Real>
TEVRA_LANES_INLINE Real FoldedAngle(const SVector2<Real>& axis) {
    const Real sign = Select(axis.y < Real(0.0), Real(-1.0), Real(1.0));
    return ArcTangent(Real(Abs(axis.y)), Real(sign * axis.x));
}

/// The axis at the given angles (see SineCosine); the products of its single-precision factors are exact.
template <typename Real>
TEVRA_LANES_INLINE SVector3<Real> AxisAt(const Real& colatitude, const Real& longitude) {
    const SSineCosine<Real> polar = SineCosine(colatitude);
    const SSineCosine<Real> azimuth = SineCosine(longitude);
    return {polar.sine * azimuth.cosine, polar.sine * azimuth.sine, polar.cosine};
}

/// The same in 2D.
template <typename Real>
TEVRA_LANES_INLINE SVector2<Real> AxisAt(const Real& angle) {
    const SSineCosine<Real> both = SineCosine(angle);
    return {both.cosine, both.sine};
}

} // namespace TEVRA_WIDE
} // namespace TEVRA::Impl
