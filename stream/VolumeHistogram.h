// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/stages/AxisStage.h"

#include "Subfields/AnalysisResult.h"

namespace TEVRA::stream {

/// The histogram of a volume of the scratch store, of all processes, in the bins that a float image's threshold
/// is taken from. @param extent of its values; not empty.
Impl::SGreyHistogram HistogramOf(const SStageContext& context, int volume, const Impl::SExtent& extent);

/// Otsu's threshold of the histogram, moved up or down by the factor.
double ThresholdOf(const Impl::SGreyHistogram& histogram, const Impl::SExtent& extent, double otsuFactor);

} // namespace TEVRA::stream
