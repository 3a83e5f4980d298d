// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "src/accuracy/AxisField.h"

namespace TEVRA::test {

struct SAnalysisSettings {
    double fiberRadiusPx = 4.0;
    double otsuFactor = 1.25;
    IImage* mask = nullptr; ///< BINARY_FG; null for the automatic threshold
};

/// What the library's analysis of a whole field gives.
struct SAnalysis {
    SAxisField axes;
    Tensor fieldTensor{};   ///< as the result document reports it; in 2D row and column z are 0
    double threshold = 0.0; ///< grey value of the smoothed image
};

/// Runs the library's analysis without subfields.
SAnalysis Analyse(IImage& image, const SAnalysisSettings& settings);

} // namespace TEVRA::test
