// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <vector>

namespace TEVRA::Impl {

/// Weights of a Gaussian or of one of its derivatives, sampled at the pixels along one axis, for correlation.
///
/// Even kernels (the Gaussian, its second derivative) have w(-k) = w(k), the odd one (the first derivative)
/// w(-k) = -w(k). The moments are exact: constants are kept, x becomes 1 and x^2 becomes 2 as they should.
/// Differences of a smoothed image are no substitute: they turn axes by half a degree at radii of 2 to 3
/// pixels, everywhere in the same way.
struct SSampledKernel {
    /// Weights at distance 0, 1, ... radius to the right.
    std::vector<double> weights;

    std::size_t Radius() const noexcept { return weights.size() - 1; }
};

/// Below this many pixels a Gaussian is a single sample, and its derivatives are differences.
inline constexpr double LEAST_SAMPLED_SIGMA_PX = 0.05;

/// Pixels that a kernel of standard deviation `sigmaPx` reaches to either side: four sigma, at least one. A
/// cut at three sigma turns some axes by degrees.
std::size_t SampledReach(double sigmaPx);

/// @param sigma standard deviation, @param spacing distance between pixels, in one unit; both positive, sigma
///        may be 0.
SSampledKernel SampledSmoothing(double sigma, double spacing);
/// In 1 / unit.
SSampledKernel SampledFirstDerivative(double sigma, double spacing);
/// In 1 / unit^2.
SSampledKernel SampledSecondDerivative(double sigma, double spacing);

} // namespace TEVRA::Impl
