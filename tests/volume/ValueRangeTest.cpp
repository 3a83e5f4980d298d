// SPDX-License-Identifier: BSD-3-Clause
#include "volume/ValueRange.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <vector>

namespace TEVRA::volume {
namespace {

constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE = std::numeric_limits<float>::infinity();

MATCHER_P(SameRangeAs, other, "") {
    return arg.lo == other.lo && arg.hi == other.hi && arg.nanCount == other.nanCount &&
           arg.infiniteCount == other.infiniteCount;
}

template <typename PixelT>
SValueRange range_of(const std::vector<PixelT>& pixels) {
    return RangeOf(std::span(pixels));
}

TEST(SValueRange, OfNoValuesHasNoFiniteOne) {
    EXPECT_FALSE(SValueRange{}.HasFinite());
    EXPECT_FALSE(range_of<float>({}).HasFinite());
    EXPECT_FALSE(range_of<std::uint16_t>({}).HasFinite());
    const SValueRange odd = range_of<float>({NOT_A_NUMBER, INFINITE, -INFINITE});
    EXPECT_FALSE(odd.HasFinite());
    EXPECT_EQ(odd.nanCount, 1);
    EXPECT_EQ(odd.infiniteCount, 2);
}

TEST(SValueRange, HoldsFiniteValuesAndCountsTheOthers) {
    SValueRange range;
    range.Add(-3.0);
    EXPECT_EQ(range.lo, -3.0);
    EXPECT_EQ(range.hi, -3.0);
    for (const double value : {2.0, static_cast<double>(NOT_A_NUMBER), static_cast<double>(INFINITE), -4.5}) {
        range.Add(value);
    }
    EXPECT_TRUE(range.HasFinite());
    EXPECT_EQ(range.lo, -4.5);
    EXPECT_EQ(range.hi, 2.0);
    EXPECT_EQ(range.nanCount, 1);
    EXPECT_EQ(range.infiniteCount, 1);
}

TEST(SValueRange, OfPartsIsThatOfTheWhole) {
    const std::vector<float> pixels{2.5F, NOT_A_NUMBER, -1.5F, INFINITE, -INFINITE, 0.0F, 9.0F, NOT_A_NUMBER};
    const SValueRange whole = range_of(pixels);
    EXPECT_THAT(whole, SameRangeAs(SValueRange{-1.5, 9.0, 2, 2}));
    for (std::size_t cut = 0; cut <= pixels.size(); ++cut) {
        const SValueRange first = RangeOf(std::span(pixels).first(cut));
        const SValueRange rest = RangeOf(std::span(pixels).subspan(cut));
        SValueRange forward = first;
        forward.Add(rest);
        SValueRange backward = rest;
        backward.Add(first);
        EXPECT_THAT(forward, SameRangeAs(whole)) << "cut at " << cut;
        EXPECT_THAT(backward, SameRangeAs(whole)) << "cut at " << cut;
    }
}

TEST(SValueRange, OfWholeNumbersReachesTheEndsOfTheirType) {
    EXPECT_THAT(range_of<std::uint8_t>({7, 3, 5}), SameRangeAs(SValueRange{3.0, 7.0, 0, 0}));
    EXPECT_THAT(range_of<std::uint8_t>({255}), SameRangeAs(SValueRange{255.0, 255.0, 0, 0}));
    EXPECT_THAT(range_of<std::uint16_t>({0, 0}), SameRangeAs(SValueRange{0.0, 0.0, 0, 0}));
    EXPECT_THAT(range_of<std::uint16_t>({65535, 0, 1}), SameRangeAs(SValueRange{0.0, 65535.0, 0, 0}));
}

} // namespace
} // namespace TEVRA::volume
