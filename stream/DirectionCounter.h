// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/AxisAccumulator.h"
#include "stream/Communicator.h"
#include "stream/TileSums.h"

#include <vector>

namespace TEVRA::stream {

/// Counts the axes of the evaluated area by direction: by the cells of CDirectionGrid, in 2D of CAngleGrid. Whole
/// numbers, so nothing depends on threads and processes.
class CDirectionCounter : public IAxisAccumulator {
  public:
    /// @param grid must outlive the object.
    CDirectionCounter(const CTileGrid& grid, int workers);

    void BeginSlab(const SSliceRange& /*slices*/) override {}
    void AddRow(const SAxisRow& row) override;
    void EndSlab() override {}

    /// Axes by cell, of all processes; the same on each.
    std::vector<unsigned long long> Counts(ICommunicator& ranks) const;
    static std::size_t Bytes(int workers);

  private:
    const CTileGrid& m_grid;
    std::vector<std::vector<unsigned long long>> m_counts; // by worker
};

} // namespace TEVRA::stream
