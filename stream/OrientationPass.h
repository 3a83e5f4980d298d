// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/AxisAccumulator.h"
#include "stream/MaskSlices.h"
#include "stream/TileSums.h"
#include "stream/stages/AxisStage.h"

#include "VexoBase/ProgressMonitor.h"

#include <vector>

namespace TEVRA::stream {

/// From the volumes of a stage to an axis for every foreground pixel.
struct SOrientationPass {
    IAxisStage& stage;
    /// Its store holds the own slices and those in reach of them, where the image has any. Memory of slices that
    /// have been worked on is given back.
    const SStageContext& context;
    const CSize& imageSize;
    const CTileGrid& grid;       ///< whose bands of rows the threads share
    CMaskSlices* mask = nullptr; ///< selects the foreground; null: what exceeds the threshold
    double threshold = 0.0;      ///< grey value
    ISliceSink* sink = nullptr;  ///< for angles; null if nobody wants them
    std::vector<IAxisAccumulator*> accumulators{};
};

/// @return the number of foreground pixels with an axis.
template <std::size_t Dim>
long long FindOrientations(const SOrientationPass& pass, IProgressMonitor& progress);

extern template long long FindOrientations<2>(const SOrientationPass&, IProgressMonitor&);
extern template long long FindOrientations<3>(const SOrientationPass&, IProgressMonitor&);

/// Bytes that one worker needs besides those of stage and accumulators.
std::size_t OrientationBytesPerWorker(const IAxisStage& stage, long long width);

} // namespace TEVRA::stream
