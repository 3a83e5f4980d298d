// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Analysis.h"

#include "apps/Failure.h"

#include "FilterOrientations/SubfieldFiberDirections.h"
#include "FilterOrientations/SubfieldLayout.h"
#include "zeklib2core/Exception.h"
#include "zeklib2image/HeaderTools.h"

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
        throw CWorkError("subfields of " + SizeText(request.subfieldPx) + " px do not fit: the image of " +
                         SizeText(ExtentsOf(imageSize)) + " px without its border of " +
                         std::to_string(layout.Border()) + " px has " +
                         SizeText(ExtentsOf(layout.EvaluatedArea().Size())) +
                         " px; give smaller subfields, or none to analyse the image as a whole");
    }
}

void check_radius_against_image(const CSize& imageSize, const SAnalysisRequest& request) {
    const std::vector<long long> extents = ExtentsOf(imageSize);
    const long long smallest = *std::min_element(extents.begin(), extents.end());
    if (request.FiberRadiusPx() > 0.5 * static_cast<double>(smallest)) {
        throw CWorkError("Fiber diameter must not exceed image size (please check for correct units): the "
                         "fiber radius is " +
                         RadiusText(request) + ", the image " + SizeText(extents) + " px");
    }
    if (extents.size() == 2 && request.FiberRadiusPx() <= 0.5) {
        throw CWorkError("the fiber radius is too small for a 2D image: it is " + RadiusText(request) +
                         ", and must be more than half a pixel; check its unit");
    }
    const Impl::CSubfieldLayout layout(imageSize, request.FiberRadiusPx(), {-1, -1, -1});
    if (layout.EvaluatedArea().Size().Elements() == 0) {
        throw CWorkError("nothing is left to analyse: the fiber radius is " + RadiusText(request) +
                         ", and the image of " + SizeText(extents) +
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
                             RadiusText(request) + ", the subfields " + SizeText(request.subfieldPx) + " px");
        }
    }
}

std::string no_foreground_text(const CImage* mask, const SAnalysisRequest& request) {
    if (mask != nullptr) {
        return "no foreground: the mask selects no pixel inside the image's border of one fiber radius; "
               "check "
               "that the mask is not empty or inverted";
    }
    return "no foreground: no pixel inside the image's border is brighter than " +
           RoundedText(request.otsuFactor) +
           " times the automatic threshold; give a smaller --otsu-factor, or the fibers as --mask (fibers "
           "must "
           "be brighter than what is around them)";
}

bool is_constant(const CImage& image) {
    const auto* const begin = image.Pixels<unsigned char>();
    const auto* const end = begin + image.Size().Elements();
    return std::all_of(begin, end, [first = *begin](unsigned char pixel) { return pixel == first; });
}

/// The library's own checks come again after those above, which know more of the caller's terms; a failure
/// for want of foreground shows only in the course of its work.
std::unique_ptr<CValueMap> compute(CSubfieldFiberDirections& directions, CImage& image, CImage* mask,
                                   const SAnalysisRequest& request, std::string& summary) {
    try {
        return std::unique_ptr<CValueMap>(
            directions.Compute(image, summary, mask, request.orders == ETensorOrders::secondAndFourth));
    } catch (const CException& failure) {
        const bool noField = failure.Message().starts_with("No fields available.");
        const bool noGreyRange = failure.Message().starts_with("Value range is invalid");
        if (noField || noGreyRange) {
            throw CWorkError(no_foreground_text(mask, request));
        }
        throw;
    }
}

void take_directions(CSubfieldFiberDirections& directions, int dim, SAnalysis& analysis) {
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    if (dim == 2) {
        directions.GetDirections(theta);
    } else {
        directions.GetDirections(theta, phi);
    }
    analysis.theta.reset(theta);
    analysis.phi.reset(phi);
}

long long count_directions(const IImage& theta) {
    const std::unique_ptr<IImage::IAccess> access(theta.CreateAccess(true));
    const auto* const angles = static_cast<const float*>(access->ConstData());
    return std::count_if(angles, angles + theta.Size().Elements(), [](float angle) { return angle >= 0.0F; });
}

} // namespace

void CheckSizes(const CSize& imageSize, const SAnalysisRequest& request) {
    check_radius_against_image(imageSize, request);
    check_radius_against_subfield(request);
    check_that_subfields_fit(imageSize, request);
}

SAnalysis Analyze(CImage& image, CImage* mask, const SAnalysisRequest& request) {
    CheckSizes(image.Size(), request);
    if (mask == nullptr && is_constant(image)) {
        throw CWorkError(
            "no foreground: all pixels of the image have the same grey value; check that it is the "
            "right image, and the grey window if one is given");
    }
    CVexoHeaderTools::SetSpacing(image, request.spacing, request.spacing, request.spacing);
    const auto [x, y, z] = library_subfield(request);
    CSubfieldFiberDirections directions(request.fiberRadius, request.otsuFactor, x, y, z);

    SAnalysis analysis;
    analysis.document = compute(directions, image, mask, request, analysis.parameterSummary);
    if (mask == nullptr) {
        analysis.threshold = directions.Threshold();
    }
    take_directions(directions, image.Size().Dim(), analysis);
    analysis.foregroundPixels = count_directions(*analysis.theta);
    return analysis;
}

std::string RoundedText(double number, int significantDigits) {
    std::ostringstream text;
    text << std::setprecision(significantDigits) << number;
    return text.str();
}

std::string WithUnit(const std::string& number, const std::string& unit) {
    return unit.empty() ? number : number + " " + unit;
}

std::string RadiusText(const SAnalysisRequest& request) {
    std::string px = RoundedText(request.FiberRadiusPx()) + " px";
    if (request.lengthUnit == "px") {
        return px;
    }
    return WithUnit(RoundedText(request.fiberRadius), request.lengthUnit) + " = " + px;
}

std::string SizeText(const std::vector<long long>& size) {
    std::string text;
    for (const long long extent : size) {
        text += (text.empty() ? "" : " x ") + std::to_string(extent);
    }
    return text;
}

std::vector<long long> ExtentsOf(const CSize& size) {
    std::vector<long long> extents(static_cast<std::size_t>(size.Dim()));
    for (std::size_t axis = 0; axis < extents.size(); ++axis) {
        extents[axis] = size[static_cast<long long>(axis)];
    }
    return extents;
}

} // namespace TEVRA::apps
