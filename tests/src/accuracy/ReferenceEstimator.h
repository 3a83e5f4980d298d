// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "src/accuracy/AxisField.h"

namespace TEVRA::test {

struct SReferenceSettings {
    double sigmaPx = 4.0;
    double otsuFactor = 1.25;
};

/// Fiber axes by the textbook, in double precision and without a line of the library or of the host's
/// filters: convolution with a sampled Gaussian, differences of that, a general eigen solver, Otsu's
/// criterion tried for every bin. The image is continued constantly.
/// @param image GREY_8, three dimensions.
SAxisField ReferenceAxes(const CImage& image, const SReferenceSettings& settings);

} // namespace TEVRA::test
