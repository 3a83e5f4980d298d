// SPDX-License-Identifier: BSD-3-Clause
#include "LocalTensors/SampledKernels.h"

#include <algorithm>
#include <cmath>

namespace TEVRA::Impl {
namespace {

/// The sum over all pixels of an even kernel times an even function, given for k >= 0.
template <typename FunctionT>
double sum_both_sides(const std::vector<double>& weights, const FunctionT& function) {
    double sum = weights[0] * function(0.0);
    for (std::size_t k = 1; k < weights.size(); ++k) {
        sum += 2.0 * weights[k] * function(static_cast<double>(k));
    }
    return sum;
}

double one(double /*x*/) {
    return 1.0;
}

double squared(double x) {
    return x * x;
}

std::vector<double> gaussian(double sigmaPx) {
    std::vector<double> weights(SampledReach(sigmaPx) + 1);
    for (std::size_t k = 0; k < weights.size(); ++k) {
        const auto x = static_cast<double>(k);
        weights[k] = std::exp(-x * x / (2.0 * sigmaPx * sigmaPx));
    }
    const double sum = sum_both_sides(weights, one);
    for (double& weight : weights) {
        weight /= sum;
    }
    return weights;
}

} // namespace

std::size_t SampledReach(double sigmaPx) {
    return static_cast<std::size_t>(std::max(1.0, std::ceil(4.0 * sigmaPx)));
}

SSampledKernel SampledSmoothing(double sigma, double spacing) {
    const double sigmaPx = sigma / spacing;
    if (sigmaPx < LEAST_SAMPLED_SIGMA_PX) {
        return {{1.0, 0.0}};
    }
    return {gaussian(sigmaPx)};
}

SSampledKernel SampledFirstDerivative(double sigma, double spacing) {
    const double sigmaPx = sigma / spacing;
    if (sigmaPx < LEAST_SAMPLED_SIGMA_PX) {
        return {{0.0, 0.5 / spacing}};
    }
    std::vector<double> weights = gaussian(sigmaPx);
    const double variance = sum_both_sides(weights, squared);
    for (std::size_t k = 0; k < weights.size(); ++k) {
        weights[k] *= static_cast<double>(k) / (variance * spacing);
    }
    return {weights};
}

SSampledKernel SampledSecondDerivative(double sigma, double spacing) {
    const double sigmaPx = sigma / spacing;
    if (sigmaPx < LEAST_SAMPLED_SIGMA_PX) {
        return {{-2.0 / (spacing * spacing), 1.0 / (spacing * spacing)}};
    }
    std::vector<double> weights = gaussian(sigmaPx);
    const double variance = sigmaPx * sigmaPx;
    for (std::size_t k = 0; k < weights.size(); ++k) {
        weights[k] *= squared(static_cast<double>(k)) / (variance * variance) - 1.0 / variance;
    }
    const double mean = sum_both_sides(weights, one) / static_cast<double>(2 * weights.size() - 1);
    for (double& weight : weights) {
        weight -= mean;
    }
    const double scale = 2.0 / (sum_both_sides(weights, squared) * spacing * spacing);
    for (double& weight : weights) {
        weight *= scale;
    }
    return {weights};
}

} // namespace TEVRA::Impl
