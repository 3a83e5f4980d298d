// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoFilter/BlockPass.h"
#include "VexoFilter/PixelGrid.h"

#include <array>
#include <vector>

namespace TEVRA::Impl {

/// The partial derivative of one image into another, along all axes at once: every pixel is read from memory
/// and written once. The same bits as one CDifferencePass per axis, x first.
class CDerivativePass : public IBlockPass {
  public:
    /// @param orders 0 to 2 along each axis.
    /// @param source, target of equal extents, over different pixels.
    CDerivativePass(const CPixelGrid& source, CPixelGrid& target, const std::array<int, 3>& orders);

    long long BlockCount() const override { return m_blocksInY * m_blocksInZ; }
    void Reserve(int workers) override;
    void Work(long long block, int worker) override;

  private:
    /// Buffers of one worker: a row, and rows for the neighbours of each axis.
    struct SBuffers {
        std::vector<float> row;
        std::array<std::array<std::vector<float>, 3>, 3> neighbours;
    };

    const float* row(int axis, const CPixelGrid::SPixel& pixel, SBuffers& buffers, float* room) const;
    void difference_along_x(const float* source, SBuffers& buffers, float* out) const;
    int order(int axis) const { return m_orders[static_cast<std::size_t>(axis)]; }

    const CPixelGrid& m_source;
    CPixelGrid& m_target;
    std::array<int, 3> m_orders;
    int m_lastAxis = -1; // of order above 0
    long long m_rowsPerBlock;
    long long m_blocksInY;
    long long m_blocksInZ;
    std::vector<SBuffers> m_buffers; // by worker
};

} // namespace TEVRA::Impl
