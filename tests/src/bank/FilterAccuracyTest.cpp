// SPDX-License-Identifier: BSD-3-Clause
// The directions found on straight fibers. A filter suits fibers of radius r if its standard deviation is
// about 2/3 r across and 5/3 r along: widths of 2 r and 5 r.
#include "FilterOrientations/FilterOrientations.h"

#include "FilterOrientations/PointsOnSphere.h"
#include "src/bank/TestAccess.h"
#include "support/MakeImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <numbers>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

using Vector = std::array<double, 3>;

constexpr float FIBER_RADIUS = 2.0F;
constexpr int AXES = 20;

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// Straight fibers along one axis: one through the centre of the image and one on either side.
class CParallelFibers {
  public:
    CParallelFibers(const CSize& size, const Vector& axis) : m_axis(axis) {
        for (std::size_t k = 0; k < 3; ++k) {
            m_centre[k] = 0.5 * static_cast<double>(size[static_cast<long long>(k)] - 1);
        }
        // Two directions across; in the plane, the second one leaves it.
        const Vector helper = std::abs(axis[2]) < 0.9 ? Vector{0.0, 0.0, 1.0} : Vector{1.0, 0.0, 0.0};
        const Vector across{axis[1] * helper[2] - axis[2] * helper[1],
                            axis[2] * helper[0] - axis[0] * helper[2],
                            axis[0] * helper[1] - axis[1] * helper[0]};
        const double length = std::sqrt(dot(across, across));
        for (std::size_t k = 0; k < 3; ++k) {
            m_across[k] = across[k] / length;
        }
    }

    /// Distance from the nearest centre line.
    double Distance(long long x, long long y, long long z) const {
        const Vector p{static_cast<double>(x) - m_centre[0], static_cast<double>(y) - m_centre[1],
                       static_cast<double>(z) - m_centre[2]};
        const double along = dot(p, m_axis);
        const double across = dot(p, m_across);
        const double rest = std::max(0.0, dot(p, p) - along * along - across * across);
        constexpr double distance = 5.0 * static_cast<double>(FIBER_RADIUS);
        const double neighbour = std::clamp(std::round(across / distance), -1.0, 1.0);
        return std::sqrt(rest + square(across - distance * neighbour));
    }

  private:
    static double square(double value) { return value * value; }

    Vector m_axis;
    Vector m_across{};
    Vector m_centre{};
};

/// The fibers with soft edges.
std::unique_ptr<CImage> image_of(const CParallelFibers& fibers, const CSize& size) {
    return test::MakeImage<float>(IMAGE_GREY_F, size, [&](long long x, long long y, long long z) {
        const double inside = static_cast<double>(FIBER_RADIUS) + 0.5 - fibers.Distance(x, y, z);
        return 200.0 * std::clamp(inside, 0.0, 1.0);
    });
}

double axial_cosine(const IMatrix<double>& directions, std::size_t k, const Vector& axis) {
    double cosine = 0.0;
    for (std::size_t i = 0; i < directions.Cols(); ++i) {
        cosine += directions(k, i) * axis[i];
    }
    return std::abs(cosine);
}

/// Numbers of the two directions nearest to an axis.
std::pair<std::size_t, std::size_t> two_nearest(const IMatrix<double>& directions, const Vector& axis) {
    std::vector<std::size_t> numbers(directions.Rows());
    for (std::size_t k = 0; k < numbers.size(); ++k) {
        numbers[k] = k;
    }
    std::partial_sort(numbers.begin(), numbers.begin() + 2, numbers.end(), [&](std::size_t a, std::size_t b) {
        return axial_cosine(directions, a, axis) > axial_cosine(directions, b, axis);
    });
    return {numbers[0], numbers[1]};
}

/// Share of the pixels within half a radius of a fiber's axis that got one of the two nearest directions.
double share_of_core(const CSize& size, const Vector& axis) {
    const CParallelFibers fibers(size, axis);
    const auto image = image_of(fibers, size);
    CFilterOrientations estimator(5.0F * FIBER_RADIUS, 2.0F * FIBER_RADIUS, nullptr, nullptr);
    estimator.Compute(*image, CFilterOrientations::eMedium, nullptr);
    const std::unique_ptr<CMatrix<double>> directions(
        Impl::StPointsOnSphere::GetPoints(CFilterOrientations::eMedium, size.Dim()));
    const auto nearest = two_nearest(*directions, axis);

    const IImage& index = CTestAccess::Index(estimator);
    const std::unique_ptr<IImage::IAccess> access(index.CreateAccess(true));
    const auto* number = static_cast<const unsigned char*>(access->ConstData());
    int core = 0;
    int found = 0;
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x, ++number) {
                if (fibers.Distance(x, y, z) <= 0.5 * static_cast<double>(FIBER_RADIUS)) {
                    ++core;
                    found += *number == nearest.first || *number == nearest.second ? 1 : 0;
                }
            }
        }
    }
    return core > 0 ? static_cast<double>(found) / core : 0.0;
}

} // namespace

TEST(FilterAccuracy, FindsOneOfTheTwoNearestDirectionsInTheCoresOfFibersInSpace) {
    for (int i = 0; i < AXES; ++i) {
        const double z = 1.0 - (i + 0.5) / AXES;
        const double longitude = 2.4 * i; // about the golden angle
        const double radius = std::sqrt(1.0 - z * z);
        const Vector axis{radius * std::cos(longitude), radius * std::sin(longitude), z};
        EXPECT_GE(share_of_core(CSize(48, 48, 48), axis), 0.9)
            << axis[0] << ", " << axis[1] << ", " << axis[2];
    }
}

TEST(FilterAccuracy, FindsOneOfTheTwoNearestDirectionsInTheCoresOfFibersInThePlane) {
    for (int i = 0; i < AXES; ++i) {
        const double angle = std::numbers::pi * (i + 0.3) / AXES;
        const Vector axis{std::cos(angle), std::sin(angle), 0.0};
        EXPECT_GE(share_of_core(CSize(96, 96), axis), 0.9) << angle;
    }
}

} // namespace TEVRA
