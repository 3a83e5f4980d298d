// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/BetaFit.h"

#include <cmath>
#include <cstddef>
#include <limits>

namespace TEVRA::jobs {

namespace {

/// Adds up the counts of directions whose squared sine, or cosine, is next to nothing.
double count_of_small(const std::vector<double>& squares, const std::vector<double>& counts) {
    constexpr double SMALLEST_SQUARE = 1e-12;
    double sum = 0.0;
    for (std::size_t i = 0; i < squares.size(); ++i) {
        sum += squares[i] < SMALLEST_SQUARE ? counts[i] : 0.0;
    }
    return sum;
}

/// Values of ln(beta) on both sides of the maximum: the slope is positive at `lo` and not at `hi`.
struct SBracket {
    double lo;
    double hi;
};

SBracket bracket_of_maximum(const SPolarSample& sample) {
    constexpr double FARTHEST = 256.0; // limits are dealt with, so that no maximum is as far away
    const double towards = LogLikelihood(1.0, sample).slope > 0.0 ? 1.0 : -1.0;
    double inner = 0.0;
    double outer = towards;
    while (std::abs(outer) < FARTHEST && LogLikelihood(std::exp(outer), sample).slope * towards > 0.0) {
        inner = outer;
        outer *= 2.0;
    }
    return towards > 0.0 ? SBracket{inner, outer} : SBracket{outer, inner};
}

double maximum_within(SBracket bracket, const SPolarSample& sample) {
    constexpr double PRECISION = 1e-13;
    constexpr int MOST_NEWTON_STEPS = 50; // halving alone needs no more than as many again
    double at = 0.5 * (bracket.lo + bracket.hi);
    for (int step = 0; bracket.hi - bracket.lo > PRECISION; ++step) {
        const SLogLikelihood here = LogLikelihood(std::exp(at), sample);
        (here.slope > 0.0 ? bracket.lo : bracket.hi) = at;
        const double newton = at - here.slope / here.curvature;
        const bool isInside = newton > bracket.lo && newton < bracket.hi;
        const double next = isInside && step < MOST_NEWTON_STEPS ? newton : 0.5 * (bracket.lo + bracket.hi);
        if (std::abs(next - at) <= PRECISION) {
            return next;
        }
        at = next;
    }
    return at;
}

} // namespace

SLogLikelihood LogLikelihood(double beta, const SPolarSample& sample) {
    const double beta2 = beta * beta;
    const double logBeta = std::log(beta);
    SLogLikelihood sum{0.0, 0.0, 0.0};
    for (std::size_t i = 0; i < sample.cos2.size(); ++i) {
        const double denominator = beta2 * sample.cos2[i] + sample.sin2[i];
        const double share = beta2 * sample.cos2[i] / denominator;
        const double count = sample.counts[i];
        sum.value += count * (logBeta - 1.5 * std::log(denominator));
        sum.slope += count * (1.0 - 3.0 * share);
        sum.curvature -= count * 6.0 * share * (1.0 - share);
    }
    return sum;
}

SBetaFit FitBeta(const SPolarSample& sample) {
    double count = 0.0;
    for (const double one : sample.counts) {
        count += one;
    }
    constexpr double INFINITE = std::numeric_limits<double>::infinity();
    const double along = count_of_small(sample.sin2, sample.counts);
    const double across = count_of_small(sample.cos2, sample.counts);
    SBetaFit fit{EBetaLimit::none, 1.0, 0.0, along / count, across / count};
    const bool growsTowardsZero = 3.0 * along >= count;
    const bool growsTowardsInfinity = 3.0 * across >= 2.0 * count;
    if (growsTowardsZero && growsTowardsInfinity) {
        return fit; // a third along and the rest across: all betas are equally likely
    }
    if (growsTowardsZero) {
        fit.limit = EBetaLimit::alongAxis;
        fit.beta = 0.0;
        fit.logLikelihood = INFINITE;
    } else if (growsTowardsInfinity) {
        fit.limit = EBetaLimit::acrossAxis;
        fit.beta = INFINITE;
        fit.logLikelihood = INFINITE;
    } else {
        fit.beta = std::exp(maximum_within(bracket_of_maximum(sample), sample));
        fit.logLikelihood = LogLikelihood(fit.beta, sample).value;
    }
    return fit;
}

} // namespace TEVRA::jobs
