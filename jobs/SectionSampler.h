// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/Sections.h"
#include "stream/AxisAccumulator.h"
#include "stream/Communicator.h"
#include "stream/SliceSink.h"
#include "volume/PixelType.h"

#include "zeklib2image/Size.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace TEVRA::jobs {

/// Keeps sections through an image for its report while the image is analysed: nothing is read or computed twice, and
/// memory and work are a small part of the analysis's whatever the size of the image.
///
/// Sums are of whole numbers, so the sections depend neither on threads nor on processes. Grey values are those of the
/// middle of each block along z and averages along x and y.
class CSectionSampler : public stream::ISliceSink, public stream::IAxisAccumulator {
  public:
    /// @param spacing per axis: a block is about as long along all of them.
    CSectionSampler(const CSize& imageSize, const std::array<double, 3>& spacing,
                    volume::EPixelType greyType);

    // As a sink of grey values:
    bool WantsAngles() const override { return false; }
    void TakeAngles(const stream::SFoundSlices& /*found*/) override {}
    void TakeGrey(const stream::SSliceRange& slices, const std::byte* pixels) override;
    /// Whether any were taken: a run that goes on with an earlier one reads no image.
    bool HasGrey() const noexcept { return m_hasGrey; }

    // As an accumulator of axes:
    void BeginSlab(const stream::SSliceRange& /*slices*/) override {}
    void AddRow(const stream::SAxisRow& row) override;
    void EndSlab() override {}

    /// The sections, on rank 0; empty on others.
    report::SSections Collect(stream::ICommunicator& ranks);
    std::size_t Bytes() const;

  private:
    /// Sums over the axes of the blocks of a section, and the grey values.
    struct SSums {
        std::size_t axis;
        long long slicePx;
        std::size_t right; ///< the axes that it lies along
        std::size_t down;
        std::array<long long, 2> size;
        std::vector<std::uint32_t> axes; ///< by pixel, their number; then sums of what `SParts` holds
        std::vector<float> grey;
    };
    struct SParts;

    std::size_t axis_count(std::size_t axis) const { return static_cast<std::size_t>(m_sizePx[axis]); }
    void choose_blocks(const std::array<double, 3>& spacing);
    void add_sections();
    long long pixels_of(const std::array<long long, 3>& blockPx) const;
    void add_block(SSums& section, const stream::SAxisRow& row, const stream::SSliceRange& xs);
    void take_grey_slice(long long z, const std::byte* pixels);
    report::SSection finished(const SSums& sums, const std::array<double, 2>& greyRange) const;

    int m_dim;
    std::array<long long, 3> m_sizePx;
    volume::EPixelType m_greyType;
    std::array<long long, 3> m_blockPx{1, 1, 1};
    std::vector<SSums> m_sections;
    bool m_hasGrey = false;
    std::atomic<bool> m_hasConfidence = false; // of the stage: set by any worker
};

} // namespace TEVRA::jobs
