// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/SliceRange.h"

#include "Axes/RowKernels.h"

#include <cstddef>

namespace TEVRA::stream {

/// A row of pixels whose axes have been found.
struct SAxisRow {
    long long y = 0;
    long long z = 0;
    std::size_t band = 0; ///< of the grid, which the row lies in
    int worker = 0;       ///< rows of one worker come one after the other
    Impl::SConstAngleRow angles{};
    const float* confidence = nullptr; ///< null for stages without one, or if nobody wants it
};

/// Sums something up over axes. Rows come from several threads and in any order; parts of sums, one per slice
/// and band, are added in the order of slices, so that rounding does not depend on threads.
class IAxisAccumulator {
  public:
    IAxisAccumulator() = default;
    IAxisAccumulator(const IAxisAccumulator&) = delete;
    IAxisAccumulator& operator=(const IAxisAccumulator&) = delete;
    virtual ~IAxisAccumulator();

    /// Whether rows shall come with a confidence where there is one.
    virtual bool WantsConfidence() const { return false; }
    /// Makes room for the parts of a slab's slices; slabs come in ascending order.
    virtual void BeginSlab(const SSliceRange& slices) = 0;
    /// Adds a row of the slab. Rows of one band of a slice come in ascending order, of one worker.
    virtual void AddRow(const SAxisRow& row) = 0;
    /// Adds the slab's parts up.
    virtual void EndSlab() = 0;
};

} // namespace TEVRA::stream
