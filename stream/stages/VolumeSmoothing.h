// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/stages/AxisStage.h"

#include "VexoFilter/SmoothingPass.h"

namespace TEVRA::stream {

/// The range of values, and the extent of smoothed values, of all processes.
volume::SValueRange RangeOfAll(const volume::SValueRange& own, ICommunicator& ranks);
Impl::SExtent ExtentOfAll(const Impl::SExtent& own, ICommunicator& ranks);

/// @throws volume::CInputError if no value is finite.
void RequireFinite(const volume::SValueRange& range);

/// A volume of the scratch store that is to hold the smoothed image.
struct SSmoothedVolume {
    const Impl::Gaussian& gaussian;
    int volume = 0;
};

/// Reads the own slices of the image and smooths them along x and y into the volume. Values that are no finite
/// numbers count as the smallest or largest finite one of the whole image: if any turn up, all slices are read
/// and smoothed once more.
/// @return the range of the file's values, of all processes.
/// @throws volume::CInputError if no value is finite; what reading throws.
volume::SValueRange SmoothSlices(const SStageContext& context, const SSmoothedVolume& target);

/// Smooths the volume along z. @return the extent of its smoothed values, of all processes.
Impl::SExtent SmoothAcrossSlices(const SStageContext& context, const SSmoothedVolume& target);

/// Memory of the latter.
std::size_t ColumnBytes(const Impl::Gaussian& gaussian, const SStageCut& cut);

} // namespace TEVRA::stream
