// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/DirectionLaw.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace {

using namespace TEVRA::phantom;
using Vector = std::array<double, 3>;

constexpr int SAMPLE_COUNT = 100000;

double dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// Integral of the family's density over theta in [from, to], up to its constant, by Simpson's rule.
double density_integral(double beta, double from, double to) {
    constexpr int INTERVALS = 20000; // even
    const double step = (to - from) / INTERVALS;
    double sum = 0.0;
    for (int i = 0; i <= INTERVALS; ++i) {
        const double theta = from + i * step;
        const double cosine = std::cos(theta);
        const double density =
            beta * std::sin(theta) * std::pow(1.0 + (beta * beta - 1.0) * cosine * cosine, -1.5);
        sum += density * (i == 0 || i == INTERVALS ? 1.0 : (i % 2 == 1 ? 4.0 : 2.0));
    }
    return sum * step / 3.0;
}

std::vector<double> sorted_cosines(const DirectionLaw& law, const Vector& symmetryAxis) {
    CRandomNumbers random(11);
    std::vector<double> cosines;
    cosines.reserve(SAMPLE_COUNT);
    for (int i = 0; i < SAMPLE_COUNT; ++i) {
        cosines.push_back(std::abs(dot(DrawAxis(law, random), symmetryAxis)));
    }
    std::sort(cosines.begin(), cosines.end());
    return cosines;
}

/// Largest difference between two empirical distribution functions.
double kolmogorov_distance(const std::vector<double>& a, const std::vector<double>& b) {
    double largest = 0.0;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        (a[i] < b[j]) ? ++i : ++j;
        largest = std::max(largest, std::abs(static_cast<double>(i) / static_cast<double>(a.size()) -
                                             static_cast<double>(j) / static_cast<double>(b.size())));
    }
    return largest;
}

class BetaFamily : public testing::TestWithParam<double> {};

TEST_P(BetaFamily, CosineInvertsTheIntegratedDensity) {
    const double beta = GetParam();
    const double halfPi = std::acos(0.0);
    const double whole = density_integral(beta, 0.0, halfPi);
    for (const double share : {0.01, 0.1, 0.25, 0.5, 0.75, 0.9, 0.99}) {
        const double theta = std::acos(BetaFamilyCosine(share, beta));
        // A smaller cosine is a larger colatitude.
        EXPECT_NEAR(density_integral(beta, theta, halfPi) / whole, share, 1e-8) << "share " << share;
    }
    EXPECT_EQ(BetaFamilyCosine(0.0, beta), 0.0);
    EXPECT_NEAR(BetaFamilyCosine(1.0, beta), 1.0, 1e-15);
}

TEST_P(BetaFamily, AxesAreDistributedLikeNormalisedGaussianVectorsStretchedAlongTheSymmetryAxis) {
    const double beta = GetParam();
    std::mt19937 engine(2);
    std::normal_distribution<double> normal;
    std::vector<double> expected;
    for (int i = 0; i < SAMPLE_COUNT; ++i) {
        const double x = normal(engine);
        const double y = normal(engine);
        const double z = normal(engine) / beta;
        expected.push_back(std::abs(z) / std::sqrt(x * x + y * y + z * z));
    }
    std::sort(expected.begin(), expected.end());
    const Vector symmetryAxis{0.48, -0.6, 0.64};
    const std::vector<double> cosines = sorted_cosines(SBetaFamily{beta, symmetryAxis}, symmetryAxis);
    // Two equal laws come closer than this in all but 1 of 100,000 pairs of samples.
    EXPECT_LT(kolmogorov_distance(cosines, expected), 2.5 * std::sqrt(2.0 / SAMPLE_COUNT));
}

TEST_P(BetaFamily, AzimuthsAroundTheSymmetryAxisAreUniform) {
    CRandomNumbers random(12);
    std::array<double, 2> doubled{}; // first circular moment of the doubled azimuth, since axes have no sign
    for (int i = 0; i < SAMPLE_COUNT; ++i) {
        const Vector axis = DrawAxis(SBetaFamily{GetParam(), {0.0, 0.0, 1.0}}, random);
        const double azimuth = std::atan2(axis[1], axis[0]);
        doubled[0] += std::cos(2.0 * azimuth) / SAMPLE_COUNT;
        doubled[1] += std::sin(2.0 * azimuth) / SAMPLE_COUNT;
    }
    const double tolerance = 5.0 * std::sqrt(0.5 / SAMPLE_COUNT);
    EXPECT_NEAR(doubled[0], 0.0, tolerance);
    EXPECT_NEAR(doubled[1], 0.0, tolerance);
}

