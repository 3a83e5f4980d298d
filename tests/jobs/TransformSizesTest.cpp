// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/TransformSizes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace TEVRA::jobs {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

TEST(FastExtent, HasSmallPrimeFactorsOnly) {
    for (const long long extent : {1, 2, 13, 144, 256, 270, 288, 1001, 2 * 13 * 13}) {
        EXPECT_TRUE(IsFastExtent(extent)) << extent;
    }
    for (const long long extent : {17, 34, 148, 272, 292, 257, 1009}) {
        EXPECT_FALSE(IsFastExtent(extent)) << extent;
    }
}

TEST(SlowTransformNote, IsNoneForFastSizes) {
    EXPECT_FALSE(SlowTransformNote(CSize(128, 128, 128), 4, 1)); // 144
    EXPECT_FALSE(SlowTransformNote(CSize(100, 500), 5, 1));      // 120, 520
}

TEST(SlowTransformNote, NamesTheAxisTheFactorsAndTheNearestFastExtents) {
    const auto note = SlowTransformNote(CSize(128, 124, 272), 5, 1);
    ASSERT_TRUE(note);
    EXPECT_THAT(*note, AllOf(HasSubstr("148 = 2 x 2 x 37 pixels along x"),
                             HasSubstr("127 or 130 pixels instead of 128"),
                             HasSubstr("292 = 2 x 2 x 73 pixels along z")));
    EXPECT_THAT(*note, Not(HasSubstr("along y")));
}

TEST(SlowTransformNote, SuggestsWidthsThatMakeAllAxesFast) {
    const auto note = SlowTransformNote(CSize(128, 128, 128), 5, 1);
    ASSERT_TRUE(note);
    EXPECT_THAT(*note, HasSubstr("or filters 4 or 5.5 wide along their direction instead of 5"));
    for (const double width : {4.0, 5.5}) {
        EXPECT_FALSE(SlowTransformNote(CSize(128, 128, 128), width, 1)) << width;
    }
    EXPECT_TRUE(SlowTransformNote(CSize(128, 128, 128), 4.5, 1)); // 146
}

TEST(SlowTransformNote, SuggestsNoWidthBelowTheOneAcross) {
    const auto note = SlowTransformNote(CSize(128, 128, 128), 5, 4.5);
    ASSERT_TRUE(note);
    EXPECT_THAT(*note, HasSubstr("or filters 5.5 wide along"));
}

TEST(SlowTransformNote, SaysEverythingOnceForAxesOfOneExtent) {
    const std::string cube = *SlowTransformNote(CSize(128, 128, 128), 5, 1);
    EXPECT_THAT(cube, HasSubstr("148 = 2 x 2 x 37 pixels along x, y and z;"));
    for (const char* const part : {"148", "instead of 128", "times faster"}) {
        EXPECT_EQ(cube.find(part), cube.rfind(part)) << part;
    }
    const std::string twoExtents = *SlowTransformNote(CSize(128, 272, 128), 5, 1);
    EXPECT_EQ(twoExtents.find("times faster"), twoExtents.rfind("times faster"));
}

TEST(SlowTransformNote, KnowsPrimesAndImagesThatCannotBeSmaller) {
    const auto note = SlowTransformNote(CSize(1, 50), 4, 1); // 17
    ASSERT_TRUE(note);
    EXPECT_THAT(*note, AllOf(HasSubstr("17 (a prime) pixels"), HasSubstr(": 2 pixels instead of 1"),
                             Not(HasSubstr("or 2"))));
}

} // namespace
} // namespace TEVRA::jobs
