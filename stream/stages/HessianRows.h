// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/ScratchStore.h"

#include "Axes/AxisScan.h"
#include "zeklib2image/Size.h"

#include <cstddef>
#include <span>
#include <vector>

namespace TEVRA::stream {

/// Slices below and above that the second derivatives of a slice are made of.
inline constexpr long long HESSIAN_REACH = 1;

/// Second derivatives of smoothed slices, row by row: the Hessian's upper triangle xx, xy[, xz], yy[, yz, zz].
/// The image continues constantly: a neighbour missing at its end is the slice itself.
///
/// The stencils and the order of axes are those of the host's derivatives of whole images, so the numbers
/// are, too.
template <std::size_t Dim>
class CHessianRows : public Impl::IMatrixRows<Dim> {
  public:
    static constexpr std::size_t ENTRIES = Dim * (Dim + 1) / 2;

    /// @param store smoothed slices in its first volume; outlives the object. @param imageSize of the image.
    CHessianRows(const CScratchStore& store, const CSize& imageSize);

    void GoTo(long long z) override;
    const Impl::SymmetricRow<Dim>& At(long long y, const unsigned char* foreground) override;

  private:
    std::span<float> buffer(std::size_t number) {
        return std::span(m_memory).subspan(number * m_width, m_width);
    }
    std::span<const float> row(const float* slice, long long y) const {
        return {slice + static_cast<std::size_t>(y) * m_width, m_width};
    }

    const CScratchStore& m_store;
    std::size_t m_width;
    long long m_height;
    std::vector<float> m_memory;
    Impl::SymmetricRow<Dim> m_rows{};
    const float* m_below = nullptr;
    const float* m_here = nullptr;
    const float* m_above = nullptr;
};

extern template class CHessianRows<2>;
extern template class CHessianRows<3>;

} // namespace TEVRA::stream
