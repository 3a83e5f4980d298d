// SPDX-License-Identifier: BSD-3-Clause
#include "Utils/CoveredPixels.h"

#include <gtest/gtest.h>

namespace TEVRA::Impl {
namespace {

/// The pixels of the y axis, of 10 pixels, that a box from `first` to `second` covers.
SPixelRange covered(long first, long second) {
    return CoveredPixels(CBox(0, first, 0, 1, second, 1), 1, 10);
}

void expect_range(const SPixelRange& range, long long lo, long long hi) {
    EXPECT_EQ(range.lo, lo);
    EXPECT_EQ(range.hi, hi);
}

TEST(CoveredPixels, ReachFromTheLowerCornerUpToTheUpperOneExclusively) {
    expect_range(covered(2, 7), 2, 7);
    expect_range(covered(0, 1), 0, 1);
}

TEST(CoveredPixels, DoNotDependOnTheOrderOfCorners) {
    expect_range(covered(7, 2), 2, 7);
}

TEST(CoveredPixels, NeverIncludeTheImagesLastPixel) {
    expect_range(covered(2, 9), 2, 9);
    expect_range(covered(2, 10), 2, 9);
    expect_range(covered(2, 99), 2, 9);
}

TEST(CoveredPixels, BeginInsideTheImage) {
    expect_range(covered(-5, 3), 0, 3);
}

TEST(CoveredPixels, OfAnEmptyBoxOrOneOutsideAreNone) {
    for (const SPixelRange& range : {covered(4, 4), covered(9, 10), covered(12, 20), covered(-7, -2)}) {
        EXPECT_EQ(range.hi, range.lo);
    }
}

} // namespace
} // namespace TEVRA::Impl
