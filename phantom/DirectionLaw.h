// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "phantom/RandomNumbers.h"

#include <array>
#include <variant>

namespace TEVRA::phantom {

/// All fibers parallel.
struct SOneAxis {
    std::array<double, 3> axis{1.0, 0.0, 0.0}; ///< any length but 0
};

/// The one-parameter family of axes around a symmetry axis: the colatitude theta from that axis has a density
/// proportional to beta sin(theta) (1 + (beta^2 - 1) cos^2(theta))^(-3/2), the azimuth is uniform.
///
/// beta = 1 is isotropic, below 1 the directions gather around the axis, above 1 near the plane perpendicular
/// to it. It is the rotationally symmetric case of the angular central Gaussian distribution (D. E. Tyler,
/// Statistical analysis for the angular central Gaussian distribution on the sphere, Biometrika 74(3), 1987).
struct SBetaFamily {
    double beta = 1.0; ///< positive; its square finite and not 0
    std::array<double, 3> symmetryAxis{0.0, 0.0, 1.0};
};

/// All axes in one plane, uniform there.
struct SPlanar {
    std::array<double, 3> normal{0.0, 0.0, 1.0};
};

using DirectionLaw = std::variant<SOneAxis, SBetaFamily, SPlanar>;

/// cos(theta) of the family's axis whose share of axes with a smaller cos(theta) is `share`, in [0, 1].
///
/// With t = cos(theta) the density on [0, 1] is beta (1 + (beta^2 - 1) t^2)^(-3/2), the distribution function
/// u = beta t / sqrt(1 + (beta^2 - 1) t^2), and its inverse t = u / sqrt(beta^2 + (1 - beta^2) u^2).
double BetaFamilyCosine(double share, double beta);

/// Draws an axis: a unit vector, of both opposite ones the one with z > 0, or with z = 0 either.
std::array<double, 3> DrawAxis(const DirectionLaw& law, CRandomNumbers& random);

/// Two unit vectors that form a right-handed orthonormal frame (first, second, direction) with a unit vector.
/// For a direction in the x-y plane, so lies `first`, and `second` is z or -z; for z they are x and y.
struct SPerpendicularFrame {
    std::array<double, 3> first;
    std::array<double, 3> second;
};
SPerpendicularFrame PerpendicularFrame(const std::array<double, 3>& direction);

/// The vector divided by its length. @param vector finite, not 0.
std::array<double, 3> Normalised(const std::array<double, 3>& vector);

} // namespace TEVRA::phantom
