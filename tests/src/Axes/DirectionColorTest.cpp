// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/DirectionColor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace TEVRA::Impl {
namespace {

constexpr double PI = std::numbers::pi;

/// Lightness, green to red, blue to yellow: from a screen's color to OKLab, with the published matrices of this way.
std::array<double, 3> lab_of(const SColor& color) {
    const auto light = [](std::uint8_t value) {
        const double share = value / 255.0;
        return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    };
    const double red = light(color.red);
    const double green = light(color.green);
    const double blue = light(color.blue);
    const double l = std::cbrt(0.4122214708 * red + 0.5363325363 * green + 0.0514459929 * blue);
    const double m = std::cbrt(0.2119034982 * red + 0.6806995451 * green + 0.1073969566 * blue);
    const double s = std::cbrt(0.0883024619 * red + 0.2817188376 * green + 0.6299787005 * blue);
    return {0.2104542553 * l + 0.7936177850 * m - 0.0040720468 * s,
            1.9779984951 * l - 2.4285922050 * m + 0.4505937099 * s,
            0.0259040371 * l + 0.7827717662 * m - 0.8086757660 * s};
}

double distance(const std::array<double, 3>& one, const std::array<double, 3>& other) {
    return std::hypot(one[0] - other[0], one[1] - other[1], one[2] - other[2]);
}

TEST(DirectionColor, OfAxesAlongXAndYAndZIsRedAndGreenAndBlue) {
    EXPECT_EQ(ColorOfAxis({1.0, 0.0, 0.0}), (SColor{255, 0, 0}));
    EXPECT_EQ(ColorOfAxis({0.0, 1.0, 0.0}), (SColor{0, 255, 0}));
    EXPECT_EQ(ColorOfAxis({0.0, 0.0, 1.0}), (SColor{0, 0, 255}));
    EXPECT_EQ(ColorOfAxis({0.6, 0.0, -0.8}), (SColor{153, 0, 204}));
}

TEST(DirectionColor, IsTheSameForBothSignsOfAnAxis) {
    EXPECT_EQ(ColorOfAxis({0.48, -0.6, 0.64}), ColorOfAxis({-0.48, 0.6, -0.64}));
    for (const double angle : {0.0, 0.3, 1.0, 2.9}) {
        EXPECT_EQ(ColorOfAngle(angle), ColorOfAngle(angle + PI)) << angle;
        EXPECT_EQ(ColorOfAngle(angle), ColorOfAngle(angle - PI)) << angle;
    }
}

TEST(DirectionColor, OfAnglesOfAMapIsThatOfTheirAxis) {
    for (const std::array<double, 3>& axis : {std::array{1.0, 0.0, 0.0}, std::array{0.0, -1.0, 0.0},
                                              std::array{0.48, 0.6, 0.64}, std::array{-0.48, 0.6, -0.64}}) {
        EXPECT_EQ(ColorOfAngles(AnglesOfAxis(axis)), ColorOfAxis(axis)) << axis[0] << ' ' << axis[1];
    }
}

TEST(DirectionColor, IsBlackWhereAMapHasNoAxis) {
    EXPECT_EQ(ColorOfAngles({NO_COLATITUDE, NO_ANGLE}), SColor{});
    EXPECT_EQ(ColorOfAngle(NO_ANGLE), SColor{});
}

TEST(DirectionColor, OfAnglesIsPinkAlongXAndTealAlongYAndYellowAndBlueBetween) {
    const SColor alongX = ColorOfAngle(0.0);
    EXPECT_GT(alongX.red, alongX.green + 60);
    EXPECT_GT(alongX.blue, alongX.green + 20);
    const SColor alongY = ColorOfAngle(PI / 2);
    EXPECT_GT(alongY.green, alongY.red + 60);
    EXPECT_GT(alongY.green, alongY.blue + 10);
    const SColor between = ColorOfAngle(PI / 4);
    EXPECT_GT(std::min(between.red, between.green), between.blue + 60);
    const SColor across = ColorOfAngle(3 * PI / 4);
    EXPECT_GT(across.blue, std::max(across.red, across.green) + 60);
}

// Rounding to bytes moves a color by up to 0.004.
TEST(DirectionColor, OfEqualStepsOfTheAngleLooksEquallyFarApart) {
    constexpr int STEPS = 36;
    double least = 1.0;
    double most = 0.0;
    for (int step = 0; step < STEPS; ++step) {
        const double apart =
            distance(lab_of(ColorOfAngle(PI * step / STEPS)), lab_of(ColorOfAngle(PI * (step + 1) / STEPS)));
        least = std::min(least, apart);
        most = std::max(most, apart);
    }
    EXPECT_GT(least, 0.020);
    EXPECT_LT(most, 1.35 * least);
}

TEST(DirectionColor, OfDifferentAnglesDiffersForEyesThatMixUpRedAndGreen) {
    constexpr int STEPS = 12;
    for (int one = 0; one < STEPS; ++one) {
        for (int other = 0; other < one; ++other) {
            std::array<double, 3> a = lab_of(ColorOfAngle(PI * one / STEPS));
            std::array<double, 3> b = lab_of(ColorOfAngle(PI * other / STEPS));
            a[1] = b[1] = 0.0; // what they do not see
            EXPECT_GT(distance(a, b), 0.03) << one << " and " << other;
        }
    }
}

TEST(DirectionColor, FadesToTheGreyThatIsAsBright) {
    const SColor red{255, 0, 0};
    EXPECT_EQ(Desaturated(red, 1.0), red);
    EXPECT_EQ(Desaturated(red, 2.0), red);
    const SColor grey{54, 54, 54}; // 0.2126 of 255
    EXPECT_EQ(Desaturated(red, 0.0), grey);
    EXPECT_EQ(Desaturated(red, -1.0), grey);
    EXPECT_EQ(Desaturated(red, std::numeric_limits<double>::quiet_NaN()), grey);
    EXPECT_EQ(Desaturated(red, 0.5), (SColor{155, 27, 27}));
    EXPECT_EQ(Desaturated({90, 90, 90}, 0.3), (SColor{90, 90, 90}));
}

} // namespace
} // namespace TEVRA::Impl
