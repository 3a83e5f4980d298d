// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/AxisAccumulator.h"
#include "stream/TileSums.h"

#include <vector>

namespace TEVRA::stream {

/// Sums of the axes' outer products for every tile, and of their confidence.
template <std::size_t Dim>
class CTileAccumulator : public IAxisAccumulator {
  public:
    enum class EOrders { second, secondAndFourth };

    enum class ESums { axes, axesAndConfidence };

    /// @param grid, sums must outlive the object. @param sums receives every slice. @param width of the image.
    CTileAccumulator(const CTileGrid& grid, CTileSums<Dim>& sums, EOrders orders, ESums what, int workers,
                     std::size_t width);

    bool WantsConfidence() const override { return m_what == ESums::axesAndConfidence; }
    void BeginSlab(const SSliceRange& slices) override;
    void AddRow(const SAxisRow& row) override;
    void EndSlab() override;

    /// Memory of one worker, and of one slice of a slab.
    static std::size_t BytesPerWorker(long long width);
    static std::size_t BytesPerSlice(long long tilesPerSlice);

  private:
    const CTileGrid& m_grid;
    CTileSums<Dim>& m_sums;
    EOrders m_orders;
    ESums m_what;
    std::vector<Impl::CRowSums<Dim>> m_rows; // by worker
    SSliceRange m_slices;
    std::vector<SSums<Dim>> m_parts; // of the slab: by slice, band and tile along x
};

extern template class CTileAccumulator<2>;
extern template class CTileAccumulator<3>;

} // namespace TEVRA::stream
