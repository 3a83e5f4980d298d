// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/Size.h"

#include "support/ThrownException.h"

#include <gtest/gtest.h>

namespace TEVRA {
namespace {

TEST(Size, HoldsTwoThreeOrAnyNumberOfExtents) {
    EXPECT_EQ(CSize(4, 5).Dim(), 2);
    EXPECT_EQ(CSize(4, 5, 6).Dim(), 3);
    EXPECT_EQ((CSize{4, 5, 6, 7}.Dim()), 4);
    EXPECT_EQ((CSize{4, 5, 6, 7}[3]), 7);
    EXPECT_EQ(CSize().Dim(), 0);
    EXPECT_EQ(CSize(CPos(4, 5, 6)), CSize(4, 5, 6));
    EXPECT_THROW((CSize{1, 2, 3, 4, 5, 6, 7}), CExBadParam);
}

TEST(Size, ReadsOneBeyondItsDimensions) {
    const CSize plane(4, 5);
    EXPECT_EQ(plane[0], 4);
    EXPECT_EQ(plane[1], 5);
    EXPECT_EQ(plane[2], 1) << "a 2D image is one plane";
    EXPECT_EQ(plane[3], 1);
    EXPECT_EQ(CSize(4, 5, 6)[2], 6);
    EXPECT_THROW(static_cast<void>(plane[-1]), CExBadParam);
}

TEST(Size, CountsItsElements) {
    EXPECT_EQ(CSize(4, 5).Elements(), 20U);
    EXPECT_EQ(CSize(4, 5, 6).Elements(), 120U);
    EXPECT_EQ(CSize(100000, 100000, 2).Elements(), 20000000000U) << "beyond 32 bits";
    EXPECT_EQ(CSize(4, 0, 6).Elements(), 0U);
    EXPECT_EQ(CSize(4, -5).Elements(), 0U);
    EXPECT_EQ(CSize(-4, -5).Elements(), 0U);
    EXPECT_EQ(CSize().Elements(), 0U);
}

TEST(Size, SetsAnExtentOfItsOwnAxes) {
    CSize size(4, 5);
    size.Set(1, 7);
    EXPECT_EQ(size, CSize(4, 7));
    EXPECT_THROW(size.Set(2, 7), CExBadParam);
}

TEST(Size, EqualsASizeOfTheSameDimensionAndExtents) {
    EXPECT_TRUE(CSize(4, 5) == CSize(4, 5));
    EXPECT_TRUE(CSize(4, 5) != CSize(5, 4));
    EXPECT_TRUE(CSize(4, 5) != CSize(4, 5, 1)) << "the dimension counts";
}

TEST(Size, PrintsItsExtents) {
    EXPECT_EQ(CSize(512, 512).ToString(), "(512,512)");
    EXPECT_EQ(CSize(4, 5, 6).ToString(), "(4,5,6)");
}

} // namespace
} // namespace TEVRA
