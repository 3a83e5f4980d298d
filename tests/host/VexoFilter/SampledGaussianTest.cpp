// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/SampledGaussian.h"

#include "DirectGaussian.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace TEVRA::test {
namespace {

using Impl::SSampledGaussian;

/// Rows of one sample each, or of many: row k of the result is the row at distance k - radius.
std::vector<const float*> pointers_to(const std::vector<std::vector<float>>& rows) {
    std::vector<const float*> pointers;
    pointers.reserve(rows.size());
    for (const std::vector<float>& row : rows) {
        pointers.push_back(row.data());
    }
    return pointers;
}

std::vector<std::vector<float>> random_rows(std::size_t rows, std::size_t length) {
    std::mt19937 generator(17);
    std::vector<std::vector<float>> result(rows, std::vector<float>(length));
    for (std::vector<float>& row : result) {
        for (float& sample : row) {
            sample = static_cast<float>(generator() % 65536) / 257.0F;
        }
    }
    return result;
}

TEST(SampledGaussian, HasTheWeightsOfTheSampledNormalisedGaussian) {
    for (const double sigmaPx : {0.3, 0.5, 0.8, 1.0, 1.7, 2.2, 2.5}) {
        const auto kernel = SSampledGaussian::FromSigma(sigmaPx);
        const std::vector<double> exact =
            SampledGaussianWeights(sigmaPx, static_cast<long long>(kernel.radius) + 1);
        for (std::size_t k = 0; k <= kernel.radius; ++k) {
            EXPECT_NEAR(kernel.weights[k], exact[k], 2e-6 * exact[0])
                << "sigma " << sigmaPx << ", distance " << k;
        }
        EXPECT_LT(exact[kernel.radius + 1], 4e-6 * exact[0]) << "cut too early at sigma " << sigmaPx;
    }
}

TEST(SampledGaussian, HasWeightsThatSumUpToOne) {
    for (const double sigmaPx : {1e-300, 0.01, 0.4, 1.0, 2.5}) {
        const auto kernel = SSampledGaussian::FromSigma(sigmaPx);
        double sum = kernel.weights[0];
        for (std::size_t k = 1; k < kernel.weights.size(); ++k) {
            sum += 2.0 * kernel.weights[k];
        }
        EXPECT_NEAR(sum, 1.0, 1e-15) << "sigma " << sigmaPx;
    }
}

TEST(SampledGaussian, IsASingleSampleForATinySigma) {
    const auto kernel = SSampledGaussian::FromSigma(0.01);
    EXPECT_EQ(kernel.weights[0], 1.0);
    EXPECT_EQ(kernel.weights[1], 0.0);
}

TEST(SampledGaussian, SumsNeighboursUpByTheirWeights) {
    const auto kernel = SSampledGaussian::FromSigma(1.6);
    for (const std::size_t length : {1U, 3U, 7U, 8U, 9U, 16U, 29U}) {
        const auto rows = random_rows(2 * kernel.radius + 1, length);
        std::vector<float> found(length);
        Impl::WeightedSum(kernel, pointers_to(rows), found);
        for (std::size_t i = 0; i < length; ++i) {
            double expected = 0.0;
            for (std::size_t k = 0; k < rows.size(); ++k) {
                const std::size_t distance = k < kernel.radius ? kernel.radius - k : k - kernel.radius;
                expected += kernel.weights[distance] * static_cast<double>(rows[k][i]);
            }
            EXPECT_NEAR(found[i], expected, 1e-7 * 256.0) << "sample " << i << " of " << length;
        }
    }
}

TEST(SampledGaussian, GivesTheSameBitsForMirroredNeighbours) {
    const auto kernel = SSampledGaussian::FromSigma(2.0);
    auto rows = random_rows(2 * kernel.radius + 1, 21);
    std::vector<float> found(21);
    std::vector<float> mirrored(21);
    Impl::WeightedSum(kernel, pointers_to(rows), found);
    std::reverse(rows.begin(), rows.end());
    Impl::WeightedSum(kernel, pointers_to(rows), mirrored);
    EXPECT_EQ(found, mirrored);
}

TEST(SampledGaussian, GivesTheSameBitsForASampleAloneAndInARow) {
    const auto kernel = SSampledGaussian::FromSigma(1.1);
    const auto rows = random_rows(2 * kernel.radius + 1, 19);
    std::vector<float> together(19);
    Impl::WeightedSum(kernel, pointers_to(rows), together);
    for (std::size_t i = 0; i < together.size(); ++i) {
        std::vector<const float*> shifted = pointers_to(rows);
        for (const float*& row : shifted) {
            row += i;
        }
        std::vector<float> alone(1);
        Impl::WeightedSum(kernel, shifted, alone);
        EXPECT_EQ(alone[0], together[i]) << "sample " << i;
    }
}

} // namespace
} // namespace TEVRA::test
