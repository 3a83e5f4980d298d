// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/MaskSlices.h"
#include "stream/ScratchStore.h"
#include "stream/SliceRange.h"
#include "stream/TileSums.h"
#include "stream/Workers.h"

#include "VexoBase/ProgressMonitor.h"

namespace TEVRA::stream {

/// Memory for the angles of some slices; `phi` is null in 2D.
struct SAngleSlices {
    float* theta = nullptr;
    float* phi = nullptr;
};

/// Takes the angle maps slab by slab.
class IAngleSink {
  public:
    IAngleSink() = default;
    IAngleSink(const IAngleSink&) = delete;
    IAngleSink& operator=(const IAngleSink&) = delete;
    virtual ~IAngleSink();

    /// Where the angles of these slices shall be put, for a sink that keeps the maps in memory; nothing for
    /// memory of the analysis.
    virtual SAngleSlices Place(const SSliceRange& slices);

    /// Takes complete slices, in ascending order; one call at a time, of any thread.
    /// @param theta, phi pixels of all the slices, as in the maps of CHessianOrientations; `phi` is null in
    /// 2D. They lie at the sink's own place if it gave one.
    virtual void Write(const SSliceRange& slices, const float* theta, const float* phi) = 0;
};

/// From smoothed slices to an axis for every foreground pixel.
struct SOrientationPass {
    /// Smoothed slices: the own ones and one more beyond either end, where the image has any. Memory of
    /// slices that have been worked on is given back.
    CScratchStore& store;
    SSliceRange own;
    const CSize& imageSize;
    const CTileGrid& grid;
    CMaskSlices* mask = nullptr;  ///< selects the foreground; null: what exceeds the threshold
    double threshold = 0.0;       ///< grey value
    IAngleSink* angles = nullptr; ///< null if nobody wants them
    long long slabSlices = 1;
    bool withFourthOrder = false;
};

/// @param sums receives the sums of every slice. @return the number of foreground pixels with an axis.
template <std::size_t Dim>
long long FindOrientations(const SOrientationPass& pass, CTileSums<Dim>& sums, CWorkers& workers,
                           IProgressMonitor& progress);

extern template long long FindOrientations<2>(const SOrientationPass&, CTileSums<2>&, CWorkers&,
                                              IProgressMonitor&);
extern template long long FindOrientations<3>(const SOrientationPass&, CTileSums<3>&, CWorkers&,
                                              IProgressMonitor&);

/// Bytes that one worker needs.
std::size_t OrientationBytesPerWorker(long long width);

} // namespace TEVRA::stream
