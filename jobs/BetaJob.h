// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterOrientations/EstimationBeta.h"
#include "jobs/BetaFit.h"
#include "jobs/Directions.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace TEVRA::jobs {

using EDistributionType = CEstimationBeta::EDistributionType;
inline constexpr std::array<EDistributionType, 3> DISTRIBUTION_TYPES{
    CEstimationBeta::eGirdle, CEstimationBeta::eCluster, CEstimationBeta::eIntermediate};

/// "girdle", "cluster" or "intermediate".
const char* NameOf(EDistributionType type) noexcept;
/// The type of that name; none if there is none.
std::optional<EDistributionType> DistributionTypeNamed(std::string_view name) noexcept;
/// All names, for messages: "girdle, cluster or intermediate".
std::string DistributionTypeNames();

/// The axis is found from the sample.
struct SPrincipalAxis {};
/// Colatitudes are measured from the axis already.
struct SAxisOfAngles {};

/// The symmetry axis that polar angles are measured from; a vector has unit length.
using SymmetryAxis = std::variant<SPrincipalAxis, SAxisOfAngles, std::array<double, 3>>;

struct SBetaParameters {
    /// Kind of the distribution; none: found from the sample. It decides which axis a principal one is.
    std::optional<EDistributionType> type;
    SymmetryAxis axis = SPrincipalAxis{};
};

/// How much a sample tells about which of its principal axes is that of symmetry. Every direction counts as
/// independent of the others, though neighbouring pixels of a fiber are not.
enum class EEvidence {
    none,    ///< the sample does not differ from directions without preference
    weak,    ///< the axis is not 20 times as likely as the other one, or beta is within 5 % of 1
    clear,   ///< neither
    unknown, ///< beta is at a limit, and its likelihood infinite
};
/// "none", "weak", "clear" or "unknown".
const char* NameOf(EEvidence evidence) noexcept;

/// The choice between the axes of the largest and of the smallest eigenvalue.
struct SAxisChoice {
    bool isOfLargest = true; ///< the axis taken belongs to the largest eigenvalue
    std::array<double, 3> otherAxis{};
    SBetaFit otherFit;
    /// Bingham's statistic 15/2 n sum (e - 1/3)^2 of the eigenvalues: chi-squared with 5 degrees of freedom for
    /// independent directions without preference (K. V. Mardia, P. E. Jupp, Directional Statistics, 2000,
    /// section 10.7).
    double isotropyStatistic = 0.0;
    EEvidence evidence = EEvidence::clear;
};

struct SBetaEstimate {
    long long sampleSize = 0;
    EDistributionType type = CEstimationBeta::eGirdle;
    /// Of the mean outer product, largest first.
    std::array<double, 3> eigenvalues{};
    /// That polar angles were measured from; none if they were given.
    std::optional<std::array<double, 3>> axis;
    SBetaFit fit;
    std::optional<SAxisChoice> choice; ///< if the axis was found from the sample
};

/// Estimates beta of CEstimationBeta's family by maximum likelihood.
///
/// The principal axis is that of the type if that is given as cluster (largest eigenvalue) or girdle
/// (smallest). Otherwise it is the one whose eigenvalue stands apart: the largest e0 if e0 - e1 > e1 - e2, else
/// the smallest e2, as a distribution with an axis of symmetry has two equal eigenvalues across it.
/// @throws CWorkError for an empty sample.
SBetaEstimate EstimateBeta(const CDirectionSample& sample, const SBetaParameters& parameters);

} // namespace TEVRA::jobs
