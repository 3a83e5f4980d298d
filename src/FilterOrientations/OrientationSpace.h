// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/MatrixInterface.h"
#include "zeklib2image/ImageInterface.h"

namespace TEVRA {

/// Operations on fields of 3D axes, given as angle maps.
class COrientationSpace {
  public:
    /// The angle between every axis of a field and a reference direction; for both a direction and its
    /// opposite are the same.
    ///
    /// @param out GREY_F, 3D, allocated by the caller; receives the angle in radians, in [0, pi/2], or -1
    ///        where there is no axis.
    /// @param theta colatitude in radians, GREY_F, same size; negative where there is no axis.
    /// @param phi longitude in radians, GREY_F, same size.
    /// @param reference 3 x 1, used as it is: where its product with a unit axis leaves [-1, 1], as it can by
    ///        rounding for a unit vector too, the result is NaN.
    /// @throws CException for other sizes, dimensions, types or another shape; `out` is unchanged then.
    static void PointWiseDistance(IImage& out, const IImage& theta, const IImage& phi,
                                  const IMatrix<double>& reference);
};

} // namespace TEVRA
