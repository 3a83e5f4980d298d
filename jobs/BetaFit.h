// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

namespace TEVRA::jobs {

/// The angles between the directions of a sample and an axis, by the squares of their cosines and sines, and
/// how many directions have each. All of one size; sines and cosines are kept both, as neither gives the
/// other where it is small.
struct SPolarSample {
    std::vector<double> cos2;
    std::vector<double> sin2;
    std::vector<double> counts;
};

/// Log-likelihood of beta, natural, less that of beta = 1, and its derivatives with respect to ln(beta).
struct SLogLikelihood {
    double value;
    double slope;
    double curvature; ///< never positive: there is one maximum at most
};

/// With c and s, the squares of cosine and sine, the density relative to that without preference is
/// beta (beta^2 c + s)^(-3/2), as of CEstimationBeta, whose equation is this slope times -1/2.
/// @param beta positive.
SLogLikelihood LogLikelihood(double beta, const SPolarSample& sample);

/// Where the likelihood has no maximum: it grows towards beta 0 if a third of the directions or more lie along
/// the axis, towards infinity if two thirds or more lie across it.
enum class EBetaLimit { none, alongAxis, acrossAxis };

struct SBetaFit {
    EBetaLimit limit = EBetaLimit::none;
    double beta = 1.0;          ///< the most likely one; 0 or infinity at a limit
    double logLikelihood = 0.0; ///< less that of beta = 1; infinity at a limit
    double alongShare = 0.0;    ///< of the directions, within 1e-6 rad: angle maps hold floats
    double acrossShare = 0.0;
};

/// The most likely beta, relative error below 1e-12, by Newton's method in ln(beta) within a bracket: from
/// any sample, whatever single angles it holds.
/// @param sample one direction at least.
SBetaFit FitBeta(const SPolarSample& sample);

} // namespace TEVRA::jobs
