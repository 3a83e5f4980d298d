// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/Texts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace TEVRA::jobs {
namespace {

TEST(Texts, NumbersOfFixedDigitsHaveNoSignWhereTheyRoundToZero) {
    EXPECT_EQ(FixedText(0.7, 6), "0.700000");
    EXPECT_EQ(FixedText(-0.25, 2), "-0.25");
    EXPECT_EQ(FixedText(-0.0, 6), "0.000000");
    EXPECT_EQ(FixedText(-4.9e-4, 3), "0.000");
    EXPECT_EQ(FixedText(-5.1e-4, 3), "-0.001");
}

TEST(Texts, WhatIsNoNumberHasNoSignAndLargeOnesArePowersOfTen) {
    EXPECT_EQ(FixedText(std::copysign(std::numeric_limits<double>::quiet_NaN(), -1.0), 6), "nan");
    EXPECT_EQ(FixedText(std::numeric_limits<double>::infinity(), 6), "inf");
    EXPECT_EQ(FixedText(-1.5e6, 2), "-1.50e+06");
}

} // namespace
} // namespace TEVRA::jobs
