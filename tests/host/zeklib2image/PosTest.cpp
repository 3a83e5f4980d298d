// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/Pos.h"

#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

namespace TEVRA {
namespace {

TEST(Pos, HoldsTwoThreeOrAnyNumberOfCoordinates) {
    EXPECT_EQ(CPos().Dim(), 0);
    const CPos two(1, 2);
    EXPECT_EQ(two.Dim(), 2);
    EXPECT_EQ(two[0], 1);
    EXPECT_EQ(two[1], 2);
    const CPos three(1, 2, std::numeric_limits<long long>::max());
    EXPECT_EQ(three.Dim(), 3);
    EXPECT_EQ(three[2], std::numeric_limits<long long>::max());
    const CPos four{1, 2, 3, -4};
    EXPECT_EQ(four.Dim(), 4);
    EXPECT_EQ(four[3], -4);
    EXPECT_EQ((CPos{1, 2, 3, 4, 5, 6}.Dim()), CPos::MAX_DIM);
    EXPECT_THROW((CPos{1, 2, 3, 4, 5, 6, 7}), CExBadParam);
}

TEST(Pos, HandsOutReferencesToItsCoordinates) {
    CPos position(1, 2, 3);
    position[1LL] = -7;
    long long& z = position[2];
    ++z;
    EXPECT_TRUE(position == CPos(1, -7, 4));
}

TEST(Pos, RefusesAxesItDoesNotHave) {
    CPos position(1, 2);
    test::ExpectThrown<CExBadParam>(
        [&] { position[2] = 1; },
        {"A position of 2 dimensions has no axis 2.", "TEVRA::CPos::operator []", "host/zeklib2image/Pos"});
    EXPECT_THROW(position[-1] = 1, CExBadParam);
    EXPECT_THROW(static_cast<void>(std::as_const(position)[2]), CExBadParam);
    EXPECT_THROW(static_cast<void>(std::as_const(position)[-1]), CExBadParam);
}

TEST(Pos, EqualsAPositionOfTheSameDimensionAndCoordinates) {
    EXPECT_TRUE(CPos(1, 2) == CPos(1, 2));
    EXPECT_FALSE(CPos(1, 2) == CPos(2, 1));
    EXPECT_FALSE(CPos(1, 2) == CPos(1, 2, 0)) << "the dimension counts";
    EXPECT_TRUE(CPos(1, 2) != CPos(1, 3));
    EXPECT_TRUE(CPos() == CPos());
}

TEST(Pos, CopiesAreIndependent) {
    const CPos original(1, 2);
    CPos copy(original);
    copy[0] = 5;
    CPos assigned(7, 8, 9);
    assigned = original;
    EXPECT_TRUE(assigned == CPos(1, 2));
    EXPECT_EQ(original[0], 1);
}

TEST(Pos, ForgetsCoordinatesOfDroppedAxes) {
    CPos position(1, 2, 3);
    position.SetDim(2);
    EXPECT_TRUE(position == CPos(1, 2));
    position.SetDim(3);
    EXPECT_TRUE(position == CPos(1, 2, 0)) << "the third coordinate begins anew";
    position.SetDim(0);
    EXPECT_TRUE(position == CPos());
}

TEST(Pos, RefusesDimensionsOutOfRange) {
    CPos position(1, 2);
    test::ExpectThrown<CExBadParam>(
        [&] { position.SetDim(7); },
        {"A position has 0 to 6 dimensions, not 7.", "TEVRA::CPos::SetDim", "host/zeklib2image/Pos"});
    EXPECT_THROW(position.SetDim(-1), CExBadParam);
    EXPECT_TRUE(position == CPos(1, 2));
}

TEST(Pos, PrintsItsCoordinates) {
    EXPECT_EQ(CPos(512, -3).ToString(), "(512,-3)");
    EXPECT_EQ(CPos(5, 105, 0).ToString(), "(5,105,0)");
    EXPECT_EQ(CPos().ToString(), "()");
}

} // namespace
} // namespace TEVRA
