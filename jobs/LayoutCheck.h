// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Subfields/AnalysisRequest.h"
#include "zeklib2image/Size.h"

#include <optional>
#include <string>
#include <vector>

namespace TEVRA::jobs {

/// Why a fiber radius and subfields do not go with an image, in pixels.
struct SLayoutFault {
    enum class EReason {
        radiusExceedsImage,    ///< the fiber diameter exceeds the smallest extent
        radiusTooSmall,        ///< half a pixel or less
        nothingButBorder,      ///< the border leaves no pixel
        radiusExceedsSubfield, ///< the fiber diameter exceeds an extent of the subfields
        subfieldsDoNotFit,     ///< not even one fits into the image without its border
        tooManySubfields,      ///< along an axis more than the image without its border has pixels
        alongExceedsImage,     ///< the length that axes are averaged along exceeds the largest extent
        gradientExceedsImage,  ///< so does the width of gradients
        windowExceedsImage     ///< so does the window
    };
    EReason reason;
    double radiusPx;                    ///< along the axis with the smallest spacing
    std::vector<long long> borderPx;    ///< per axis
    std::vector<long long> imagePx;     ///< per axis
    std::vector<long long> evaluatedPx; ///< the image without its border
    std::vector<long long> subfieldPx;  ///< empty if there are none; the smallest where they differ
};

/// The checks that need no pixels, of a completed request. @return none if the analysis can begin.
std::optional<SLayoutFault> CheckLayout(const CSize& imageSize, const Impl::SAnalysisRequest& request);

/// Pixels per axis at the far edge of the image without its border that count for the whole field but lie in no
/// subfield; empty without subfields. For a request that passes the checks.
std::vector<long long> PixelsBeyondSubfields(const CSize& imageSize, const Impl::SAnalysisRequest& request);

/// What is wrong and what to do, in one line.
std::string LayoutFaultText(const SLayoutFault& fault, const Impl::SAnalysisRequest& request);

/// "3 mm = 6 px", or "3 px" where lengths are in pixels; "3 mm = 6 x 6 x 3 px" where pixels are no cubes.
std::string RadiusText(const Impl::SAnalysisRequest& request, int dim);

} // namespace TEVRA::jobs
