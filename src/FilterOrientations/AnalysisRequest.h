// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Utils/Threshold.h"

#include <array>
#include <string>

namespace TEVRA::Impl {

/// What a field-by-field analysis is asked to do. Made once by the front end; the analysis takes it and the
/// run record holds it as it is. Lengths without "Px" are in `lengthUnit`.
struct SAnalysisRequest {
    double fiberRadius = 0.0;
    double spacing = 1.0;                            ///< along all axes
    double otsuFactor = DEFAULT_OTSU_FACTOR;         ///< without a mask only
    std::array<long long, 3> subfieldPx{-1, -1, -1}; ///< negative for none, and along z in 2D
    bool withFourthOrder = false;
    std::string lengthUnit{}; ///< for people; "px" without a spacing, empty if the unit has no name

    double FiberRadiusPx() const noexcept { return fiberRadius / spacing; }
    bool HasSubfields() const noexcept { return subfieldPx[0] >= 0; }
};

} // namespace TEVRA::Impl
