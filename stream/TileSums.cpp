// SPDX-License-Identifier: BSD-3-Clause
#include "stream/TileSums.h"

#include <algorithm>
#include <type_traits>

namespace TEVRA::stream {
namespace {

/// Enough rows for a thread to be worth its start, few enough for all threads to have some.
constexpr long long MOST_ROWS_PER_BAND = 64;
constexpr int SUMS = 4; // tag of the messages

} // namespace

CTileGrid::CTileGrid(const Impl::CSubfieldLayout& layout, const CSize& imageSize) : m_layout(layout) {
    const Impl::TileIndex last = layout.FullTiles();
    for (std::size_t axis = 0; axis < static_cast<std::size_t>(layout.Dim()); ++axis) {
        for (long long tile = 0; tile <= last[axis]; ++tile) {
            Impl::TileIndex index{};
            index[axis] = tile;
            const auto along = static_cast<int>(axis);
            m_ranges[axis].push_back(Impl::CoveredPixels(layout.Tile(index), along, imageSize[along]));
        }
    }
    if (layout.Dim() == 2) {
        m_ranges[2].push_back({0, 1});
    }
    cut_bands(imageSize[1]);
}

long long CTileGrid::TileAt(std::size_t axis, long long position) const {
    const auto found =
        std::find_if(m_ranges[axis].begin(), m_ranges[axis].end(),
                     [&](const SPixelRange& range) { return range.lo <= position && position < range.hi; });
    return found == m_ranges[axis].end() ? -1 : found - m_ranges[axis].begin();
}

void CTileGrid::cut_bands(long long height) {
    for (long long y = 0; y < height; ++y) {
        const long long tile = TileAt(1, y);
        if (m_bands.empty() || m_bands.back().tile != tile ||
            y - m_bands.back().rows.lo == MOST_ROWS_PER_BAND) {
            m_bands.push_back({{y, y}, tile});
        }
        m_bands.back().rows.hi = y + 1;
    }
}

template <std::size_t Dim>
CTileSums<Dim>::CTileSums(const CTileGrid& grid, const SSliceRange& own)
    : m_grid(grid), m_own(own),
      m_tiles(static_cast<std::size_t>(grid.Tiles(0) * grid.Tiles(1) * grid.Tiles(2))),
      m_slice(tiles_per_layer()) {
    static_assert(std::is_trivially_copyable_v<Sums>, "sums travel between processes");
}

template <std::size_t Dim>
std::size_t CTileSums<Dim>::SumsPerSlice(const CTileGrid& grid) {
    return grid.Bands().size() * static_cast<std::size_t>(grid.Tiles(0));
}

template <std::size_t Dim>
std::size_t CTileSums<Dim>::tiles_per_layer() const {
    return static_cast<std::size_t>(m_grid.Tiles(0) * m_grid.Tiles(1));
}

template <std::size_t Dim>
std::span<SSums<Dim>> CTileSums<Dim>::layer(long long k) {
    return std::span(m_tiles).subspan(static_cast<std::size_t>(k) * tiles_per_layer(), tiles_per_layer());
}

template <std::size_t Dim>
bool CTileSums<Dim>::begins_in(long long k, const SSliceRange& slices) const {
    const long long first = m_grid.Range(2, k).lo;
    return slices.first <= first && first < slices.end;
}

template <std::size_t Dim>
void CTileSums<Dim>::AddSlice(long long z, std::span<const Sums> sums) {
    const long long k = m_grid.TileAt(2, z);
    if (k < 0) {
        return;
    }
    std::fill(m_slice.begin(), m_slice.end(), Sums{});
    const auto tilesAlongX = static_cast<std::size_t>(m_grid.Tiles(0));
    for (std::size_t band = 0; band < m_grid.Bands().size(); ++band) {
        const long long j = m_grid.Bands()[band].tile;
        for (std::size_t i = 0; j >= 0 && i < tilesAlongX; ++i) {
            m_slice[static_cast<std::size_t>(j) * tilesAlongX + i].Add(sums[band * tilesAlongX + i]);
        }
    }
    if (begins_in(k, m_own)) {
        add_slice_of_tiles(k, m_slice);
    } else {
        m_keptLayer = k;
        m_kept.insert(m_kept.end(), m_slice.begin(), m_slice.end());
    }
}

template <std::size_t Dim>
void CTileSums<Dim>::add_slice_of_tiles(long long k, std::span<const Sums> tiles) {
    const std::span<Sums> target = layer(k);
    for (std::size_t tile = 0; tile < target.size(); ++tile) {
        target[tile].Add(tiles[tile]);
    }
}

template <std::size_t Dim>
void CTileSums<Dim>::Collect(ICommunicator& ranks) {
    if (!ranks.IsFirst()) {
        send(ranks);
        return;
    }
    for (int from = 1; from < ranks.Size(); ++from) {
        receive(from, ranks);
    }
}

template <std::size_t Dim>
void CTileSums<Dim>::send(ICommunicator& ranks) {
    const std::array<long long, 3> head{m_own.first, m_own.end, m_keptLayer};
    ranks.Send(0, SUMS, MessageOf(std::span<const long long>(head)));
    ranks.Send(0, SUMS, MessageOf(std::span<const Sums>(m_kept)));
    ranks.Send(0, SUMS, MessageOf(std::span<const Sums>(m_tiles)));
    ranks.Flush();
}

template <std::size_t Dim>
void CTileSums<Dim>::receive(int from, ICommunicator& ranks) {
    std::array<long long, 3> head{};
    CopyMessage(ranks.Receive(from, SUMS), std::as_writable_bytes(std::span(head)));
    const SSliceRange theirs{head[0], head[1]};
    const ICommunicator::Message kept = ranks.Receive(from, SUMS);
    std::vector<Sums> sums(kept.size() / sizeof(Sums));
    CopyMessage(kept, std::as_writable_bytes(std::span(sums)));
    for (std::size_t at = 0; at < sums.size(); at += tiles_per_layer()) {
        add_slice_of_tiles(head[2], std::span<const Sums>(sums).subspan(at, tiles_per_layer()));
    }
    sums.assign(m_tiles.size(), Sums{});
    CopyMessage(ranks.Receive(from, SUMS), std::as_writable_bytes(std::span(sums)));
    for (long long k = 0; k < m_grid.Tiles(2); ++k) {
        if (begins_in(k, theirs)) {
            const std::size_t first = static_cast<std::size_t>(k) * tiles_per_layer();
            add_slice_of_tiles(k, std::span<const Sums>(sums).subspan(first, tiles_per_layer()));
        }
    }
}

template <std::size_t Dim>
long long CTileSums<Dim>::Count() const {
    long long count = 0;
    for (const Sums& sums : m_tiles) {
        count += sums.second.Count();
    }
    return count;
}

template <std::size_t Dim>
void CTileSums<Dim>::AddTo(Impl::CResultBuilder& result, bool withFourthOrder) const {
    std::size_t at = 0;
    for (long long k = 0; k < m_grid.Tiles(2); ++k) {
        for (long long j = 0; j < m_grid.Tiles(1); ++j) {
            for (long long i = 0; i < m_grid.Tiles(0); ++i, ++at) {
                const Sums& sums = m_tiles[at];
                Impl::STileSums tile;
                tile.count = sums.second.Count();
                tile.confidence = sums.confidence;
                tile.second.dim = Dim;
                sums.second.CopyTo(tile.second);
                if (withFourthOrder) {
                    tile.fourth = Impl::STensor4(Dim);
                    sums.fourth.AddTo(tile.fourth);
                }
                result.AddTile({i, j, k}, tile);
            }
        }
    }
}

template class CTileSums<2>;
template class CTileSums<3>;

} // namespace TEVRA::stream
