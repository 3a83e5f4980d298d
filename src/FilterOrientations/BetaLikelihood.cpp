// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/BetaLikelihood.h"

#include <cmath>
#include <cstddef>

namespace TEVRA::Impl {

CEstimationBeta::EDistributionType DistributionTypeOf(double e0, double e1, double e2) {
    if (e0 > 0.39 && e1 < 0.3) {
        return CEstimationBeta::eCluster;
    }
    return std::abs(e1 + e2 - 0.6) < 0.02 ? CEstimationBeta::eIntermediate : CEstimationBeta::eGirdle;
}

SBetaEquation BetaEquation(double beta, const SSquaredAngles& sample) {
    const double beta2 = beta * beta;
    SBetaEquation equation{0.0, 0.0};
    for (std::size_t i = 0; i < sample.cos2.size(); ++i) {
        const double c = sample.cos2[i];
        const double s = sample.sin2[i];
        const double d = (beta2 - 1.0) * c + 1.0;
        equation.value += (beta2 * c - s / 2.0) / d;
        equation.derivative += 3.0 * beta * c * s / (d * d);
    }
    return equation;
}

SBetaRoot SolveBetaEquation(double start, const SSquaredAngles& sample) {
    constexpr double SMALLEST_CHANGE = 1e-12;
    constexpr double SMALLEST_DERIVATIVE = 1e-12;
    constexpr int MOST_STEPS = 999;
    SBetaRoot root{start, 0};
    double previous = -1.0;
    while (std::abs(previous - root.beta) > SMALLEST_CHANGE && root.steps < MOST_STEPS) {
        previous = root.beta;
        const SBetaEquation equation = BetaEquation(root.beta, sample);
        root.beta = std::abs(equation.derivative) > SMALLEST_DERIVATIVE
                        ? root.beta - equation.value / equation.derivative
                        : 0.0;
        ++root.steps;
    }
    return root;
}

double ClusterStart(std::span<const double> thetaRad) {
    double sum = 0.0;
    for (const double theta : thetaRad) {
        const double tangent = std::tan(theta);
        sum += 1.0 / (tangent * tangent);
    }
    return std::sqrt(static_cast<double>(thetaRad.size()) / (3.0 * sum));
}

} // namespace TEVRA::Impl
