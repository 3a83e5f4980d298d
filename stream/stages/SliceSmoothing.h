// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/GreySlices.h"
#include "stream/ScratchStore.h"
#include "stream/SliceRange.h"
#include "stream/Workers.h"

#include "VexoFilter/SmoothingPass.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace TEVRA::stream {

/// Smooths slices in their plane, by the host's passes along x and y.
class CSliceSmoothing {
  public:
    /// @param gaussian, grey, workers must outlive the object.
    CSliceSmoothing(const Impl::Gaussian& gaussian, const CGreySlices& grey, CWorkers& workers);

    /// Smooths a slab of slices as read into a volume of the store. @return the range of the file's values in it.
    /// @param background what one thread does first (CWorkers).
    volume::SValueRange Smooth(const std::byte* raw, const SSliceRange& slab, CScratchStore& store,
                               int volume, const std::function<void()>& background);

  private:
    volume::SValueRange smooth_slice(const std::byte* raw, float* smoothed, std::vector<std::byte>& buffer,
                                     int threads) const;

    const Impl::Gaussian& m_gaussian;
    const CGreySlices& m_grey;
    CWorkers& m_workers;
    std::vector<std::vector<std::byte>> m_buffers; // by worker
};

} // namespace TEVRA::stream
