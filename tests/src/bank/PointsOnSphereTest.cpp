// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/PointsOnSphere.h"

#include "support/ThrownException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <memory>
#include <numbers>
#include <ostream>
#include <span>
#include <string>
#include <vector>

namespace TEVRA {
namespace {

using Impl::StPointsOnSphere;
using Impl::SWeightedDirection;
using Table = std::span<const SWeightedDirection>;
using Vector = std::array<double, 3>;

constexpr double DEGREE = std::numbers::pi / 180.0;
constexpr double NEAR_ZERO = 6.12323e-17;

struct SExpectedSet {
    std::string name;
    int resolution;
    std::size_t size;
    double smallestAngleDeg; ///< no two axes are closer
    double coveringAngleDeg; ///< no 3D axis is farther from the nearest of the set
    double weightSum;
    double weightSumTolerance;
};

void PrintTo(const SExpectedSet& set, std::ostream* out) {
    *out << set.name;
}

std::unique_ptr<CMatrix<double>> points(int resolution, int dimension) {
    return std::unique_ptr<CMatrix<double>>(StPointsOnSphere::GetPoints(resolution, dimension));
}

double length(const SWeightedDirection& d) {
    return std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z);
}

double axial_cosine(const SWeightedDirection& d, const Vector& v) {
    return std::abs(d.x * v[0] + d.y * v[1] + d.z * v[2]) / length(d);
}

/// Number of the axis nearest to a unit vector, and its cosine.
struct SNearest {
    std::size_t number;
    double cosine;
};

SNearest nearest(Table table, const Vector& v) {
    SNearest best{0, -1.0};
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double cosine = axial_cosine(table[i], v);
        if (cosine > best.cosine) {
            best = {i, cosine};
        }
    }
    return best;
}

double smallest_axial_angle(Table table) {
    double cosine = 0.0;
    for (std::size_t i = 0; i < table.size(); ++i) {
        for (std::size_t j = i + 1; j < table.size(); ++j) {
            const Vector other{table[j].x / length(table[j]), table[j].y / length(table[j]),
                               table[j].z / length(table[j])};
            cosine = std::max(cosine, axial_cosine(table[i], other));
        }
    }
    return std::acos(cosine);
}

/// Points of equal share on the upper half-sphere: midpoints of cells of an equal-area grid.
std::vector<Vector> equal_area_grid(int rings, int sectors) {
    std::vector<Vector> grid;
    for (int i = 0; i < rings; ++i) {
        const double z = (i + 0.5) / rings;
        const double radius = std::sqrt(1.0 - z * z);
        for (int j = 0; j < sectors; ++j) {
            const double longitude = 2.0 * std::numbers::pi * (j + 0.5) / sectors;
            grid.push_back({radius * std::cos(longitude), radius * std::sin(longitude), z});
        }
    }
    return grid;
}

/// All three tables.
class DirectionTable : public testing::TestWithParam<SExpectedSet> {
  protected:
    Table table() const { return StPointsOnSphere::GetTable(GetParam().resolution); }
};

/// The two whose rows the script spreads.
class GeneratedTable : public DirectionTable {};

const SExpectedSet COARSE{"coarse", 0, 18, 32.1, 25.0, 6.2792, 5e-5};
const SExpectedSet MEDIUM{"medium", 1, 50, 18.0, 15.0, 6.2795, 5e-5};
const SExpectedSet FINE{"fine", 2, 98, 12.7, 11.0, 6.2526, 5e-5};
constexpr std::size_t GIVEN_ROWS = 5;

const auto name_of_set = [](const testing::TestParamInfo<SExpectedSet>& set) { return set.param.name; };

INSTANTIATE_TEST_SUITE_P(Each, DirectionTable, testing::Values(COARSE, MEDIUM, FINE), name_of_set);
INSTANTIATE_TEST_SUITE_P(Each, GeneratedTable, testing::Values(MEDIUM, FINE), name_of_set);

} // namespace

