// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <optional>

namespace TEVRA::Impl {

/// What is gathered at a pixel from its neighbours.
enum class ELocalTensor {
    lineVotes,       ///< axes of bright lines, each weighted by how much of a line there is
    gradientProducts ///< the structure tensor
};

/// Lengths of an estimate, all in the unit of the spacing.
struct SLocalScales {
    ELocalTensor kind = ELocalTensor::lineVotes;
    std::array<double, 3> spacing{1.0, 1.0, 1.0}; ///< along x, y, z; the last is not used in 2D
    double derivativeSigma = 0.0;                 ///< of the Gaussian whose derivatives are taken
    double windowSigma = 0.0;                     ///< of the Gaussian that gathers neighbours
    double along = 0.0; ///< tensors are averaged along the axis with this standard deviation; 0: they are not

    /// Line voting: second derivatives at half the radius, at least one pixel; votes gathered with 0.7 radii.
    /// @param along by default the radius.
    static SLocalScales LineVoting(double fiberRadius, const std::array<double, 3>& spacing, int dim,
                                   std::optional<double> along = std::nullopt);
    /// Structure tensor: gradients at a third of the radius, but at least one pixel and 0.7 of the largest
    /// spacing; window of the radius.
    static SLocalScales StructureTensor(double fiberRadius, const std::array<double, 3>& spacing, int dim,
                                        std::optional<double> gradientSigma = std::nullopt,
                                        std::optional<double> windowSigma = std::nullopt, double along = 0.0);
};

/// Pixels to either side that each step reaches along x, y, z.
struct SLocalReach {
    std::array<long long, 3> derivative{};
    std::array<long long, 3> window{};
    std::array<long long, 3> along{};

    long long Total(std::size_t axis) const { return derivative[axis] + window[axis] + along[axis]; }
};

/// In 2D nothing along z.
SLocalReach ReachOf(const SLocalScales& scales, int dim);

/// The foreground is taken from the image smoothed by this many fiber radii: little, so that fibers that touch stay
/// apart and thin ones are not lost.
inline constexpr double FOREGROUND_SIGMA_RADII = 0.35;
/// Little above Otsu's threshold for the same reason.
inline constexpr double LOCAL_TENSOR_OTSU_FACTOR = 1.05;

/// Steps of the average along an axis, to either side of the pixel.
inline constexpr int ALONG_STEPS = 3;
/// Two sigma, in as many steps.
inline constexpr double ALONG_REACH_SIGMAS = 2.0;

} // namespace TEVRA::Impl
