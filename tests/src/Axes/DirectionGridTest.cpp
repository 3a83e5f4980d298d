// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/DirectionGrid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace TEVRA::Impl {
namespace {

constexpr double PI = std::numbers::pi;

// Heights of points on a sphere are evenly distributed (Archimedes), and so are longitudes: a lattice of both.
TEST(DirectionGrid, IsFilledEvenlyByEvenlyDistributedDirections) {
    constexpr int HEIGHTS = 3001; // prime, so that no border of cells falls onto points all along
    constexpr int LONGITUDES = 3011;
    std::vector<double> counts(CDirectionGrid::CELLS);
    for (int i = 0; i < HEIGHTS; ++i) {
        const double colatitude = std::acos((i + 0.5) / HEIGHTS);
        for (int j = 0; j < LONGITUDES; ++j) {
            const double longitude = ((j + 0.5) / LONGITUDES * 2.0 - 1.0) * PI;
            counts[CDirectionGrid::CellOf({static_cast<float>(colatitude), static_cast<float>(longitude)})] +=
                1.0;
        }
    }
    const double even = static_cast<double>(HEIGHTS) * LONGITUDES / CDirectionGrid::CELLS;
    const auto [least, most] = std::minmax_element(counts.begin(), counts.end());
    EXPECT_GT(*least, 0.88 * even);
    EXPECT_LT(*most, 1.12 * even);
}

TEST(DirectionGrid, HasTheMiddleOfEachCellInThatCell) {
    for (std::size_t cell = 0; cell < CDirectionGrid::CELLS; ++cell) {
        const std::array<double, 3> centre = CDirectionGrid::CentreOf(cell);
        ASSERT_NEAR(std::hypot(centre[0], centre[1], centre[2]), 1.0, 1e-12);
        ASSERT_GT(centre[2], 0.0);
        ASSERT_EQ(CDirectionGrid::CellOf(AnglesOfAxis(centre)), cell);
    }
}

TEST(DirectionGrid, TakesTheEndsOfTheAngles) {
    const auto half = static_cast<float>(PI / 2);
    const auto whole = static_cast<float>(PI);
    for (const float colatitude : {0.0F, half}) {
        for (const float longitude : {-whole, 0.0F, whole}) {
            EXPECT_LT(CDirectionGrid::CellOf({colatitude, longitude}), CDirectionGrid::CELLS);
        }
    }
}

TEST(AngleGrid, HasSectorsAroundWholeDegreesAndJoinsTheEnds) {
    EXPECT_EQ(CAngleGrid::CellOf(0.0F), 0U);
    EXPECT_EQ(CAngleGrid::CellOf(static_cast<float>(PI)), 0U);
    EXPECT_EQ(CAngleGrid::CellOf(static_cast<float>(PI / 2)), 90U);
    EXPECT_EQ(CAngleGrid::CellOf(static_cast<float>(0.4 * PI / 180)), 0U);
    EXPECT_EQ(CAngleGrid::CellOf(static_cast<float>(0.6 * PI / 180)), 1U);
}

} // namespace
} // namespace TEVRA::Impl
