// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/DistanceJob.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <vector>

namespace TEVRA::jobs {
namespace {

SAngleMaps maps(const std::vector<float>& theta, const std::vector<float>& phi) {
    SAngleMaps result;
    const CSize size(static_cast<long long>(theta.size()), 1, 1);
    result.theta = std::make_unique<CImage>(IMAGE_GREY_F, size, CSize(0, 0, 0));
    result.phi = std::make_unique<CImage>(IMAGE_GREY_F, size, CSize(0, 0, 0));
    for (std::size_t i = 0; i < theta.size(); ++i) {
        result.theta->Pixels<float>()[i] = theta[i];
        result.phi->Pixels<float>()[i] = phi[i];
    }
    return result;
}

TEST(DistanceJob, MeasuresAxesAndLeavesOutTheRest) {
    const SDistances result =
        MeasureDistances(maps({0.25F, -1.0F, 1.25F}, {0.5F, 0.0F, 2.0F}), {0.0, 0.0, -1.0});
    const float* pixels = result.distances->Pixels<float>();
    EXPECT_NEAR(pixels[0], 0.25F, 1e-6F) << "a direction and its opposite are one axis";
    EXPECT_EQ(pixels[1], -1.0F);
    EXPECT_NEAR(pixels[2], 1.25F, 1e-6F);
    EXPECT_EQ(result.axes, 2);
    EXPECT_NEAR(result.meanRad, 0.75, 1e-6);
}

TEST(DistanceJob, HasNoMeanWithoutAxes) {
    const SDistances result = MeasureDistances(maps({-1.0F}, {0.0F}), {1.0, 0.0, 0.0});
    EXPECT_EQ(result.axes, 0);
    EXPECT_EQ(result.meanRad, 0.0);
}

TEST(DistanceJob, IsZeroAlongTheReferenceWhateverRoundingDoes) {
    for (int i = 0; i < 100; ++i) {
        const auto theta = static_cast<float>(0.0157 * i);
        const auto phi = static_cast<float>(0.06 * i);
        const double sine = std::sin(static_cast<double>(theta));
        const SDistances result =
            MeasureDistances(maps({theta}, {phi}), {sine * std::cos(static_cast<double>(phi)),
                                                    sine * std::sin(static_cast<double>(phi)),
                                                    std::cos(static_cast<double>(theta))});
        EXPECT_EQ(result.axes, 1);
        EXPECT_NEAR(result.meanRad, 0.0, 1e-3);
    }
}

} // namespace
} // namespace TEVRA::jobs
