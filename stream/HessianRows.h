// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace TEVRA::stream {

/// A smoothed slice and its neighbours, for one look at a time. The image continues constantly: a neighbour
/// missing at its end is the slice itself.
struct SNeighbourSlices {
    const float* below;
    const float* here;
    const float* above;
    std::size_t width;
    std::size_t height;

    std::span<const float> Row(const float* slice, std::size_t y) const { return {slice + y * width, width}; }
};

/// Second derivatives of a slice, row by row: the Hessian's upper triangle xx, xy[, xz], yy[, yz, zz].
///
/// The stencils and the order of axes are those of the host's derivatives of whole images, so the numbers
/// are, too.
template <std::size_t Dim>
class CHessianRows {
  public:
    static constexpr std::size_t c_entries = Dim * (Dim + 1) / 2;
    using Rows = std::array<const float*, c_entries>;

    explicit CHessianRows(std::size_t width);

    void GoTo(const SNeighbourSlices& slices) { m_slices = slices; }
    /// The entries of row `y`; valid until the next call.
    const Rows& At(std::size_t y);

  private:
    std::span<float> buffer(std::size_t number) {
        return std::span(m_memory).subspan(number * m_width, m_width);
    }
    SNeighbourSlices m_slices{};
    std::size_t m_width;
    std::vector<float> m_memory;
    Rows m_rows{};
};

extern template class CHessianRows<2>;
extern template class CHessianRows<3>;

} // namespace TEVRA::stream
