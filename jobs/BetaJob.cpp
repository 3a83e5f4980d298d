// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/BetaJob.h"

#include "Axes/OrientationSums.h"
#include "FilterOrientations/BetaLikelihood.h"
#include "Numeric/Matrix.h"
#include "VexoNumeric/Numeric.h"
#include "jobs/Failure.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace TEVRA::jobs {

namespace {

using Vector = std::array<double, 3>;

/// Eigenvalues, largest first, and eigenvectors of the mean outer product.
struct SPrincipalAxes {
    Vector eigenvalues{};
    std::array<Vector, 3> axes{};
};

SPrincipalAxes principal_axes(const CDirectionSample& sample) {
    Impl::CSecondOrderSums<3> sums;
    for (std::size_t run = 0; run < sample.Runs(); ++run) {
        Impl::CSecondOrderSums<3>::Sums products{};
        Impl::AddSecondOrder<3>(sample.Direction(run).data(), products.data());
        for (double& product : products) {
            product *= sample.CountOf(run);
        }
        sums.Add(products, 0);
    }
    CMatrix<double> tensor(3, 3);
    sums.CopyTo(tensor);
    tensor *= 1.0 / static_cast<double>(sample.Count());
    CMatrix<double> u(3, 3);
    CMatrix<double> s(3, 1);
    CMatrix<double> v(3, 3);
    if (!CNumeric::Svd(tensor, u, s, v, true)) {
        throw CWorkError("the sample's principal axes cannot be computed; give the axis");
    }
    SPrincipalAxes result;
    for (std::size_t i = 0; i < 3; ++i) {
        result.eigenvalues[i] = s(i, 0);
        for (std::size_t row = 0; row < 3; ++row) {
            result.axes[i][row] = u(row, i);
        }
    }
    return result;
}

/// Angles from the z axis.
SPolarSample polar_sample(const CDirectionSample& sample) {
    SPolarSample polar;
    for (std::size_t run = 0; run < sample.Runs(); ++run) {
        const double cosine = std::cos(sample.ThetaRad(run));
        const double sine = std::sin(sample.ThetaRad(run));
        polar.cos2.push_back(cosine * cosine);
        polar.sin2.push_back(sine * sine);
        polar.counts.push_back(sample.CountOf(run));
    }
    return polar;
}

/// Angles from a unit vector. The sine comes from the cross product, as 1 - cos^2 loses narrow clusters.
SPolarSample polar_sample(const CDirectionSample& sample, const Vector& a) {
    SPolarSample polar;
    for (std::size_t run = 0; run < sample.Runs(); ++run) {
        const Vector v = sample.Direction(run);
        const double along = v[0] * a[0] + v[1] * a[1] + v[2] * a[2];
        const Vector across{v[1] * a[2] - v[2] * a[1], v[2] * a[0] - v[0] * a[2], v[0] * a[1] - v[1] * a[0]};
        polar.cos2.push_back(along * along);
        polar.sin2.push_back(across[0] * across[0] + across[1] * across[1] + across[2] * across[2]);
        polar.counts.push_back(sample.CountOf(run));
    }
    return polar;
}

bool is_of_largest(const Vector& e, std::optional<EDistributionType> type) {
    if (type && *type != CEstimationBeta::eIntermediate) {
        return *type == CEstimationBeta::eCluster;
    }
    return e[0] - e[1] > e[1] - e[2];
}

double isotropy_statistic(const Vector& eigenvalues, long long count) {
    double sum = 0.0;
    for (const double e : eigenvalues) {
        sum += (e - 1.0 / 3.0) * (e - 1.0 / 3.0);
    }
    return 7.5 * static_cast<double>(count) * sum;
}

EEvidence evidence_of(const SBetaFit& chosen, const SAxisChoice& choice) {
    constexpr double ISOTROPIC_UP_TO = 11.0705; // 95 % quantile of chi-squared with 5 degrees of freedom
    constexpr double CLEAR_FACTOR = 20.0;
    // As exact as betas from images are, whose pixels are many but not independent of each other.
    constexpr double NEAR_ISOTROPY = 0.05;
    if (chosen.limit != EBetaLimit::none) {
        return EEvidence::unknown;
    }
    if (choice.isotropyStatistic <= ISOTROPIC_UP_TO) {
        return EEvidence::none;
    }
    if (std::abs(std::log(chosen.beta)) < NEAR_ISOTROPY) {
        return EEvidence::weak;
    }
    return chosen.logLikelihood - choice.otherFit.logLikelihood > std::log(CLEAR_FACTOR) ? EEvidence::clear
                                                                                         : EEvidence::weak;
}

} // namespace

const char* NameOf(EDistributionType type) noexcept {
    switch (type) {
    case CEstimationBeta::eGirdle:
        return "girdle";
    case CEstimationBeta::eCluster:
        return "cluster";
    case CEstimationBeta::eIntermediate:
        break;
    }
    return "intermediate";
}

std::optional<EDistributionType> DistributionTypeNamed(std::string_view name) noexcept {
    const auto* const found = std::find_if(DISTRIBUTION_TYPES.begin(), DISTRIBUTION_TYPES.end(),
                                           [name](EDistributionType type) { return name == NameOf(type); });
    return found == DISTRIBUTION_TYPES.end() ? std::nullopt : std::optional(*found);
}

std::string DistributionTypeNames() {
    std::string names;
    for (const EDistributionType type : DISTRIBUTION_TYPES) {
        names += names.empty() ? "" : type == DISTRIBUTION_TYPES.back() ? " or " : ", ";
        names += NameOf(type);
    }
    return names;
}

const char* NameOf(EEvidence evidence) noexcept {
    switch (evidence) {
    case EEvidence::none:
        return "none";
    case EEvidence::weak:
        return "weak";
    case EEvidence::clear:
        return "clear";
    case EEvidence::unknown:
        break;
    }
    return "unknown";
}

SBetaEstimate EstimateBeta(const CDirectionSample& sample, const SBetaParameters& parameters) {
    if (sample.Count() < 1) {
        throw CWorkError("the sample holds no direction; there is nothing to estimate from");
    }
    const SPrincipalAxes principal = principal_axes(sample);
    const Vector& e = principal.eigenvalues;
    SBetaEstimate estimate;
    estimate.sampleSize = sample.Count();
    estimate.eigenvalues = e;
    estimate.type = parameters.type ? *parameters.type : Impl::DistributionTypeOf(e[0], e[1], e[2]);
    if (std::holds_alternative<SAxisOfAngles>(parameters.axis)) {
        estimate.fit = FitBeta(polar_sample(sample));
        return estimate;
    }
    if (const auto* named = std::get_if<Vector>(&parameters.axis)) {
        estimate.axis = *named;
        estimate.fit = FitBeta(polar_sample(sample, *named));
        return estimate;
    }
    SAxisChoice& choice = estimate.choice.emplace();
    choice.isOfLargest = is_of_largest(e, parameters.type);
    estimate.axis = principal.axes[choice.isOfLargest ? 0 : 2];
    choice.otherAxis = principal.axes[choice.isOfLargest ? 2 : 0];
    estimate.fit = FitBeta(polar_sample(sample, *estimate.axis));
    choice.otherFit = FitBeta(polar_sample(sample, choice.otherAxis));
    choice.isotropyStatistic = isotropy_statistic(e, estimate.sampleSize);
    choice.evidence = evidence_of(estimate.fit, choice);
    return estimate;
}

} // namespace TEVRA::jobs
