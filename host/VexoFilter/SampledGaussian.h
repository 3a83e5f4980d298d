// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace TEVRA::Impl {

/// The sampled Gaussian as a direct kernel: weights proportional to exp(-k^2 / (2 sigma^2)), summing up to 1,
/// cut at five sigma (3.7e-6 of the peak). For sigmas that the recursive filter is not made for, down to a
/// kernel of a single sample; the cost grows with sigma.
struct SSampledGaussian {
    static constexpr std::size_t LARGEST_RADIUS = 13;
    static constexpr double LARGEST_SIGMA_PX = 2.5;

    std::size_t radius = 0;
    /// Weight of the samples at distance 0, 1, ... radius.
    std::array<double, LARGEST_RADIUS + 1> weights{};

    /// @param sigmaPx standard deviation in pixels, above 0, at most `LARGEST_SIGMA_PX`; the caller checks.
    static SSampledGaussian FromSigma(double sigmaPx);
};

/// Smoothed samples of lines side by side: the weighted sum of 2 radius + 1 neighbours along the axis, in
/// double. Mirrored neighbours give the same sum.
/// @param rows rows[radius] holds the samples to be smoothed, rows[radius - k] and rows[radius + k] their
///     neighbours at distance k; each at least as long as `out`. A caller continues the image constantly by
///     giving its first or last row again. @param out none of the rows.
void WeightedSum(const SSampledGaussian& kernel, std::span<const float* const> rows, std::span<float> out);

} // namespace TEVRA::Impl