TEST_P(DirectionTable, HasItsNumberOfDirections) {
    EXPECT_EQ(table().size(), GetParam().size);
}

TEST_P(DirectionTable, BeginsWithTheAxes) {
    const auto set = points(GetParam().resolution, 3);
    const std::array<Vector, 3> axes{{{0.0, 0.0, 1.0}, {NEAR_ZERO, 1.0, NEAR_ZERO}, {1.0, 0.0, NEAR_ZERO}}};
    for (std::size_t row = 0; row < axes.size(); ++row) {
        for (std::size_t col = 0; col < 3; ++col) {
            EXPECT_EQ((*set)(row, col), axes[row][col]) << "row " << row << " column " << col;
        }
    }
}

TEST_P(DirectionTable, HasUnitLengthsToSixDigits) {
    for (const SWeightedDirection& direction : table()) {
        EXPECT_NEAR(length(direction), 1.0, 5e-7);
    }
}

TEST_P(DirectionTable, LiesInTheUpperHalfSpace) {
    for (const SWeightedDirection& direction : table()) {
        EXPECT_GE(direction.z, 0.0);
    }
}

TEST_P(DirectionTable, KeepsItsAxesApart) {
    EXPECT_GE(smallest_axial_angle(table()) / DEGREE, GetParam().smallestAngleDeg);
}

TEST_P(DirectionTable, LeavesNoHoles) {
    // Every axis lies within half a step of a grid point along both angles, 0.36 degrees at most.
    constexpr double GRID_DEG = 0.36;
    double cosine = 1.0;
    for (int ring = 0; ring <= 180; ++ring) {
        const double colatitude = 0.5 * ring * DEGREE;
        for (int sector = 0; sector < 720; ++sector) {
            const double longitude = 0.5 * sector * DEGREE;
            cosine = std::min(
                cosine, nearest(table(), {std::sin(colatitude) * std::cos(longitude),
                                          std::sin(colatitude) * std::sin(longitude), std::cos(colatitude)})
                            .cosine);
        }
    }
    EXPECT_LE(std::acos(cosine) / DEGREE + GRID_DEG, GetParam().coveringAngleDeg);
}

TEST_P(DirectionTable, SumsItsWeightsToTheHalfSphere) {
    double sum = 0.0;
    for (const SWeightedDirection& direction : table()) {
        sum += direction.weight;
    }
    EXPECT_NEAR(sum, GetParam().weightSum, GetParam().weightSumTolerance);
}

TEST_P(GeneratedTable, WeighsDirectionsByTheirCells) {
    const std::vector<Vector> grid = equal_area_grid(400, 800);
    std::vector<int> hits(table().size(), 0);
    for (const Vector& v : grid) {
        ++hits[nearest(table(), v).number];
    }
    double weights = 0.0;
    int allHits = 0;
    for (std::size_t row = GIVEN_ROWS; row < table().size(); ++row) {
        weights += table()[row].weight;
        allHits += hits[row];
    }
    for (std::size_t row = GIVEN_ROWS; row < table().size(); ++row) {
        const double expected = weights * hits[row] / allHits;
        EXPECT_NEAR(table()[row].weight, expected, 0.01 * expected) << "row " << row;
    }
}

TEST_P(DirectionTable, GivesThePointsWithoutTheWeights) {
    const auto set = points(GetParam().resolution, 3);
    ASSERT_EQ(set->Rows(), GetParam().size);
    ASSERT_EQ(set->Cols(), 3U);
    for (std::size_t row = 0; row < set->Rows(); ++row) {
        EXPECT_EQ((*set)(row, 0), table()[row].x);
        EXPECT_EQ((*set)(row, 1), table()[row].y);
        EXPECT_EQ((*set)(row, 2), table()[row].z);
    }
}

