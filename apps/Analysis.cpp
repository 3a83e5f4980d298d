// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Analysis.h"

#include "apps/Failure.h"

#include "FilterOrientations/SubfieldLayout.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iomanip>
#include <sstream>

namespace TEVRA::apps {

namespace {

/// The sizes as the library takes them: negative along axes that have none. Along z of a 2D image that is
/// also what the library's size check asks for.
std::array<long long, 3> library_subfield(const SAnalysisRequest& request) {
    std::array<long long, 3> size = {-1, -1, -1};
    std::copy(request.subfieldPx.begin(), request.subfieldPx.end(), size.begin());
    return size;
}

/// With sizes that do not fit, the library would list no subfields, and evaluate only a part of the image.
void check_that_subfields_fit(const CSize& imageSize, const SAnalysisRequest& request) {
    if (request.subfieldPx.empty()) {
        return;
    }
    const Impl::CSubfieldLayout layout(imageSize, request.FiberRadiusPx(), library_subfield(request));
    if (!layout.ListsSubfields()) {
        throw CWorkError("subfields of " + jobs::SizeText(request.subfieldPx) +
                         " px do not fit: the image of " + jobs::SizeText(jobs::ExtentsOf(imageSize)) +
                         " px without its border of " + std::to_string(layout.Border()) + " px has " +
                         jobs::SizeText(jobs::ExtentsOf(layout.EvaluatedArea().Size())) +
                         " px; give smaller subfields, or none to analyse the image as a whole");
    }
}

void check_radius_against_image(const CSize& imageSize, const SAnalysisRequest& request) {
    const std::vector<long long> extents = jobs::ExtentsOf(imageSize);
    const long long smallest = *std::min_element(extents.begin(), extents.end());
    if (request.FiberRadiusPx() > 0.5 * static_cast<double>(smallest)) {
        throw CWorkError("Fiber diameter must not exceed image size (please check for correct units): the "
                         "fiber radius is " +
                         RadiusText(request) + ", the image " + jobs::SizeText(extents) + " px");
    }
    if (extents.size() == 2 && request.FiberRadiusPx() <= 0.5) {
        throw CWorkError("the fiber radius is too small for a 2D image: it is " + RadiusText(request) +
                         ", and must be more than half a pixel; check its unit");
    }
    const Impl::CSubfieldLayout layout(imageSize, request.FiberRadiusPx(), {-1, -1, -1});
    if (layout.EvaluatedArea().Size().Elements() == 0) {
        throw CWorkError("nothing is left to analyse: the fiber radius is " + RadiusText(request) +
                         ", and the image of " + jobs::SizeText(extents) +
                         " px is all border of that width; check "
                         "the unit of the radius");
    }
}

void check_radius_against_subfield(const SAnalysisRequest& request) {
    for (const long long extent : request.subfieldPx) {
        const long long half = extent / 2; // rounded towards zero, as the library does
        if (request.FiberRadiusPx() > static_cast<double>(half)) {
            throw CWorkError("Fiber diameter must not exceed subfield size (please check for correct units): "
                             "the fiber radius is " +
                             RadiusText(request) + ", the subfields " + jobs::SizeText(request.subfieldPx) +
                             " px");
        }
    }
}

} // namespace

void CheckSizes(const CSize& imageSize, const SAnalysisRequest& request) {
    check_radius_against_image(imageSize, request);
    check_radius_against_subfield(request);
    check_that_subfields_fit(imageSize, request);
}

stream::SStreamParameters ParametersOf(const SAnalysisRequest& request) {
    return {request.fiberRadius, request.spacing, request.otsuFactor, library_subfield(request),
            request.orders == ETensorOrders::secondAndFourth};
}

std::string NoForegroundText(stream::CNoForegroundError::EReason reason, bool hasMask,
                             const SAnalysisRequest& request) {
    if (reason == stream::CNoForegroundError::EReason::constantImage) {
        return "no foreground: all pixels of the image have the same grey value; check that it is the right "
               "image, and the grey window if one is given";
    }
    if (hasMask) {
        return "no foreground: the mask selects no pixel inside the image's border of one fiber radius; "
               "check that the mask is not empty or inverted";
    }
    return "no foreground: no pixel inside the image's border is brighter than " +
           jobs::RoundedText(request.otsuFactor) +
           " times the automatic threshold; give a smaller --otsu-factor, or the fibers as --mask (fibers "
           "must be brighter than what is around them)";
}

std::string RadiusText(const SAnalysisRequest& request) {
    std::string px = jobs::RoundedText(request.FiberRadiusPx()) + " px";
    if (request.lengthUnit == "px") {
        return px;
    }
    return jobs::WithUnit(jobs::RoundedText(request.fiberRadius), request.lengthUnit) + " = " + px;
}

} // namespace TEVRA::apps
