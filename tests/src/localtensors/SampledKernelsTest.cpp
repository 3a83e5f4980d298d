// SPDX-License-Identifier: BSD-3-Clause
#include "LocalTensors/SampledKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace {

using namespace TEVRA::Impl;

/// The kernel's answer to a function, at the origin.
double even_answer(const SSampledKernel& kernel, const std::function<double(double)>& function) {
    double sum = kernel.weights[0] * function(0.0);
    for (std::size_t k = 1; k < kernel.weights.size(); ++k) {
        const auto x = static_cast<double>(k);
        sum += kernel.weights[k] * (function(x) + function(-x));
    }
    return sum;
}

double odd_answer(const SSampledKernel& kernel, const std::function<double(double)>& function) {
    double sum = 0.0;
    for (std::size_t k = 1; k < kernel.weights.size(); ++k) {
        const auto x = static_cast<double>(k);
        sum += kernel.weights[k] * (function(x) - function(-x));
    }
    return sum;
}

class SampledKernels : public testing::TestWithParam<double> {};

TEST_P(SampledKernels, KeepConstantsAndDeriveLinesAndParabolasExactly) {
    const double sigma = GetParam();
    for (const double spacing : {1.0, 0.05, 7.5}) {
        const auto one = [](double) { return 1.0; };
        const auto line = [spacing](double x) { return 3.0 * x * spacing; };
        const auto parabola = [spacing](double x) { return x * x * spacing * spacing; };
        const SSampledKernel smoothing = SampledSmoothing(sigma * spacing, spacing);
        const SSampledKernel first = SampledFirstDerivative(sigma * spacing, spacing);
        const SSampledKernel second = SampledSecondDerivative(sigma * spacing, spacing);
        EXPECT_NEAR(even_answer(smoothing, one), 1.0, 1e-14);
        EXPECT_NEAR(odd_answer(first, line), 3.0, 1e-12);
        EXPECT_NEAR(even_answer(second, one) * spacing * spacing, 0.0, 1e-13);
        EXPECT_NEAR(even_answer(second, parabola), 2.0, 1e-12);
    }
}

TEST_P(SampledKernels, ReachFourSigmaAndAtLeastOnePixel) {
    const double sigma = GetParam();
    const auto reach = static_cast<std::size_t>(std::max(1.0, std::ceil(4.0 * sigma)));
    EXPECT_EQ(SampledSmoothing(sigma, 1.0).Radius(), reach);
    EXPECT_EQ(SampledFirstDerivative(sigma, 1.0).Radius(), reach);
    EXPECT_EQ(SampledSecondDerivative(sigma, 1.0).Radius(), reach);
}

INSTANTIATE_TEST_SUITE_P(Sigmas, SampledKernels,
                         testing::Values(0.0, 0.01, 0.0499, 0.05, 0.2, 0.35, 1.0, 1.5, 2.1, 3.0, 7.0, 20.0));

TEST(SampledKernels, FollowTheGaussianAndItsDerivatives) {
    constexpr double SIGMA = 3.0;
    const SSampledKernel smoothing = SampledSmoothing(SIGMA, 1.0);
    const SSampledKernel first = SampledFirstDerivative(SIGMA, 1.0);
    const SSampledKernel second = SampledSecondDerivative(SIGMA, 1.0);
    const double peak = 1.0 / (SIGMA * std::sqrt(2.0 * 3.14159265358979323846));
    for (std::size_t k = 0; k <= smoothing.Radius(); ++k) {
        const auto x = static_cast<double>(k);
        const double gaussian = peak * std::exp(-0.5 * x * x / (SIGMA * SIGMA));
        EXPECT_NEAR(smoothing.weights[k], gaussian, 1e-4 * peak) << k;
        // A correlation with the derivative's weights has the sign of x.
        EXPECT_NEAR(first.weights[k], x / (SIGMA * SIGMA) * gaussian, 1e-3 * peak) << k;
        EXPECT_NEAR(second.weights[k], (x * x / (SIGMA * SIGMA) - 1.0) / (SIGMA * SIGMA) * gaussian,
                    2e-3 * peak)
            << k;
    }
}

} // namespace
