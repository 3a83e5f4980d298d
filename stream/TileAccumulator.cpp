// SPDX-License-Identifier: BSD-3-Clause
#include "stream/TileAccumulator.h"

#include <span>

namespace TEVRA::stream {

IAxisAccumulator::~IAxisAccumulator() = default;

template <std::size_t Dim>
CTileAccumulator<Dim>::CTileAccumulator(const CTileGrid& grid, CTileSums<Dim>& sums, EOrders orders,
                                        ESums what, int workers, std::size_t width)
    : m_grid(grid), m_sums(sums), m_orders(orders), m_what(what) {
    for (int worker = 0; worker < workers; ++worker) {
        m_rows.emplace_back(width);
    }
}

template <std::size_t Dim>
void CTileAccumulator<Dim>::BeginSlab(const SSliceRange& slices) {
    m_slices = slices;
    m_parts.assign(static_cast<std::size_t>(slices.Count()) * CTileSums<Dim>::SumsPerSlice(m_grid), {});
}

template <std::size_t Dim>
void CTileAccumulator<Dim>::AddRow(const SAxisRow& row) {
    if (m_grid.Bands()[row.band].tile < 0 || m_grid.TileAt(2, row.z) < 0) {
        return;
    }
    const auto tiles = static_cast<std::size_t>(m_grid.Tiles(0));
    Impl::CRowSums<Dim>& sums = m_rows[static_cast<std::size_t>(row.worker)];
    sums.Begin();
    for (std::size_t tile = 0; tile < tiles; ++tile) {
        const Impl::SPixelRange range = m_grid.Range(0, static_cast<long long>(tile));
        sums.AddPart({row.angles.theta + range.lo, Dim == 3 ? row.angles.phi + range.lo : nullptr},
                     static_cast<std::size_t>(range.hi - range.lo));
    }
    sums.FindAxes();
    const auto slice = static_cast<std::size_t>(row.z - m_slices.first);
    const std::size_t first = slice * CTileSums<Dim>::SumsPerSlice(m_grid) + row.band * tiles;
    for (std::size_t tile = 0; tile < tiles; ++tile) {
        SSums<Dim>& part = m_parts[first + tile];
        sums.AddTo(tile, part.second, m_orders == EOrders::secondAndFourth ? &part.fourth : nullptr);
        if (WantsConfidence() && row.confidence != nullptr) {
            const Impl::SPixelRange range = m_grid.Range(0, static_cast<long long>(tile));
            Impl::AddConfidenceOfRow(row.angles.theta + range.lo, row.confidence + range.lo,
                                     static_cast<std::size_t>(range.hi - range.lo), part.confidence);
        }
    }
}

template <std::size_t Dim>
void CTileAccumulator<Dim>::EndSlab() {
    const std::size_t perSlice = CTileSums<Dim>::SumsPerSlice(m_grid);
    for (long long z = m_slices.first; z < m_slices.end; ++z) {
        const std::size_t first = static_cast<std::size_t>(z - m_slices.first) * perSlice;
        m_sums.AddSlice(z, std::span<const SSums<Dim>>(m_parts).subspan(first, perSlice));
    }
}

template <std::size_t Dim>
std::size_t CTileAccumulator<Dim>::BytesPerWorker(long long width) {
    // Two rows of packed angles, and unit axes in double precision.
    constexpr std::size_t ROWS = 2 + 6;
    return static_cast<std::size_t>(width) * sizeof(float) * ROWS;
}

template <std::size_t Dim>
std::size_t CTileAccumulator<Dim>::BytesPerSlice(long long tilesPerSlice) {
    return static_cast<std::size_t>(tilesPerSlice) * 2 * sizeof(SSums<Dim>);
}

template class CTileAccumulator<2>;
template class CTileAccumulator<3>;

} // namespace TEVRA::stream
