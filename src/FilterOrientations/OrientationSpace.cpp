// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/OrientationSpace.h"

#include "Axes/AxialAngle.h"
#include "Axes/OrientationSums.h"
#include "Utils/PixelRows.h"
#include "Utils/SaturatedFloat.h"
#include "zeklib2core/Exception.h"

#include <array>

namespace TEVRA {
namespace {

constexpr float NO_DISTANCE = -1.0F;

[[noreturn]] void throw_at(int line, const char* message) {
    throw CException(TEVRA_LOCATION("src/FilterOrientations/OrientationSpace",
                                    "TEVRA::COrientationSpace::PointWiseDistance", line),
                     message);
}

void check(const IImage& out, const IImage& theta, const IImage& phi, const IMatrix<double>& reference) {
    if (!(out.Size() == theta.Size()) || !(out.Size() == phi.Size())) {
        throw_at(__LINE__, "All input images must be equally large.");
    }
    if (out.Size().Dim() != 3) { // and so have the others, of the same size
        throw_at(__LINE__, "All input images must be 3D.");
    }
    if (!(out.Type() == IMAGE_GREY_F) || !(theta.Type() == IMAGE_GREY_F) || !(phi.Type() == IMAGE_GREY_F)) {
        throw_at(__LINE__, "All input images must be float-type.");
    }
    if (reference.Cols() != 1 || reference.Rows() != 3) {
        throw_at(__LINE__, "The vector with the reference direction must be 3x1.");
    }
}

float distance(float colatitudeRad, float longitudeRad, const std::array<double, 3>& reference) {
    if (colatitudeRad < 0.0F) {
        return NO_DISTANCE;
    }
    const std::array<double, 3> axis = Impl::AxisOfAngles(colatitudeRad, longitudeRad);
    const double cosine = reference[0] * axis[0] + reference[1] * axis[1] + reference[2] * axis[2];
    return Impl::SaturatedFloat(Impl::AxialAngle(cosine));
}

} // namespace

void COrientationSpace::PointWiseDistance(IImage& out, const IImage& theta, const IImage& phi,
                                          const IMatrix<double>& reference) {
    check(out, theta, phi, reference);
    const std::array<double, 3> direction{reference(0, 0), reference(1, 0), reference(2, 0)};
    const auto distances = Impl::WritablePixelsOf<float>(out, "out");
    const auto colatitudes = Impl::PixelsOf<float>(theta, "theta");
    const auto longitudes = Impl::PixelsOf<float>(phi, "phi");
    for (long long z = 0; z < distances.Size(2); ++z) {
        for (long long y = 0; y < distances.Size(1); ++y) {
            const Impl::CPixelRow distanceRow(distances, y, z);
            const Impl::CPixelRow colatitudeRow(colatitudes, y, z);
            const Impl::CPixelRow longitudeRow(longitudes, y, z);
            for (long long x = 0; x < distances.Size(0); ++x) {
                distanceRow[x] = distance(colatitudeRow[x], longitudeRow[x], direction);
            }
        }
    }
}

} // namespace TEVRA
