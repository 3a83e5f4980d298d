// SPDX-License-Identifier: BSD-3-Clause
#include "LocalTensors/Scales.h"

#include "LocalTensors/SampledKernels.h"

#include <algorithm>
#include <cmath>

namespace TEVRA::Impl {
namespace {

/// The longest way along an axis, in pixels, of a look-up.
long long along_reach(double along, double spacing) {
    return static_cast<long long>(std::floor(ALONG_REACH_SIGMAS * along / spacing + 0.5));
}

double smallest(const std::array<double, 3>& spacing, int dim) {
    return *std::min_element(spacing.begin(), spacing.begin() + dim);
}

double largest(const std::array<double, 3>& spacing, int dim) {
    return *std::max_element(spacing.begin(), spacing.begin() + dim);
}

} // namespace

SLocalScales SLocalScales::LineVoting(double fiberRadius, const std::array<double, 3>& spacing, int dim,
                                      std::optional<double> along) {
    return {ELocalTensor::lineVotes, spacing, std::max(0.5 * fiberRadius, smallest(spacing, dim)),
            0.7 * fiberRadius, along.value_or(fiberRadius)};
}

SLocalScales SLocalScales::StructureTensor(double fiberRadius, const std::array<double, 3>& spacing, int dim,
                                           std::optional<double> gradientSigma,
                                           std::optional<double> windowSigma, double along) {
    const double sigma = std::max({fiberRadius / 3.0, smallest(spacing, dim), 0.7 * largest(spacing, dim)});
    return {ELocalTensor::gradientProducts, spacing, gradientSigma.value_or(sigma),
            windowSigma.value_or(fiberRadius), along};
}

SLocalReach ReachOf(const SLocalScales& scales, int dim) {
    SLocalReach reach;
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(dim); ++axis) {
        const double spacing = scales.spacing[axis];
        reach.derivative[axis] = static_cast<long long>(SampledReach(scales.derivativeSigma / spacing));
        reach.window[axis] = static_cast<long long>(SampledReach(scales.windowSigma / spacing));
        reach.along[axis] = along_reach(scales.along, spacing);
    }
    return reach;
}

} // namespace TEVRA::Impl
