// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/RunRecord.h"
#include "volume/ImageReader.h"

#include "Subfields/AnalysisRequest.h"
#include "Subfields/FieldResult.h"

#include <optional>
#include <string>
#include <vector>

namespace TEVRA::jobs {

/// What makes one doubt the results of an analysis.
enum class EWarning {
    brokenSpacing,    ///< the file states a spacing that is none; no value
    lossyPixels,      ///< compressed with losses; no value
    smallRadius,      ///< fiber radius in pixels
    largeRadius,      ///< likewise
    thickPixels,      ///< longest side of pixels per fiber radius
    nanPixels,        ///< pixels without a value; how many
    infinitePixels,   ///< how many
    tinyForeground,   ///< share of the image that counts as fiber
    hugeForeground,   ///< likewise
    unresolvedFibers, ///< mean confidence of the whole field
    vagueDirection    ///< the largest eigenvalue of the whole field's tensor less the next one
};

struct SWarning {
    EWarning kind;
    std::optional<double> value{}; ///< what `kind` says
    std::string note{};            ///< what is wrong with the spacing; the compression of pixels
};

/// Below this mean confidence, of estimators whose confidence is absolute, fibers are not resolved at the radius:
/// woven tows have 0.48 to 0.61, fibers 0.70 to 0.98.
inline constexpr double UNRESOLVED_CONFIDENCE = 0.65;

/// Fibers of smaller radii have axes that are limited by the pixels.
inline constexpr double SMALL_RADIUS_PX = 2.0;
/// Fibers of larger radii have the same axes in a smaller image.
inline constexpr double LARGE_RADIUS_PX = 10.0;
/// The radius that binning should bring about.
inline constexpr double BINNED_RADIUS_PX = 4.5;

/// Line voting's axes lean towards the longest side of pixels if its derivatives reach less than so many of them: the
/// tensor errs by 0.003 with 0.5, by 0.03 with 0.45 and by 0.1 with 0.38 (docs/estimators.md).
inline constexpr double LEAST_DERIVATIVE_SIGMA_PX = 0.5;

/// The mean direction means little where the two largest eigenvalues of the tensor differ by less than this: an error of
/// 0.01 of the tensor's component between their directions turns it by atan(2 * 0.01 / 0.05) / 2 = 11 degrees then, and by
/// more if they differ by less (docs/accuracy.md).
inline constexpr double LEAST_EIGENVALUE_GAP = 0.05;

/// As the run record names it: "unresolved-fibers".
const char* WarningName(EWarning kind);
/// What is wrong, in one sentence without an end; front ends add what to do in their own words.
std::string WarningText(const SWarning& warning, const Impl::SAnalysisRequest& request);

/// What can be said of the image's header. @param origin of the spacing in use.
std::vector<SWarning> WarningsOfImage(const volume::SImageInfo& info, report::ESpacingOrigin origin);
/// What can be said before the image is read. @param request completed.
std::vector<SWarning> WarningsOfRequest(const Impl::SAnalysisRequest& request);
/// What a finished analysis warns of. @param record of its input, request, foreground and confidence.
std::vector<SWarning> WarningsOfResult(const report::SRunRecord& record);
/// What its mean direction is warned of. @param values of the whole field, which has foreground.
std::vector<SWarning> WarningsOfDirection(const Impl::STensorValues& values);

} // namespace TEVRA::jobs
