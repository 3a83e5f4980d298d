// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Size.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace TEVRA::test {

/// The sampled Gaussian exp(-k^2 / (2 sigma^2)) for k = 0 ... radius, normalised over all whole k.
inline std::vector<double> SampledGaussianWeights(double sigmaPx, long long radius) {
    std::vector<double> weights(static_cast<std::size_t>(radius) + 1);
    const auto far = static_cast<long long>(std::ceil(12.0 * sigmaPx)) + radius;
    double sum = 0.0;
    for (long long k = -far; k <= far; ++k) {
        const double weight = std::exp(-0.5 * static_cast<double>(k * k) / (sigmaPx * sigmaPx));
        sum += weight;
        if (k >= 0 && k <= radius) {
            weights[static_cast<std::size_t>(k)] = weight;
        }
    }
    for (double& weight : weights) {
        weight /= sum;
    }
    return weights;
}

/// Plain convolution of a line that continues constantly beyond its ends.
inline std::vector<double> SmoothDirectly(const std::vector<double>& line, double sigmaPx) {
    const auto length = static_cast<long long>(line.size());
    const auto radius = static_cast<long long>(std::ceil(9.0 * sigmaPx));
    const std::vector<double> weights = SampledGaussianWeights(sigmaPx, radius);
    std::vector<double> result(line.size());
    for (long long i = 0; i < length; ++i) {
        for (long long k = -radius; k <= radius; ++k) {
            result[static_cast<std::size_t>(i)] +=
                weights[static_cast<std::size_t>(std::abs(k))] *
                line[static_cast<std::size_t>(std::clamp(i + k, 0LL, length - 1))];
        }
    }
    return result;
}

/// The same along every axis of an image of up to three dimensions, x fastest, all in double.
inline std::vector<double> SmoothDirectly(std::vector<double> pixels, const CSize& size, double sigmaPx) {
    std::size_t stride = 1;
    for (int axis = 0; axis < size.Dim(); ++axis) {
        const auto length = static_cast<std::size_t>(size[axis]);
        std::vector<double> line(length);
        for (std::size_t at = 0; at < pixels.size() / length; ++at) {
            const std::size_t first = at / stride * stride * length + at % stride;
            for (std::size_t i = 0; i < length; ++i) {
                line[i] = pixels[first + i * stride];
            }
            const std::vector<double> smoothed = SmoothDirectly(line, sigmaPx);
            for (std::size_t i = 0; i < length; ++i) {
                pixels[first + i * stride] = smoothed[i];
            }
        }
        stride *= length;
    }
    return pixels;
}

} // namespace TEVRA::test
