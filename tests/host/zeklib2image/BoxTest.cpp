// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/Box.h"

#include <gtest/gtest.h>

namespace TEVRA {
namespace {

TEST(Box, IsMadeFromSixCoordinates) {
    const CBox box(1, 2, 3, 11, 22, 33);
    EXPECT_EQ(box.Point0(), CPos(1, 2, 3));
    EXPECT_EQ(box.Point1(), CPos(11, 22, 33));
    EXPECT_EQ(box.Size(), CSize(10, 20, 30));
    EXPECT_EQ(box.Size().Elements(), 6000U);
}

TEST(Box, IsMadeFromTwoCorners) {
    const CBox box(CPos(1, 2), CPos(4, 6));
    EXPECT_EQ(box.Size(), CSize(3, 4));
}

TEST(Box, CountsTwoAxesOnceBothCornersHaveTwo) {
    CBox box(5, 5, 0, 105, 205, 1);
    box.Point0().SetDim(2);
    box.Point1().SetDim(2);
    EXPECT_EQ(box.Size(), CSize(100, 200));
    EXPECT_EQ(box.Size().Elements(), 20000U);
    CBox flat(5, 5, 0, 105, 205, 0);
    EXPECT_EQ(flat.Size().Elements(), 0U) << "as a 3D box it is empty";
    flat.Point0().SetDim(2);
    flat.Point1().SetDim(2);
    EXPECT_EQ(flat.Size().Elements(), 20000U);
}

TEST(Box, CountsOverTheDimensionsOfBothCorners) {
    EXPECT_EQ(CBox(CPos(1, 2), CPos(4, 6, 9)).Size(), CSize(3, 4));
}

TEST(Box, FollowsItsCorners) {
    CBox box(0, 0, 0, 1, 1, 1);
    box.Point0()[0] = -4;
    box.Point1()[2] = 7;
    EXPECT_EQ(box.Size(), CSize(5, 1, 7));
    EXPECT_EQ(CBox(3, 0, 0, 1, 1, 1).Size()[0], -2) << "corners are taken as given";
}

} // namespace
} // namespace TEVRA
