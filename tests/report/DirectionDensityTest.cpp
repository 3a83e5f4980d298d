// SPDX-License-Identifier: BSD-3-Clause
#include "report/DirectionDensity.h"

#include "Axes/DirectionGrid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace TEVRA::report {
namespace {

using Impl::CDirectionGrid;

std::vector<float> inside(const SDirectionDensity& density) {
    std::vector<float> values;
    std::copy_if(density.values.begin(), density.values.end(), std::back_inserter(values),
                 [](float value) { return !std::isnan(value); });
    return values;
}

TEST(DirectionDensity, OfEvenlyDistributedDirectionsIsOneEverywhere) {
    const std::vector<unsigned long long> even(CDirectionGrid::CELLS, 1000);
    const std::vector<float> values = inside(DensityOfDirections(even));
    EXPECT_GT(values.size(), 4900U); // pi / 4 of the square
    EXPECT_GT(*std::min_element(values.begin(), values.end()), 0.98F);
    EXPECT_LT(*std::max_element(values.begin(), values.end()), 1.02F);
}

TEST(DirectionDensity, HasItsPeakWhereTheAxesPoint) {
    for (const std::array<double, 3>& axis : {std::array{0.0, 0.0, 1.0}, std::array{0.48, 0.6, 0.64}}) {
        std::vector<unsigned long long> counts(CDirectionGrid::CELLS);
        counts[CDirectionGrid::CellOf(Impl::AnglesOfAxis(axis))] = 5;
        const SDirectionDensity density = DensityOfDirections(counts);
        std::size_t best = 0;
        for (std::size_t node = 0; node < density.values.size(); ++node) {
            if (!std::isnan(density.values[node]) && !(density.values[node] <= density.values[best])) {
                best = node;
            }
        }
        const double step = 2.0 / (SDirectionDensity::NODES - 1);
        const auto found = DirectionAt(-1.0 + step * static_cast<double>(best % SDirectionDensity::NODES),
                                       -1.0 + step * static_cast<double>(best / SDirectionDensity::NODES));
        ASSERT_TRUE(found);
        const double cosine = axis[0] * (*found)[0] + axis[1] * (*found)[1] + axis[2] * (*found)[2];
        EXPECT_GT(cosine, std::cos(4.0 / 180.0 * 3.14159)) << "more than a cell and a node away";
    }
}

// An average over the half-space is one over equal areas of the projection.
TEST(DirectionDensity, IsOneOnAverage) {
    std::vector<unsigned long long> counts(CDirectionGrid::CELLS);
    counts[CDirectionGrid::CellOf({0.5F, 1.0F})] = 3;
    counts[CDirectionGrid::CellOf({1.2F, -2.0F})] = 1;
    const std::vector<float> values = inside(DensityOfDirections(counts));
    double sum = 0.0;
    for (const float value : values) {
        sum += static_cast<double>(value);
    }
    EXPECT_NEAR(sum / static_cast<double>(values.size()), 1.0, 0.03);
}

TEST(DirectionDensity, CountsAxesAtTheEquatorOnBothSides) {
    std::vector<unsigned long long> counts(CDirectionGrid::CELLS);
    counts[CDirectionGrid::CellOf({1.56F, 0.0F})] = 1; // along x
    const SDirectionDensity density = DensityOfDirections(counts);
    const std::size_t middle = SDirectionDensity::NODES / 2 * SDirectionDensity::NODES;
    const float right = density.values[middle + SDirectionDensity::NODES - 1];
    const float left = density.values[middle];
    EXPECT_GT(left, 10.0F);
    EXPECT_NEAR(left / right, 1.0, 0.3);
}

} // namespace
} // namespace TEVRA::report
