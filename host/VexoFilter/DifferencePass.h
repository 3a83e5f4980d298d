// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoFilter/BlockPass.h"
#include "VexoFilter/PixelGrid.h"

#include <vector>

namespace TEVRA::Impl {

/// Differentiates all lines of an image along one axis, in place. The lines are cut into blocks of adjacent
/// lines, which are independent of each other.
class CDifferencePass : public IBlockPass {
  public:
    enum class EOrder { first = 1, second = 2 };

    CDifferencePass(CPixelGrid& image, int axis, EOrder order);

    long long BlockCount() const override { return m_blockCount; }
    void Reserve(int workers) override;
    void Work(long long block, int worker) override;

  private:
    void along_x(long long block, float* memory);
    void across(long long block, float* memory);
    void difference(const float* left, const float* here, const float* right, float* out,
                    long long count) const;

    CPixelGrid& m_image;
    int m_axis;
    EOrder m_order;
    long long m_linesPerBlock; // at most
    long long m_blocksPerPlane;
    long long m_blockCount;
    std::vector<std::vector<float>> m_memory; // by worker
};

} // namespace TEVRA::Impl
