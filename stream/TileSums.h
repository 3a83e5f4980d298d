// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/Communicator.h"
#include "stream/SliceRange.h"

#include "Axes/ConfidenceSums.h"
#include "Axes/OrientationSums.h"
#include "Subfields/AnalysisResult.h"
#include "Subfields/SubfieldLayout.h"
#include "Utils/CoveredPixels.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace TEVRA::stream {

using Impl::SPixelRange;

/// How the tiles of a layout lie over slices: which pixels of a row, which rows and which slices count for
/// which tile. As in the library, the last pixel of each axis of the image counts for none.
class CTileGrid {
  public:
    /// @param layout must outlive the object.
    CTileGrid(const Impl::CSubfieldLayout& layout, const CSize& imageSize);

    const Impl::CSubfieldLayout& Layout() const noexcept { return m_layout; }
    /// Number of tiles along an axis.
    long long Tiles(std::size_t axis) const { return static_cast<long long>(m_ranges[axis].size()); }
    /// The pixels of tile number `tile` along an axis.
    const SPixelRange& Range(std::size_t axis, long long tile) const {
        return m_ranges[axis][static_cast<std::size_t>(tile)];
    }
    /// The tile that a row (axis 1) or slice (axis 2) counts for; -1 for none.
    long long TileAt(std::size_t axis, long long position) const;

    /// Rows that one thread works on at a time, and that lie in the same tiles.
    struct SBand {
        SPixelRange rows;
        long long tile; ///< along y; -1 for none
    };
    const std::vector<SBand>& Bands() const noexcept { return m_bands; }

  private:
    void cut_bands(long long height);

    const Impl::CSubfieldLayout& m_layout;
    std::array<std::vector<SPixelRange>, 3> m_ranges;
    std::vector<SBand> m_bands;
};

/// Sums over the foreground pixels of something.
template <std::size_t Dim>
struct SSums {
    Impl::CSecondOrderSums<Dim> second;
    Impl::CFourthOrderSums<Dim> fourth;
    Impl::SConfidenceSums confidence{};

    void Add(const SSums& other) {
        second.Add(other.second);
        fourth.Add(other.fourth);
        confidence.Add(other.confidence);
    }
};

/// The sums of all tiles, from sums per band and slice.
///
/// They are added up slice by slice in ascending order, whoever computed them: rounding depends neither on
/// threads nor on processes.
template <std::size_t Dim>
class CTileSums {
  public:
    /// @param own the slices of this process. @param grid must outlive the object.
    CTileSums(const CTileGrid& grid, const SSliceRange& own);

    /// Sums that one slice gives: for each band one per tile along x.
    static std::size_t SumsPerSlice(const CTileGrid& grid);
    /// Adds the next slice; slices come in ascending order.
    void AddSlice(long long z, std::span<const SSums<Dim>> sums);
    /// Brings the sums of all processes together on rank 0.
    void Collect(ICommunicator& ranks);
    /// Foreground pixels of all tiles.
    long long Count() const;
    /// Adds all tiles to a result, in order.
    void AddTo(Impl::CResultBuilder& result, bool withFourthOrder) const;

  private:
    using Sums = SSums<Dim>;

    std::size_t tiles_per_layer() const;
    std::span<Sums> layer(long long k);
    void add_slice_of_tiles(long long k, std::span<const Sums> tiles);
    bool begins_in(long long k, const SSliceRange& slices) const;
    void send(ICommunicator& ranks);
    void receive(int from, ICommunicator& ranks);

    const CTileGrid& m_grid;
    SSliceRange m_own;
    std::vector<Sums> m_tiles; // x fastest
    std::vector<Sums> m_slice; // the tiles of one slice
    /// Slices of a layer of tiles that begins in another process: that one's sums must come first.
    std::vector<Sums> m_kept;
    long long m_keptLayer = -1;
};

extern template class CTileSums<2>;
extern template class CTileSums<3>;

} // namespace TEVRA::stream
