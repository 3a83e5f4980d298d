// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterOrientations/EstimationBeta.h"

#include <span>

namespace TEVRA::Impl {

/// Kind of a distribution by the eigenvalues e0 >= e1 >= e2 of the mean outer product of its directions.
CEstimationBeta::EDistributionType DistributionTypeOf(double e0, double e1, double e2);

/// Squares of the cosine and the sine of every polar angle of a sample; both spans have the sample's size.
struct SSquaredAngles {
    std::span<const double> cos2;
    std::span<const double> sin2;
};

/// The maximum-likelihood equation of beta at one value of beta: it is solved where `value` is 0.
struct SBetaEquation {
    double value;
    double derivative; ///< of `value` with respect to beta
};

/// A root of the equation and the number of Newton steps it took.
struct SBetaRoot {
    double beta; ///< may be negative: the equation does not change with the sign of beta
    int steps;
};

/// With c = cos^2, s = sin^2 and D = (beta^2 - 1) c + 1: the value is the sum of (beta^2 c - s / 2) / D,
/// which is, but for a factor, the derivative of the log-likelihood of the density beta sin(theta) (1 +
/// (beta^2 - 1) cos^2(theta))^(-3/2).
SBetaEquation BetaEquation(double beta, const SSquaredAngles& sample);

/// Newton's method from a starting value, until beta changes by no more than 1e-12 or 999 steps are done.
/// Where the derivative vanishes beta becomes 0 and stays there: the iteration has not converged then.
SBetaRoot SolveBetaEquation(double start, const SSquaredAngles& sample);

/// Starting value for a sample that clusters around its axis: the root where sin(theta) is small.
/// @param thetaRad polar angles; 0 or infinite results where their tangents are 0.
double ClusterStart(std::span<const double> thetaRad);

} // namespace TEVRA::Impl
