// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/Differences.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <vector>

namespace TEVRA::test {
namespace {

TEST(Differences, AreExactOnParabolas) {
    const auto parabola = [](double x) { return 3.0 * x * x - 7.0 * x + 11.0; };
    for (int place = -20; place <= 20; ++place) {
        const double x = place;
        EXPECT_EQ(Impl::SecondDifference(parabola(x - 1.0), parabola(x), parabola(x + 1.0)), 6.0);
        EXPECT_EQ(Impl::FirstDifference(parabola(x - 1.0), parabola(x + 1.0)), 6.0 * x - 7.0);
    }
}

TEST(Differences, RoundNothingBetweenCloseNeighbours) {
    // 1 + 2^-23 is the float next to 1; the stencil sees a difference of one unit in the last place.
    const float above = 1.0F + 0x1p-23F;
    EXPECT_EQ(Impl::SecondDifference(above, 1.0F, above), 0x1p-22F);
    EXPECT_EQ(Impl::SecondDifference(1.0F, above, 1.0F), -0x1p-22F);
    EXPECT_EQ(Impl::FirstDifference(1.0F, above), 0x1p-24F);
}

TEST(Differences, AreSymmetricAndAntisymmetricExactly) {
    for (const float left : {0.1F, 17.3F, 255.0F, -4.7F}) {
        for (const float right : {0.3F, 250.9F, -1e-3F}) {
            EXPECT_EQ(Impl::SecondDifference(left, 33.3F, right), Impl::SecondDifference(right, 33.3F, left));
            EXPECT_EQ(Impl::FirstDifference(left, right), -Impl::FirstDifference(right, left));
        }
    }
}

TEST(Differences, OfLinesAreThoseOfTheirSamples) {
    for (const std::size_t length : {0U, 1U, 3U, 4U, 7U, 8U, 33U}) {
        std::vector<float> left(length);
        std::vector<float> here(length);
        std::vector<float> right(length);
        for (std::size_t k = 0; k < length; ++k) {
            left[k] = 0.37F * static_cast<float>(k * k);
            here[k] = 11.1F - static_cast<float>(k);
            right[k] = 1.0F / static_cast<float>(k + 1);
        }
        std::vector<float> second(length);
        std::vector<float> first(length);
        Impl::SecondDifference(left, here, right, second);
        Impl::FirstDifference(left, right, first);
        for (std::size_t k = 0; k < length; ++k) {
            EXPECT_EQ(second[k], Impl::SecondDifference(left[k], here[k], right[k])) << "sample " << k;
            EXPECT_EQ(first[k], Impl::FirstDifference(left[k], right[k])) << "sample " << k;
        }
        Impl::SecondDifference(left, here, right, here);
        EXPECT_EQ(here, second) << "in place";
        Impl::FirstDifference(left, right, right);
        EXPECT_EQ(right, first) << "in place";
    }
}

TEST(Differences, AlongALineContinueItConstantlyBeyondItsEnds) {
    for (const std::size_t length : {1U, 2U, 3U, 4U, 9U, 10U, 17U, 35U}) {
        std::vector<float> line(length);
        for (std::size_t k = 0; k < length; ++k) {
            line[k] = 0.37F * static_cast<float>(k * k) + 11.1F / static_cast<float>(k + 1);
        }
        constexpr float UNTOUCHED = -77.0F;
        std::vector<float> second(length + 1, UNTOUCHED);
        std::vector<float> first(length + 1, UNTOUCHED);
        Impl::SecondDifferenceAlong(line, std::span(second).first(length));
        Impl::FirstDifferenceAlong(line, std::span(first).first(length));
        for (std::size_t k = 0; k < length; ++k) {
            const float left = line[k > 0 ? k - 1 : k];
            const float right = line[std::min(k + 1, length - 1)];
            EXPECT_EQ(second[k], Impl::SecondDifference(left, line[k], right)) << k << " of " << length;
            EXPECT_EQ(first[k], Impl::FirstDifference(left, right)) << k << " of " << length;
        }
        EXPECT_EQ(second[length], UNTOUCHED);
        EXPECT_EQ(first[length], UNTOUCHED);
    }
}

TEST(Differences, MixedOnesAreFirstDifferencesOfFirstDifferences) {
    for (const std::size_t length : {1U, 2U, 3U, 4U, 9U, 10U, 17U, 35U}) {
        std::vector<std::vector<float>> lines(4, std::vector<float>(length));
        for (std::size_t line = 0; line < lines.size(); ++line) {
            for (std::size_t k = 0; k < length; ++k) {
                lines[line][k] =
                    0.37F * static_cast<float>((k + line) * k) + 11.1F / static_cast<float>(k + 2 * line + 1);
            }
        }
        std::vector<float> low(length);
        std::vector<float> high(length);
        std::vector<float> expected(length);
        std::vector<float> mixed(length);
        Impl::FirstDifference(lines[0], lines[1], low);
        Impl::FirstDifference(lines[2], lines[3], high);
        Impl::FirstDifference(low, high, expected);
        Impl::MixedDifference({lines[0], lines[1], lines[2], lines[3]}, mixed);
        EXPECT_EQ(mixed, expected) << "across, " << length;
        Impl::FirstDifferenceAlong(lines[0], low);
        Impl::FirstDifferenceAlong(lines[1], high);
        Impl::FirstDifference(low, high, expected);
        Impl::MixedDifferenceAlong(lines[0], lines[1], mixed);
        EXPECT_EQ(mixed, expected) << "along, " << length;
    }
}

} // namespace
} // namespace TEVRA::test
