// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/RandomNumbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

using TEVRA::phantom::CRandomNumbers;
using TEVRA::phantom::PortableLog;

constexpr int SAMPLE_COUNT = 400000;

/// Mean of a function of draws, and how far it may lie from the truth: five standard errors.
struct SMean {
    double value;
    double tolerance;
};
template <typename DrawT>
SMean mean_of(DrawT draw) {
    double sum = 0.0;
    double squares = 0.0;
    for (int i = 0; i < SAMPLE_COUNT; ++i) {
        const double value = draw();
        sum += value;
        squares += value * value;
    }
    const double mean = sum / SAMPLE_COUNT;
    const double variance = squares / SAMPLE_COUNT - mean * mean;
    return {mean, 5.0 * std::sqrt(variance / SAMPLE_COUNT)};
}

TEST(RandomNumbers, LogarithmAgreesWithTheStandardLibrary) {
    CRandomNumbers random(1);
    std::vector<double> arguments{
        1.0,      std::numeric_limits<double>::min(), std::numeric_limits<double>::max(),
        0x1p-106, std::nextafter(1.0, 0.0),           std::nextafter(1.0, 2.0)};
    for (int i = 0; i < 100000; ++i) {
        arguments.push_back(std::ldexp(random.Uniform() + 0x1p-53, static_cast<int>(i % 200) - 150));
    }
    for (const double x : arguments) {
        const double expected = std::log(x);
        ASSERT_NEAR(PortableLog(x), expected, 1e-15 * std::abs(expected) + 1e-16) << "x = " << x;
    }
}

TEST(RandomNumbers, SameSeedGivesTheSameNumbersAndAnotherSeedOthers) {
    CRandomNumbers first(7);
    CRandomNumbers second(7);
    CRandomNumbers other(8);
    int equalToOther = 0;
    for (int i = 0; i < 1000; ++i) {
        const double value = first.Normal();
        EXPECT_EQ(value, second.Normal());
        equalToOther += value == other.Normal() ? 1 : 0;
    }
    EXPECT_EQ(equalToOther, 0);
}

TEST(RandomNumbers, UniformTakesTheUpper53BitsOfTheStandardGenerator) {
    std::mt19937_64 standard(5489);
    CRandomNumbers random(5489);
    for (int i = 0; i < 1000; ++i) {
        const double expected = std::floor(static_cast<double>(standard() >> 11)) / 9007199254740992.0;
        ASSERT_EQ(random.Uniform(), expected);
    }
}

TEST(RandomNumbers, PointsFillTheDiscEvenly) {
    CRandomNumbers random(3);
    // The share within radius q is q^2, and by symmetry a quarter lies in each quadrant.
    const SMean inner = mean_of([&random]() {
        const auto point = random.InDisc();
        return std::hypot(point[0], point[1]) < 0.6 ? 1.0 : 0.0;
    });
    EXPECT_NEAR(inner.value, 0.36, inner.tolerance);
    const SMean quadrant = mean_of([&random]() {
        const auto point = random.InDisc();
        return point[0] > 0.0 && point[1] < 0.0 ? 1.0 : 0.0;
    });
    EXPECT_NEAR(quadrant.value, 0.25, quadrant.tolerance);
}

TEST(RandomNumbers, PointsOnTheCircleHaveLengthOneAndAnyAngle) {
    CRandomNumbers random(4);
    const SMean sector = mean_of([&random]() {
        const auto point = random.OnCircle();
        EXPECT_NEAR(std::hypot(point[0], point[1]), 1.0, 1e-15);
        const double angle = std::atan2(point[1], point[0]);
        return angle > 0.3 && angle < 1.3 ? 1.0 : 0.0;
    });
    EXPECT_NEAR(sector.value, 1.0 / (2.0 * std::acos(-1.0)), sector.tolerance);
}

TEST(RandomNumbers, NormalHasTheMomentsAndTailOfTheNormalDistribution) {
    CRandomNumbers random(5);
    const SMean mean = mean_of([&random]() { return random.Normal(); });
    EXPECT_NEAR(mean.value, 0.0, mean.tolerance);
    const SMean variance = mean_of([&random]() { return std::pow(random.Normal(), 2); });
    EXPECT_NEAR(variance.value, 1.0, variance.tolerance);
    const SMean fourth = mean_of([&random]() { return std::pow(random.Normal(), 4); });
    EXPECT_NEAR(fourth.value, 3.0, fourth.tolerance);
    const SMean tail = mean_of([&random]() { return random.Normal() > 2.0 ? 1.0 : 0.0; });
    EXPECT_NEAR(tail.value, 0.5 * std::erfc(std::sqrt(2.0)), tail.tolerance);
    // Successive values come in pairs from one point; they must not depend on each other.
    const SMean product = mean_of([&random]() {
        const double first = random.Normal();
        return first * random.Normal();
    });
    EXPECT_NEAR(product.value, 0.0, product.tolerance);
}

} // namespace
