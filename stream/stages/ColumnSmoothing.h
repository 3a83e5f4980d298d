// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/Communicator.h"
#include "stream/ScratchStore.h"
#include "stream/SliceRange.h"
#include "stream/Workers.h"

#include "Utils/RowStatistics.h"
#include "VexoBase/ProgressMonitor.h"
#include "VexoFilter/SmoothingPass.h"

#include <cstddef>

namespace TEVRA::stream {

/// Smoothing along z of slices that are smooth in their plane already.
struct SColumnSmoothing {
    const Impl::Gaussian& gaussian;
    /// The slices of this process and, as room for neighbours' slices, as many beyond either end as
    /// `HaloSlices` says, where the image has any.
    CScratchStore& store;
    int volume = 0; ///< of the store
    SSliceRange own;
    long long depth = 0;         ///< slices of the image
    std::size_t stripPixels = 0; ///< per slice; the same in all processes
};

/// Smooths in place, strip by strip: a strip is the same pixels of every slice, so that every value is read
/// and written once.
///
/// Several processes pass the running states of the recursion on: up from the one with the first slices to
/// the one with the last, and down again. While one works on a strip, the one above works on the strip
/// before, so that all are busy after as many strips as there are processes.
/// @return the extent of the smoothed values of this process.
Impl::SExtent SmoothColumns(const SColumnSmoothing& task, CWorkers& workers, ICommunicator& ranks,
                            IProgressMonitor& progress);

/// Slices of neighbouring processes that `SmoothColumns` needs beyond either end.
long long HaloSlices(const Impl::Gaussian& gaussian);

/// Bytes that one worker needs besides the strips, and that the strips in work need for their running states.
std::size_t ColumnBytesPerWorker(const Impl::Gaussian& gaussian, long long slices);
std::size_t ColumnStateBytes(const Impl::Gaussian& gaussian, std::size_t stripPixels);

} // namespace TEVRA::stream