INSTANTIATE_TEST_SUITE_P(Betas, BetaFamily, testing::Values(0.05, 0.1, 0.5, 1.0, 2.0, 3.0, 20.0));

TEST(DirectionLaw, AxesAreUnitVectorsOfTheUpperHalfSpaceWithoutNegativeZeros) {
    CRandomNumbers random(13);
    const std::vector<DirectionLaw> laws{SBetaFamily{0.5, {1.0, -2.0, -0.5}}, SPlanar{{0.0, 1.0, 0.0}},
                                         SPlanar{}, SOneAxis{{0.0, 3.0, -4.0}}, SOneAxis{{-1.0, -0.0, -0.0}}};
    for (const DirectionLaw& law : laws) {
        for (int i = 0; i < 1000; ++i) {
            const Vector axis = DrawAxis(law, random);
            ASSERT_NEAR(dot(axis, axis), 1.0, 1e-14);
            ASSERT_GE(axis[2], 0.0);
            for (const double component : axis) {
                ASSERT_FALSE(component == 0.0 && std::signbit(component));
            }
        }
    }
}

TEST(DirectionLaw, PlanarAxesArePerpendicularToTheNormalAndUniform) {
    CRandomNumbers random(14);
    const Vector normal{0.0, 0.6, 0.8};
    const Vector second{0.0, -0.8, 0.6};
    int near = 0;
    for (int i = 0; i < SAMPLE_COUNT; ++i) {
        const Vector axis = DrawAxis(SPlanar{{0.0, 3.0, 4.0}}, random);
        ASSERT_NEAR(dot(axis, normal), 0.0, 1e-15);
        near +=
            std::abs(std::atan(dot(axis, second) / axis[0])) < 0.5 ? 1 : 0; // within 0.5 rad of the x axis
    }
    EXPECT_NEAR(static_cast<double>(near) / SAMPLE_COUNT, 1.0 / std::acos(-1.0),
                5.0 * 0.466 / std::sqrt(SAMPLE_COUNT));
}

TEST(DirectionLaw, OneAxisOfAnyLengthIsNormalised) {
    CRandomNumbers random(15);
    for (const double length : {1e-300, 1.0, 1e300}) {
        const Vector axis = DrawAxis(SOneAxis{{2.0 * length, -1.0 * length, 2.0 * length}}, random);
        EXPECT_NEAR(axis[0], 2.0 / 3.0, 1e-15);
        EXPECT_NEAR(axis[1], -1.0 / 3.0, 1e-15);
        EXPECT_NEAR(axis[2], 2.0 / 3.0, 1e-15);
    }
}

TEST(DirectionLaw, PerpendicularFramesAreRightHandedAndOrthonormal) {
    CRandomNumbers random(16);
    std::vector<Vector> directions{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {-1, 0, 0}, {0.6, -0.8, 0}};
    for (int i = 0; i < 1000; ++i) {
        directions.push_back(DrawAxis(SBetaFamily{}, random));
    }
    for (const Vector& d : directions) {
        const auto [a, b] = PerpendicularFrame(d);
        ASSERT_NEAR(dot(a, a), 1.0, 1e-14);
        ASSERT_NEAR(dot(b, b), 1.0, 1e-14);
        ASSERT_NEAR(dot(a, b), 0.0, 1e-14);
        ASSERT_NEAR(dot(a, d), 0.0, 1e-14);
        const double determinant = a[0] * (b[1] * d[2] - b[2] * d[1]) - a[1] * (b[0] * d[2] - b[2] * d[0]) +
                                   a[2] * (b[0] * d[1] - b[1] * d[0]);
        ASSERT_NEAR(determinant, 1.0, 1e-14);
    }
    EXPECT_EQ(PerpendicularFrame({0.6, -0.8, 0.0}).first[2], 0.0) << "2D phantoms rely on it";
}

} // namespace
