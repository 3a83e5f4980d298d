// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/SampledGaussian.h"

#include "VexoFilter/FilterKernels.h"

#include <algorithm>
#include <cmath>

namespace TEVRA::Impl {
namespace {

constexpr double RADIUS_PER_SIGMA = 5.0;
} // namespace

SSampledGaussian SSampledGaussian::FromSigma(double sigmaPx) {
    SSampledGaussian kernel;
    kernel.radius = std::min(static_cast<std::size_t>(std::ceil(RADIUS_PER_SIGMA * sigmaPx)), LARGEST_RADIUS);
    double sum = 0.0;
    for (std::size_t k = 0; k <= kernel.radius; ++k) {
        const double distance = static_cast<double>(k) / sigmaPx;
        kernel.weights[k] = std::exp(-0.5 * distance * distance);
        sum += (k == 0 ? 1.0 : 2.0) * kernel.weights[k];
    }
    for (double& weight : kernel.weights) {
        weight /= sum;
    }
    return kernel;
}

void WeightedSum(const SSampledGaussian& kernel, std::span<const float* const> rows, std::span<float> out) {
    FilterKernels().weightedSum(kernel, rows.data(), out.data(), out.size());
}

} // namespace TEVRA::Impl
