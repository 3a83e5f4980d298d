// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoFilter/BlockPass.h"
#include "VexoFilter/PixelGrid.h"
#include "VexoFilter/RecursiveGaussian.h"
#include "VexoFilter/SampledGaussian.h"

#include <variant>
#include <vector>

namespace TEVRA::Impl {

/// The kernel for a standard deviation: recursive where that is accurate, else sampled.
using Gaussian = std::variant<SRecursiveGaussian, SSampledGaussian>;
Gaussian GaussianFromSigma(double sigmaPx);

/// Smooths all lines of an image along one axis. The lines are cut into blocks of adjacent lines, which are
/// independent of each other; how they are cut never changes a result.
class CSmoothingPass : public IBlockPass {
  public:
    /// @param source, target of equal extents; may be over the same pixels.
    CSmoothingPass(const Gaussian& gaussian, const CPixelGrid& source, CPixelGrid& target, int axis);

    long long BlockCount() const override { return m_blockCount; }
    void Reserve(int workers) override;
    void Work(long long block, int worker) override;

  private:
    struct SBuffers {

        std::vector<float> samples; // the block: for each position along the axis, one sample of each line
        std::vector<float> last;    // the input's last samples
        std::vector<double> states; // of the recursion
        std::vector<float> row;     // rows in or out that the image does not hold as floats
        std::vector<const float*> rowsIn; // where they are, along x
        std::vector<float*> rowsOut;
    };

    /// Adjacent lines of a plane: rows, side by side in y (in z if there is one row per plane only), or lines
    /// side by side in x.
    struct SBlock {
        long long first = 0;
        long long lines = 0;
        long long plane = 0; // the coordinate along the third axis
    };

    SBlock block_at(long long block) const;
    CPixelGrid::SPixel row_of(const SBlock& block, long long line) const;
    CPixelGrid::SPixel start_of(const SBlock& block, long long position) const;
    void along_x(const SRecursiveGaussian& filter, const SBlock& block, SBuffers& buffers);
    void along_x(const SSampledGaussian& kernel, const SBlock& block, SBuffers& buffers);
    void across(const SRecursiveGaussian& filter, const SBlock& block, SBuffers& buffers);
    void across(const SSampledGaussian& kernel, const SBlock& block, SBuffers& buffers);

    const Gaussian& m_gaussian;
    const CPixelGrid& m_source;
    CPixelGrid& m_target;
    int m_axis;
    long long m_length;            // samples of a line
    long long m_side = 0;          // lines of a plane
    long long m_linesPerBlock = 0; // at most
    long long m_blocksPerPlane;
    long long m_blockCount;
    std::vector<SBuffers> m_buffers; // by worker
};

/// Smooths planes along x and y: a plane that fits the cache is fetched once.
class CPlaneSmoothingPass : public IBlockPass {
  public:
    /// @param source, target as for CSmoothingPass.
    CPlaneSmoothingPass(const Gaussian& gaussian, const CPixelGrid& source, CPixelGrid& target);

    long long BlockCount() const override { return m_planes; }
    void Reserve(int workers) override;
    void Work(long long block, int worker) override;

  private:
    CSmoothingPass m_alongX;
    CSmoothingPass m_alongY;
    long long m_planes;
};

/// The passes that smooth along every axis, x first.
/// @param source, target as for CSmoothingPass, without axes of extent 0.
BlockPasses SmoothingPasses(const Gaussian& gaussian, const CPixelGrid& source, CPixelGrid& target);

} // namespace TEVRA::Impl
