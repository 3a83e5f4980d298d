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
    EXPECT_FALSE(SlowTransformNote(CSize(128, 128, 128), 8)); // 144
    EXPECT_FALSE(SlowTransformNote(CSize(100, 500), 10));     // 120, 520
}

TEST(SlowTransformNote, NamesTheAxisTheFactorsAndTheNearestFastExtents) {
    const auto note = SlowTransformNote(CSize(128, 124, 272), 10);
    ASSERT_TRUE(note);
    EXPECT_THAT(*note,
                HasSubstr("along x, 148 = 2 x 2 x 37 pixels are transformed: 127 or 130 instead of 128"));
    EXPECT_THAT(*note, HasSubstr("along z, 292 = 2 x 2 x 73 pixels"));
    EXPECT_THAT(*note, Not(HasSubstr("along y")));
}

TEST(SlowTransformNote, KnowsPrimesAndImagesThatCannotBeSmaller) {
    const auto note = SlowTransformNote(CSize(1, 50), 8); // 17
    ASSERT_TRUE(note);
    EXPECT_THAT(*note, AllOf(HasSubstr("17, a prime, pixels"), HasSubstr(": 2 instead of 1 would"),
                             Not(HasSubstr("or 2"))));
}

} // namespace
} // namespace TEVRA::jobs
