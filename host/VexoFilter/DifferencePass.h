// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoFilter/PixelGrid.h"
#include "VexoFilter/TilePass.h"

#include <vector>

namespace TEVRA::Impl {

/// Differentiates all lines of an image along one axis, in place. The lines are cut into tiles of adjacent
/// lines, which are independent of each other.
class CDifferencePass : public ITilePass {
  public:
    enum class EOrder { first = 1, second = 2 };

    CDifferencePass(CPixelGrid& image, int axis, EOrder order);

    long long TileCount() const override { return m_tileCount; }
    void Reserve(int workers) override;
    void Work(long long tile, int worker) override;

  private:
    void along_x(long long tile, float* memory);
    void across(long long tile, float* memory);
    void difference(const float* left, const float* here, const float* right, float* out,
                    long long count) const;

    CPixelGrid& m_image;
    int m_axis;
    EOrder m_order;
    long long m_linesPerTile; // at most
    long long m_tilesPerPlane;
    long long m_tileCount;
    std::vector<std::vector<float>> m_memory; // by worker
};

} // namespace TEVRA::Impl