TEST_P(DirectionTable, HasAsManyDirectionsInThePlaneAtEqualSteps) {
    const auto set = points(GetParam().resolution, 2);
    ASSERT_EQ(set->Rows(), GetParam().size);
    ASSERT_EQ(set->Cols(), 2U);
    EXPECT_EQ((*set)(0, 0), 1.0);
    EXPECT_EQ((*set)(0, 1), 0.0);
    for (std::size_t row = 0; row < set->Rows(); ++row) {
        const double angle = 180.0 * static_cast<double>(row) / static_cast<double>(set->Rows()) * DEGREE;
        EXPECT_NEAR((*set)(row, 0), std::cos(angle), 1e-15);
        EXPECT_NEAR((*set)(row, 1), std::sin(angle), 1e-15);
        EXPECT_GE((*set)(row, 1), 0.0);
    }
}

TEST(PointsOnSphere, ListsTheFirstRowsOfTheLargerTablesAsGiven) {
    const auto rowOf = [](int resolution, std::size_t row) {
        const SWeightedDirection& d = StPointsOnSphere::GetTable(resolution)[row];
        return std::array<double, 4>{d.x, d.y, d.z, d.weight};
    };
    using testing::ElementsAre;
    EXPECT_THAT(rowOf(1, 0), ElementsAre(0.0, 0.0, 1.0, 0.1119));
    EXPECT_THAT(rowOf(1, 1), ElementsAre(NEAR_ZERO, 1.0, NEAR_ZERO, 0.1208));
    EXPECT_THAT(rowOf(1, 2), ElementsAre(1.0, 0.0, NEAR_ZERO, 0.1097));
    EXPECT_THAT(rowOf(1, 3), ElementsAre(-0.950906, -0.300597, 0.0736201, 0.1409));
    EXPECT_THAT(rowOf(1, 4), ElementsAre(0.752223, -0.18295, 0.633001, 0.09602));
    EXPECT_THAT(rowOf(2, 0), ElementsAre(0.0, 0.0, 1.0, 0.05178));
    EXPECT_THAT(rowOf(2, 1), ElementsAre(NEAR_ZERO, 1.0, NEAR_ZERO, 0.06811));
    EXPECT_THAT(rowOf(2, 2), ElementsAre(1.0, 0.0, NEAR_ZERO, 0.0469));
    EXPECT_THAT(rowOf(2, 3), ElementsAre(0.112323, 0.210528, 0.971114, 0.06067));
    EXPECT_THAT(rowOf(2, 4), ElementsAre(0.463959, 0.716955, 0.520306, 0.03183));
}

TEST(PointsOnSphere, HasItsCoarsestAxesThirtyTwoDegreesApart) {
    EXPECT_NEAR(smallest_axial_angle(StPointsOnSphere::GetTable(0)) / DEGREE, 32.14, 0.01);
}

TEST(PointsOnSphere, PutsTheMiddleOfTheCoarsePlanarSetOnTheYAxis) {
    const auto set = points(0, 2);
    EXPECT_NEAR((*set)(9, 0), 6.1e-17, 1e-18);
    EXPECT_EQ((*set)(9, 1), 1.0);
}

TEST(PointsOnSphere, ChecksTheDimensionBeforeTheResolution) {
    for (const int dimension : {-1, 0, 1, 4}) {
        for (const int resolution : {0, 3}) {
            test::ExpectThrown([&] { points(resolution, dimension); },
                               {"Unsupported dimension.", "Impl::StPointsOnSphere::GetPoints",
                                "src/filterorientations/PointsOnSphere"});
        }
    }
}

TEST(PointsOnSphere, RefusesAnUnknownResolution) {
    for (const int resolution : {-1, 3}) {
        for (const int dimension : {2, 3}) {
            test::ExpectThrown([&] { points(resolution, dimension); },
                               {"Unknown resolution level.", "Impl::StPointsOnSphere::GetPoints",
                                "src/filterorientations/PointsOnSphere"});
        }
    }
}

} // namespace TEVRA
