// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/NoForeground.h"

#include "jobs/Texts.h"

#include <string>

namespace TEVRA::jobs {

namespace {

using EReason = CNoForegroundError::EReason;

EReason reason_of(stream::CNoForegroundError::EReason reason, bool hasMask,
                  const Impl::SAnalysisRequest& request) {
    if (reason == stream::CNoForegroundError::EReason::constantImage) {
        return EReason::constantImage;
    }
    return hasMask             ? EReason::emptyMask
           : request.threshold ? EReason::threshold
                               : EReason::automaticThreshold;
}

std::string text_of(EReason reason, const Impl::SAnalysisRequest& request) {
    if (reason == EReason::constantImage) {
        return "no foreground: all pixels of the image have the same grey value; check that it is the right "
               "image, and the grey window if one is given";
    }
    if (reason == EReason::emptyMask) {
        return "no foreground: the mask selects no pixel inside the image's border; check that it is not "
               "empty or inverted";
    }
    const bool isDark = request.contrast == Impl::EFiberContrast::dark;
    const std::string limit =
        reason == EReason::threshold
            ? "the threshold of " + RoundedText(*request.threshold) + " in the smoothed image"
            : RoundedText(request.otsuFactor.value_or(1.0)) + " times the automatic threshold";
    // Bright layers, which have no axis, are not lines either.
    const std::string line = request.estimator == stream::LINE_VOTING.name
                                 ? std::string(" and near a ") + (isDark ? "dark" : "bright") + " line"
                                 : "";
    return std::string("no foreground: no pixel inside the image's border is ") +
           (isDark ? "darker" : "brighter") + " than " + limit + line;
}

} // namespace

CNoForegroundError::CNoForegroundError(stream::CNoForegroundError::EReason reason, bool hasMask,
                                       const Impl::SAnalysisRequest& request)
    : CNoForegroundError(reason_of(reason, hasMask, request), request) {}

CNoForegroundError::CNoForegroundError(EReason reason, const Impl::SAnalysisRequest& request)
    : CWorkError(text_of(reason, request)), m_reason(reason) {}

} // namespace TEVRA::jobs
