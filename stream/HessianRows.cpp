// SPDX-License-Identifier: BSD-3-Clause
#include "stream/HessianRows.h"

#include "VexoFilter/Differences.h"

#include <algorithm>
#include <limits>

namespace TEVRA::stream {
namespace {

using Impl::FirstDifference;
using Impl::FirstDifferenceAlong;
using Impl::SecondDifference;
using Impl::SecondDifferenceAlong;

constexpr std::size_t NONE = std::numeric_limits<std::size_t>::max();
/// Buffers: the entries, three rows of slopes along x in the slice itself, one each in those below and above.
constexpr std::size_t SLOPES = 3;
constexpr std::size_t SIDES = 2;

} // namespace

template <std::size_t Dim>
CHessianRows<Dim>::CHessianRows(std::size_t width)
    : m_width(width), m_memory(width * (c_entries + SLOPES + SIDES)) {
    for (std::size_t entry = 0; entry < c_entries; ++entry) {
        m_rows[entry] = buffer(entry).data();
    }
    m_slopeRow.fill(NONE);
}

template <std::size_t Dim>
void CHessianRows<Dim>::GoTo(const SNeighbourSlices& slices) {
    m_slices = slices;
    m_slopeRow.fill(NONE);
}

template <std::size_t Dim>
std::span<const float> CHessianRows<Dim>::slope_along_x(std::size_t y) {
    const std::span<float> slope = buffer(c_entries + y % SLOPES);
    if (m_slopeRow[y % SLOPES] != y) {
        FirstDifferenceAlong(m_slices.Row(m_slices.here, y), slope);
        m_slopeRow[y % SLOPES] = y;
    }
    return slope;
}

template <std::size_t Dim>
const typename CHessianRows<Dim>::Rows& CHessianRows<Dim>::At(std::size_t y) {
    constexpr std::size_t YY = Dim == 3 ? 3 : 2;
    const std::size_t before = y > 0 ? y - 1 : y;
    const std::size_t after = std::min(y + 1, m_slices.height - 1);
    const auto here = [&](std::size_t row) { return m_slices.Row(m_slices.here, row); };
    SecondDifferenceAlong(here(y), buffer(0));
    FirstDifference(slope_along_x(before), slope_along_x(after), buffer(1));
    SecondDifference(here(before), here(y), here(after), buffer(YY));
    if constexpr (Dim == 3) {
        const auto below = [&](std::size_t row) { return m_slices.Row(m_slices.below, row); };
        const auto above = [&](std::size_t row) { return m_slices.Row(m_slices.above, row); };
        const std::span<float> slopeBelow = buffer(c_entries + SLOPES);
        const std::span<float> slopeAbove = buffer(c_entries + SLOPES + 1);
        FirstDifferenceAlong(below(y), slopeBelow);
        FirstDifferenceAlong(above(y), slopeAbove);
        FirstDifference(slopeBelow, slopeAbove, buffer(2));
        FirstDifference(below(before), below(after), slopeBelow);
        FirstDifference(above(before), above(after), slopeAbove);
        FirstDifference(slopeBelow, slopeAbove, buffer(4));
        SecondDifference(below(y), here(y), above(y), buffer(5));
    }
    return m_rows;
}

template class CHessianRows<2>;
template class CHessianRows<3>;

} // namespace TEVRA::stream
