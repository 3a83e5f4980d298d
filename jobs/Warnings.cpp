// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/Warnings.h"

#include "jobs/ReadingNotes.h"
#include "jobs/Texts.h"
#include "stream/stages/Estimators.h"

#include "LocalTensors/Scales.h"

#include <algorithm>
#include <cmath>

namespace TEVRA::jobs {

namespace {

std::string count_text(double count) {
    return std::to_string(static_cast<long long>(count));
}

std::string percent_text(double share) {
    return RoundedText(100.0 * share, 3) + " %";
}

double binning_factor(double radiusPx) {
    return std::round(radiusPx / BINNED_RADIUS_PX);
}

std::size_t longest_side(const Impl::SAnalysisRequest& request) {
    return static_cast<std::size_t>(std::max_element(request.spacing.begin(), request.spacing.end()) -
                                    request.spacing.begin());
}

bool has_too_thick_pixels(const Impl::SAnalysisRequest& request) {
    if (request.estimator != stream::LINE_VOTING.name) {
        return false;
    }
    constexpr double ROUNDING = 1e-6;
    const double sigma =
        Impl::SLocalScales::LineVoting(request.fiberRadius, request.spacing, 3).derivativeSigma;
    return sigma < (LEAST_DERIVATIVE_SIGMA_PX - ROUNDING) * request.spacing[longest_side(request)];
}

} // namespace

const char* WarningName(EWarning kind) {
    switch (kind) {
    case EWarning::brokenSpacing:
        return "broken-spacing";
    case EWarning::lossyPixels:
        return "lossy-pixels";
    case EWarning::smallRadius:
        return "small-radius";
    case EWarning::largeRadius:
        return "large-radius";
    case EWarning::thickPixels:
        return "thick-pixels";
    case EWarning::nanPixels:
        return "nan-pixels";
    case EWarning::infinitePixels:
        return "infinite-pixels";
    case EWarning::tinyForeground:
        return "tiny-foreground";
    case EWarning::hugeForeground:
        return "huge-foreground";
    case EWarning::vagueDirection:
        return "vague-direction";
    case EWarning::unresolvedFibers:
        break;
    }
    return "unresolved-fibers";
}

std::string WarningText(const SWarning& warning, const Impl::SAnalysisRequest& request) {
    const bool isDark = request.contrast == Impl::EFiberContrast::dark;
    const double value = warning.value.value_or(0.0);
    switch (warning.kind) {
    case EWarning::brokenSpacing:
        return "the spacing that the file states is none (" + warning.note +
               "), so that lengths are in pixels";
    case EWarning::lossyPixels:
        return LossText(warning.note);
    case EWarning::smallRadius:
        return "the fiber radius is " + RoundedText(value) + " px: below " + RoundedText(SMALL_RADIUS_PX) +
               " px the pixels limit the accuracy of axes";
    case EWarning::largeRadius: {
        const double factor = binning_factor(value);
        return "the fiber radius is " + RoundedText(value) + " px: bin the image by " + RoundedText(factor) +
               "; with " + RoundedText(value / factor, 2) +
               " px it has the same axes in a fraction of the time";
    }
    case EWarning::thickPixels:
        return std::string("pixels are ") + RoundedText(value, 3) + " fiber radii long along " +
               "xyz"[longest_side(request)] + ": line voting's axes lean towards that direction";
    case EWarning::nanPixels:
        return count_text(value) +
               (value == 1.0 ? " pixel has no value (NaN) and counts as "
                             : " pixels have no value (NaN) and count as ") +
               (isDark ? "brightest" : "darkest");
    case EWarning::infinitePixels:
        return count_text(value) + (value == 1.0 ? " pixel is infinite and counts as darkest or brightest"
                                                 : " pixels are infinite and count as darkest or brightest");
    case EWarning::tinyForeground:
        return "only " + percent_text(value) + " of the image counts as fiber";
    case EWarning::hugeForeground:
        return "as much as " + percent_text(value) + " of the image counts as fiber";
    case EWarning::vagueDirection:
        return "the mean direction means little: the two largest eigenvalues of the tensor differ by less "
               "than " +
               RoundedText(LEAST_EIGENVALUE_GAP) + " (" + RoundedText(value, 2) + ")";
    case EWarning::unresolvedFibers:
        break;
    }
    return "the mean confidence of axes is " + RoundedText(value, 3) + ": below " +
           RoundedText(UNRESOLVED_CONFIDENCE) + " fibers are not resolved at this radius";
}

std::vector<SWarning> WarningsOfImage(const volume::SImageInfo& info, report::ESpacingOrigin origin) {
    std::vector<SWarning> warnings;
    if (info.isSpacingBroken && origin == report::ESpacingOrigin::none) {
        warnings.push_back({EWarning::brokenSpacing, std::nullopt, info.spacingNote});
    }
    if (!info.lossyCompression.empty()) {
        warnings.push_back({EWarning::lossyPixels, std::nullopt, info.lossyCompression});
    }
    return warnings;
}

std::vector<SWarning> WarningsOfRequest(const Impl::SAnalysisRequest& request) {
    std::vector<SWarning> warnings;
    const double radiusPx = request.FiberRadiusPx();
    if (radiusPx < SMALL_RADIUS_PX) {
        warnings.push_back({EWarning::smallRadius, radiusPx});
    } else if (radiusPx > LARGE_RADIUS_PX) {
        warnings.push_back({EWarning::largeRadius, radiusPx});
    }
    if (has_too_thick_pixels(request)) {
        warnings.push_back(
            {EWarning::thickPixels, request.spacing[longest_side(request)] / request.fiberRadius});
    }
    return warnings;
}

std::vector<SWarning> WarningsOfResult(const report::SRunRecord& record) {
    std::vector<SWarning> warnings;
    if (record.input.nanPixels > 0) {
        warnings.push_back({EWarning::nanPixels, static_cast<double>(record.input.nanPixels)});
    }
    if (record.input.infinitePixels > 0) {
        warnings.push_back({EWarning::infinitePixels, static_cast<double>(record.input.infinitePixels)});
    }
    const double share =
        static_cast<double>(record.foreground.pixels) / static_cast<double>(record.foreground.ofPixels);
    switch (report::ForegroundShare(record.foreground)) {
    case report::EForegroundShare::tiny:
        warnings.push_back({EWarning::tinyForeground, share});
        break;
    case report::EForegroundShare::huge:
        warnings.push_back({EWarning::hugeForeground, share});
        break;
    case report::EForegroundShare::plausible:
        break;
    }
    const auto& confidence = record.confidence;
    if (confidence && confidence->doubtfulFraction && confidence->mean < UNRESOLVED_CONFIDENCE) {
        warnings.push_back({EWarning::unresolvedFibers, confidence->mean});
    }
    return warnings;
}

std::vector<SWarning> WarningsOfDirection(const Impl::STensorValues& values) {
    const double gap = values.eigenvalues[0] - values.eigenvalues[1];
    return gap < LEAST_EIGENVALUE_GAP ? std::vector<SWarning>{{EWarning::vagueDirection, gap}}
                                      : std::vector<SWarning>{};
}

} // namespace TEVRA::jobs
