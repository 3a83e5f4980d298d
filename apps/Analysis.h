// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/ValueMap.h"
#include "zeklib2image/Image.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::apps {

enum class ETensorOrders { second, secondAndFourth };

/// One field-by-field analysis. Lengths without "Px" are in `lengthUnit`.
struct SAnalysisRequest {
    double fiberRadius = 0.0;
    double spacing = 1.0;              ///< along all axes
    std::string lengthUnit;            ///< for messages; may be empty
    double otsuFactor = 1.25;          ///< without a mask only
    std::vector<long long> subfieldPx; ///< one per axis; empty for the whole field only
    ETensorOrders orders = ETensorOrders::second;

    double FiberRadiusPx() const noexcept { return fiberRadius / spacing; }
};

struct SAnalysis {
    std::unique_ptr<CValueMap> document;
    std::string parameterSummary;
    std::optional<double> threshold; ///< grey value of the smoothed image; none with a mask
    std::unique_ptr<const IImage> theta;
    std::unique_ptr<const IImage> phi; ///< none in 2D
    long long foregroundPixels = 0;    ///< those with a direction
};

/// Runs the analysis of the library, and says in the caller's terms why it refuses to.
/// @param image GREY_8, 2D or 3D. @param mask BINARY_FG of the same size, or null for the automatic
///        foreground.
/// @throws CWorkError if the image, its foreground, the radius and the subfields do not go together.
SAnalysis Analyze(CImage& image, CImage* mask, const SAnalysisRequest& request);

/// The checks of `Analyze` that need no pixels.
/// @throws CWorkError if the radius or the subfields do not go with the size.
void CheckSizes(const CSize& imageSize, const SAnalysisRequest& request);

/// A number as people write it, for messages.
std::string RoundedText(double number, int significantDigits = 6);
/// "3 mm", or "3" if the unit has no name.
std::string WithUnit(const std::string& number, const std::string& unit);
/// "3 mm = 6 px", or "3 px" where lengths are in pixels.
std::string RadiusText(const SAnalysisRequest& request);
/// "128 x 128 x 64".
std::string SizeText(const std::vector<long long>& size);
std::vector<long long> ExtentsOf(const CSize& size);

} // namespace TEVRA::apps
