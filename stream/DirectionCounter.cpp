// SPDX-License-Identifier: BSD-3-Clause
#include "stream/DirectionCounter.h"

#include "Axes/DirectionGrid.h"
#include "Axes/Markers.h"

namespace TEVRA::stream {

CDirectionCounter::CDirectionCounter(const CTileGrid& grid, int workers)
    : m_grid(grid),
      m_counts(static_cast<std::size_t>(workers),
               std::vector<unsigned long long>(grid.Layout().Dim() == 3 ? Impl::CDirectionGrid::CELLS
                                                                        : Impl::CAngleGrid::CELLS)) {}

void CDirectionCounter::AddRow(const SAxisRow& row) {
    if (m_grid.Bands()[row.band].tile < 0 || m_grid.TileAt(2, row.z) < 0) {
        return;
    }
    std::vector<unsigned long long>& counts = m_counts[static_cast<std::size_t>(row.worker)];
    const Impl::SConstAngleRow& angles = row.angles;
    for (long long tile = 0; tile < m_grid.Tiles(0); ++tile) {
        const SPixelRange& range = m_grid.Range(0, tile);
        if (angles.phi != nullptr) {
            for (long long x = range.lo; x < range.hi; ++x) {
                if (angles.theta[x] != Impl::NO_COLATITUDE) {
                    ++counts[Impl::CDirectionGrid::CellOf({angles.theta[x], angles.phi[x]})];
                }
            }
        } else {
            for (long long x = range.lo; x < range.hi; ++x) {
                if (angles.theta[x] != Impl::NO_ANGLE) {
                    ++counts[Impl::CAngleGrid::CellOf(angles.theta[x])];
                }
            }
        }
    }
}

std::vector<unsigned long long> CDirectionCounter::Counts(ICommunicator& ranks) const {
    std::vector<unsigned long long> sums(m_counts.front().size());
    for (const std::vector<unsigned long long>& counts : m_counts) {
        for (std::size_t cell = 0; cell < sums.size(); ++cell) {
            sums[cell] += counts[cell];
        }
    }
    ranks.AddUp(sums);
    return sums;
}

std::size_t CDirectionCounter::Bytes(int workers) {
    return static_cast<std::size_t>(workers) * Impl::CDirectionGrid::CELLS * sizeof(unsigned long long);
}

} // namespace TEVRA::stream
