// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/Texts.h"
#include "stream/StreamingAnalysis.h"
#include "zeklib2image/Size.h"

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

/// The request as the analysis takes it.
stream::SStreamParameters ParametersOf(const SAnalysisRequest& request);

/// Why there was nothing to measure, and what to do, in the caller's terms.
std::string NoForegroundText(stream::CNoForegroundError::EReason reason, bool hasMask,
                             const SAnalysisRequest& request);

/// The checks that need no pixels.
/// @throws CWorkError if the radius or the subfields do not go with the size.
void CheckSizes(const CSize& imageSize, const SAnalysisRequest& request);

/// "3 mm = 6 px", or "3 px" where lengths are in pixels.
std::string RadiusText(const SAnalysisRequest& request);

} // namespace TEVRA::apps
