// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/SampledGaussian.h"

#include <algorithm>
#include <cmath>

namespace TEVRA::Impl {
namespace {

constexpr double RADIUS_PER_SIGMA = 5.0;
/// Samples summed up side by side: few enough for their sums to stay in registers.
constexpr std::size_t SAMPLES_AT_A_TIME = 8;

/// COUNT samples from `first` on.
template <std::size_t COUNT>
void weighted_sums(const SSampledGaussian& kernel, std::span<const float* const> rows, std::size_t first,
                   float* out) {
    std::array<double, COUNT> sums{};
    const float* const here = rows[kernel.radius] + first;
    for (std::size_t i = 0; i < COUNT; ++i) {
        sums[i] = kernel.weights[0] * static_cast<double>(here[i]);
    }
    for (std::size_t k = 1; k <= kernel.radius; ++k) {
        const float* const left = rows[kernel.radius - k] + first;
        const float* const right = rows[kernel.radius + k] + first;
        const double weight = kernel.weights[k];
        for (std::size_t i = 0; i < COUNT; ++i) {
            sums[i] += weight * (static_cast<double>(left[i]) + static_cast<double>(right[i]));
        }
    }
    for (std::size_t i = 0; i < COUNT; ++i) {
        out[first + i] = static_cast<float>(sums[i]);
    }
}

} // namespace

SSampledGaussian SSampledGaussian::FromSigma(double sigmaPx) {
    SSampledGaussian kernel;
    kernel.radius =
        std::min(static_cast<std::size_t>(std::ceil(RADIUS_PER_SIGMA * sigmaPx)), c_largestRadius);
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
    std::size_t first = 0;
    for (; first + SAMPLES_AT_A_TIME <= out.size(); first += SAMPLES_AT_A_TIME) {
        weighted_sums<SAMPLES_AT_A_TIME>(kernel, rows, first, out.data());
    }
    for (; first < out.size(); ++first) {
        weighted_sums<1>(kernel, rows, first, out.data());
    }
}

} // namespace TEVRA::Impl
