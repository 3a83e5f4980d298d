// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoFilter/PixelGrid.h"
#include "VexoFilter/RecursiveGaussian.h"
#include "VexoFilter/SampledGaussian.h"
#include "VexoFilter/TilePass.h"

#include <variant>
#include <vector>

namespace TEVRA::Impl {

/// The kernel for a standard deviation: recursive where that is accurate, else sampled.
using Gaussian = std::variant<SRecursiveGaussian, SSampledGaussian>;
Gaussian GaussianFromSigma(double sigmaPx);

/// Smooths all lines of an image along one axis. The lines are cut into tiles of adjacent lines, which are
/// independent of each other; how they are cut never changes a result.
class CSmoothingPass : public ITilePass {
  public:
    /// @param source, target of equal extents; may be over the same pixels.
    CSmoothingPass(const Gaussian& gaussian, const CPixelGrid& source, CPixelGrid& target, int axis);

    long long TileCount() const override { return m_tileCount; }
    void Reserve(int workers) override;
    void Work(long long tile, int worker) override;

  private:
    struct SBuffers {
        std::vector<float> samples; // the tile: for each position along the axis, one sample of each line
        std::vector<float> row;     // rows in or out that the image does not hold as floats
        std::vector<const float*> rowsIn; // where they are, along x
        std::vector<float*> rowsOut;
        std::vector<float> last;    // the input's last samples
        std::vector<double> states; // of the recursion
    };

    /// Adjacent lines. Along x they are rows, numbered through all planes; else they start side by side in x.
    struct STile {
        long long first = 0;
        long long lines = 0;
        long long plane = 0; // the coordinate along the axis that is neither x nor the pass's
    };

    STile tile_at(long long tile) const;
    CPixelGrid::SPixel row_of(long long line) const;
    CPixelGrid::SPixel start_of(const STile& tile, long long position) const;
    void along_x(const SRecursiveGaussian& filter, const STile& tile, SBuffers& buffers);
    void along_x(const SSampledGaussian& kernel, const STile& tile, SBuffers& buffers);
    void across(const SRecursiveGaussian& filter, const STile& tile, SBuffers& buffers);
    void across(const SSampledGaussian& kernel, const STile& tile, SBuffers& buffers);

    const Gaussian& m_gaussian;
    const CPixelGrid& m_source;
    CPixelGrid& m_target;
    int m_axis;
    long long m_length;       // samples of a line
    long long m_linesPerTile; // at most
    long long m_tilesPerPlane;
    long long m_tileCount;
    std::vector<SBuffers> m_buffers; // by worker
};

} // namespace TEVRA::Impl
