// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/DistanceJob.h"

#include "FilterOrientations/OrientationSpace.h"
#include "Numeric/Matrix.h"

#include <cmath>
#include <cstddef>

namespace TEVRA::jobs {

namespace {

/// Sets pixels whose product with the reference was rounded beyond 1 to distance 0, and sums up the rest.
void finish(SDistances& result) {
    float* pixel = result.distances->Pixels<float>();
    const std::size_t count = result.distances->Size().Elements();
    for (std::size_t i = 0; i < count; ++i) {
        if (std::isnan(pixel[i])) {
            pixel[i] = 0.0F;
        }
        if (pixel[i] >= 0.0F) {
            result.meanRad += static_cast<double>(pixel[i]);
            ++result.axes;
        }
    }
    if (result.axes > 0) {
        result.meanRad /= static_cast<double>(result.axes);
    }
}

} // namespace

SDistances MeasureDistances(const IImage& theta, const IImage& phi, const std::array<double, 3>& reference) {
    CMatrix<double> column(3, 1);
    for (std::size_t i = 0; i < 3; ++i) {
        column(i, 0) = reference[i];
    }
    SDistances result;
    result.distances = std::make_unique<CImage>(IMAGE_GREY_F, theta.Size(), CSize(0, 0, 0));
    COrientationSpace::PointWiseDistance(*result.distances, theta, phi, column);
    finish(result);
    return result;
}

} // namespace TEVRA::jobs
