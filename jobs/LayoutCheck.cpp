// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/LayoutCheck.h"

#include "jobs/Texts.h"

#include <algorithm>
#include <array>

namespace TEVRA::jobs {

namespace {

using EReason = SLayoutFault::EReason;

bool exceeds_image(const SLayoutFault& numbers, const Impl::SAnalysisRequest& request) {
    for (std::size_t axis = 0; axis < numbers.imagePx.size(); ++axis) {
        if (request.FiberRadiusPx(axis) > 0.5 * static_cast<double>(numbers.imagePx[axis])) {
            return true;
        }
    }
    return false;
}

bool exceeds_subfield(const SLayoutFault& numbers, const Impl::SAnalysisRequest& request) {
    for (std::size_t axis = 0; axis < numbers.subfieldPx.size(); ++axis) {
        const long long half = numbers.subfieldPx[axis] / 2; // rounded towards zero, as the library does
        if (request.FiberRadiusPx(axis) > static_cast<double>(half)) {
            return true;
        }
    }
    return false;
}

/// A length in the place of the estimator's own, and what it is when it is too long.
struct SOwnLength {
    const std::optional<double>& length;
    EReason reason;
    const char* name;
};

std::array<SOwnLength, 3> own_lengths(const Impl::SAnalysisRequest& request) {
    return {SOwnLength{request.along, EReason::alongExceedsImage, "the length along fibers"},
            SOwnLength{request.gradientSigma, EReason::gradientExceedsImage, "the width of gradients"},
            SOwnLength{request.windowSigma, EReason::windowExceedsImage, "the window"}};
}

/// Kernels of any length would give an axis all the same, as if there were something to see that far. Whole
/// images in memory have the same limit.
std::optional<EReason> length_exceeding(const std::vector<long long>& imagePx,
                                        const Impl::SAnalysisRequest& request) {
    const auto largest = static_cast<double>(*std::max_element(imagePx.begin(), imagePx.end()));
    const double spacing = *std::min_element(request.spacing.begin(),
                                             request.spacing.begin() + static_cast<long>(imagePx.size()));
    for (const SOwnLength& own : own_lengths(request)) {
        if (own.length.value_or(0.0) / spacing > largest) {
            return own.reason;
        }
    }
    return std::nullopt;
}

/// Before it is subtracted from anything: it may be beyond all numbers.
bool border_exceeds_image(const SLayoutFault& numbers) {
    for (std::size_t axis = 0; axis < numbers.imagePx.size(); ++axis) {
        if (numbers.borderPx[axis] >= numbers.imagePx[axis]) {
            return true;
        }
    }
    return false;
}

std::string border_text(const SLayoutFault& fault) {
    const bool isOneWidth = std::all_of(fault.borderPx.begin(), fault.borderPx.end(),
                                        [&](long long width) { return width == fault.borderPx[0]; });
    return (isOneWidth ? std::to_string(fault.borderPx[0]) : SizeText(fault.borderPx)) + " px";
}

std::string exceeding_text(const SLayoutFault& fault, const Impl::SAnalysisRequest& request,
                           const std::string& image) {
    for (const SOwnLength& own : own_lengths(request)) {
        if (own.reason == fault.reason) {
            return std::string(own.name) + " exceeds the image: it is " +
                   WithUnit(RoundedText(own.length.value_or(0.0)), request.lengthUnit) + ", the image " +
                   image + "; check its unit, or leave it to its default";
        }
    }
    return {};
}

} // namespace

std::optional<SLayoutFault> CheckLayout(const CSize& imageSize, const Impl::SAnalysisRequest& request) {
    const double radiusPx = request.FiberRadiusPx();
    SLayoutFault fault{EReason::radiusExceedsImage, radiusPx, {}, ExtentsOf(imageSize), {}, {}};
    for (std::size_t axis = 0; axis < fault.imagePx.size(); ++axis) {
        fault.borderPx.push_back(Impl::CSubfieldLayout::BorderOfRadius(request.BorderPx()[axis]));
    }
    if (exceeds_image(fault, request)) {
        return fault;
    }
    if (border_exceeds_image(fault)) {
        fault.reason = EReason::nothingButBorder;
        return fault;
    }
    // With sizes that do not fit, the library would list no subfields, and evaluate only a part of the image.
    const Impl::CSubfieldLayout layout = Impl::LayoutOf(imageSize, request);
    fault.evaluatedPx = ExtentsOf(layout.EvaluatedArea().Size());
    if (request.HasSubfields()) {
        const std::array<long long, 3>& size =
            request.subfieldCount ? layout.SubfieldSize() : request.subfieldPx;
        fault.subfieldPx.assign(size.begin(), size.begin() + imageSize.Dim());
    }
    const auto because = [&fault](EReason reason) {
        fault.reason = reason;
        return fault;
    };
    if (radiusPx <= 0.5) { // the smoothing would see nothing of a fiber; in 2D the library refuses it, too
        return because(EReason::radiusTooSmall);
    }
    if (const auto reason = length_exceeding(fault.imagePx, request)) {
        return because(*reason);
    }
    if (*std::min_element(fault.evaluatedPx.begin(), fault.evaluatedPx.end()) < 1) {
        return because(EReason::nothingButBorder);
    }
    if (request.subfieldCount && *std::min_element(fault.subfieldPx.begin(), fault.subfieldPx.end()) < 1) {
        return because(EReason::tooManySubfields);
    }
    if (exceeds_subfield(fault, request)) {
        return because(EReason::radiusExceedsSubfield);
    }
    if (request.HasSubfields() && !layout.ListsSubfields()) {
        return because(EReason::subfieldsDoNotFit);
    }
    return std::nullopt;
}

std::vector<long long> PixelsBeyondSubfields(const CSize& imageSize, const Impl::SAnalysisRequest& request) {
    if (!request.HasSubfields()) {
        return {};
    }
    const std::array<long long, 3> pixels = Impl::LayoutOf(imageSize, request).UnlistedPixels();
    return {pixels.begin(), pixels.begin() + imageSize.Dim()};
}

std::string LayoutFaultText(const SLayoutFault& fault, const Impl::SAnalysisRequest& request) {
    const std::string radius =
        "the fiber radius is " + RadiusText(request, static_cast<int>(fault.imagePx.size()));
    const std::string image = SizeText(fault.imagePx) + " px";
    switch (fault.reason) {
    case EReason::radiusExceedsImage:
        return "Fiber diameter must not exceed image size (please check for correct units): " + radius +
               ", the image " + image +
               (request.lengthUnit == "px" ? "" : "; a radius in pixels is given as in 3px");
    case EReason::radiusTooSmall:
        return "the fiber radius is too small: it is " +
               RadiusText(request, static_cast<int>(fault.imagePx.size())) +
               ", and must be more than half a pixel; check its unit";
    case EReason::nothingButBorder:
        return "nothing is left to analyse: " + radius + ", and the image of " + image + " is all border, " +
               border_text(fault) + " at every edge; check the unit of the radius, or leave less out";
    case EReason::radiusExceedsSubfield:
        return "Fiber diameter must not exceed subfield size (please check for correct units): " + radius +
               ", the subfields " + SizeText(fault.subfieldPx) + " px";
    case EReason::tooManySubfields:
        return "more subfields than pixels: the image of " + image + " without its border of " +
               border_text(fault) + " has " + SizeText(fault.evaluatedPx) + " px; divide it into fewer";
    case EReason::alongExceedsImage:
    case EReason::gradientExceedsImage:
    case EReason::windowExceedsImage:
        return exceeding_text(fault, request, image);
    case EReason::subfieldsDoNotFit:
        break;
    }
    return "subfields of " + SizeText(fault.subfieldPx) + " px do not fit: the image of " + image +
           " without its border of " + border_text(fault) + " has " + SizeText(fault.evaluatedPx) +
           " px; give smaller subfields, or none to analyse the image as a whole";
}

std::string RadiusText(const Impl::SAnalysisRequest& request, int dim) {
    std::string px = RoundedText(request.FiberRadiusPx(0));
    for (std::size_t axis = 1; !request.HasEqualSpacing() && axis < static_cast<std::size_t>(dim); ++axis) {
        px += " x " + RoundedText(request.FiberRadiusPx(axis));
    }
    px += " px";
    if (request.lengthUnit == "px") {
        return px;
    }
    return WithUnit(RoundedText(request.fiberRadius), request.lengthUnit) + " = " + px;
}

} // namespace TEVRA::jobs
