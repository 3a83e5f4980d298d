// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/Approximations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace TEVRA::Impl {
namespace {

constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

/// Distance from the truth in units of the last place of a number with `digits` binary digits there.
double ulps(double value, long double truth, int digits, int smallestExponent) {
    if (truth == 0.0L) {
        return value == 0.0 ? 0.0 : INFINITE;
    }
    const int exponent = std::max(std::ilogb(truth), smallestExponent);
    return static_cast<double>(std::fabs(static_cast<long double>(value) - truth) *
                               std::ldexp(1.0L, digits - 1 - exponent));
}

double ulps_of_double(double value, long double truth) {
    return ulps(value, truth, 53, -1022);
}
double ulps_of_float(float value, long double truth) {
    return ulps(static_cast<double>(value), truth, 24, -126);
}

/// Numbers in [0, 1]: evenly spaced, close to both ends and to the places where the approximation changes.
std::vector<double> unit_arguments() {
    std::vector<double> arguments{0.0, -0.0, 1.0, 0.5, std::numeric_limits<double>::denorm_min(), 1e-300};
    for (int i = 0; i <= 1000000; ++i) {
        arguments.push_back(i * 1e-6);
    }
    for (const double place : {0.5, 1.0, std::numbers::sqrt2 - 1.0}) {
        double below = place;
        double above = place;
        for (int i = 0; i < 1000; ++i) {
            below = std::nextafter(below, 0.0);
            above = std::nextafter(above, 1.0);
            arguments.push_back(below);
            arguments.push_back(above);
        }
    }
    for (int exponent = 1; exponent < 200; ++exponent) {
        arguments.push_back(std::ldexp(1.0, -exponent));
        arguments.push_back(1.0 - std::ldexp(1.0, -exponent));
    }
    return arguments;
}

TEST(ArcCosine, IsWithinNineUlpAndRoundsToTheNearestFloat) {
    for (const double x : unit_arguments()) {
        const long double truth = std::acos(static_cast<long double>(x));
        const double value = ArcCosine(x);
        ASSERT_LE(ulps_of_double(value, truth), 9.0) << "acos(" << x << ")";
        ASSERT_LE(ulps_of_float(static_cast<float>(value), truth), 0.5000001) << "acos(" << x << ")";
    }
}

TEST(ArcCosine, IsExactAtItsEnds) {
    EXPECT_EQ(ArcCosine(1.0), 0.0);
    EXPECT_FALSE(std::signbit(ArcCosine(1.0)));
    EXPECT_EQ(ArcCosine(0.0), std::numbers::pi / 2);
    EXPECT_TRUE(std::isnan(ArcCosine(NOT_A_NUMBER)));
}

void expect_angle(double y, double x) {
    const long double truth = std::atan2(static_cast<long double>(y), static_cast<long double>(x));
    const double value = ArcTangent(y, x);
    ASSERT_LE(ulps_of_double(value, truth), 4.0) << "atan2(" << y << ", " << x << ")";
    ASSERT_LE(ulps_of_float(static_cast<float>(value), truth), 0.5000001)
        << "atan2(" << y << ", " << x << ")";
}

TEST(ArcTangent, IsWithinFourUlpInAllOctants) {
    for (const double t : unit_arguments()) {
        if (std::signbit(t)) {
            continue;
        }
        for (const double sign : {1.0, -1.0}) {
            if (t > 0.0) {
                expect_angle(sign * t, 1.0);
                expect_angle(sign * t, -1.0);
            }
            expect_angle(sign, t);
            expect_angle(sign, t > 0.0 ? -t : t);
        }
    }
}

TEST(ArcTangent, IsWithinFourUlpForUnitVectors) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> turn(-std::numbers::pi, std::numbers::pi);
    for (int i = 0; i < 1000000; ++i) {
        const double angle = turn(random);
        expect_angle(std::sin(angle), std::cos(angle));
    }
}

TEST(ArcTangent, TakesZerosForPositive) {
    for (const double zero : {0.0, -0.0}) {
        EXPECT_EQ(ArcTangent(zero, 1.0), 0.0);
        EXPECT_EQ(ArcTangent(zero, -1.0), std::numbers::pi);
        EXPECT_EQ(ArcTangent(1.0, zero), std::numbers::pi / 2);
        EXPECT_EQ(ArcTangent(-1.0, zero), -std::numbers::pi / 2);
        EXPECT_EQ(ArcTangent(zero, 0.0), 0.0);
        EXPECT_EQ(ArcTangent(zero, -0.0), 0.0);
    }
}

void expect_sine_and_cosine(float angle) {
    const SSineCosine<double> both = SineCosine(static_cast<double>(angle));
    const auto exact = static_cast<long double>(angle);
    ASSERT_EQ(both.sine, static_cast<double>(static_cast<float>(both.sine))) << "is a float";
    ASSERT_LE(ulps_of_float(static_cast<float>(both.sine), std::sin(exact)), 0.50001) << angle;
    ASSERT_LE(ulps_of_float(static_cast<float>(both.cosine), std::cos(exact)), 0.50001) << angle;
}

TEST(SineCosine, RoundToTheNearestFloatUpToPi) {
    // Every 211th float of magnitude up to 4.
    const auto last = std::bit_cast<std::uint32_t>(4.0F);
    for (std::uint32_t bits = 1; bits < last; bits += 211) {
        const auto angle = std::bit_cast<float>(bits);
        if (angle < 1e-30F) {
            bits += 100000; // tiny angles are all alike
        }
        expect_sine_and_cosine(angle);
        expect_sine_and_cosine(-angle);
    }
}

TEST(SineCosine, RoundToTheNearestFloatAroundMultiplesOfAQuarterTurn) {
    for (int eighths = -667544; eighths <= 667544; eighths += eighths > -80 && eighths < 80 ? 1 : 997) {
        auto angle = static_cast<float>(eighths * (std::numbers::pi / 4));
        for (int i = 0; i < 3; ++i) {
            expect_sine_and_cosine(angle);
            expect_sine_and_cosine(std::nextafter(angle, 0.0F));
            angle = std::nextafter(angle, 1e30F);
        }
    }
}

TEST(SineCosine, AreExactAtZero) {
    for (const double zero : {0.0, -0.0}) {
        EXPECT_EQ(SineCosine(zero).sine, 0.0);
        EXPECT_EQ(SineCosine(zero).cosine, 1.0);
    }
}

TEST(SineCosine, AreNoNumbersBeyondTheirRange) {
    EXPECT_EQ(SineCosine(0x1p20).sine, static_cast<double>(static_cast<float>(std::sin(0x1p20))));
    for (const double angle : {0x1.000002p20, -0x1.000002p20, 1e30, INFINITE, -INFINITE, NOT_A_NUMBER}) {
        EXPECT_TRUE(std::isnan(SineCosine(angle).sine)) << angle;
        EXPECT_TRUE(std::isnan(SineCosine(angle).cosine)) << angle;
    }
}

} // namespace
} // namespace TEVRA::Impl
