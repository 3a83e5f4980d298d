// SPDX-License-Identifier: BSD-3-Clause
#include "stream/HessianRows.h"

#include "VexoFilter/Differences.h"

#include <algorithm>

namespace TEVRA::stream {

using Impl::MixedDifference;
using Impl::MixedDifferenceAlong;
using Impl::SecondDifference;
using Impl::SecondDifferenceAlong;

template <std::size_t Dim>
CHessianRows<Dim>::CHessianRows(std::size_t width) : m_width(width), m_memory(width * c_entries) {
    for (std::size_t entry = 0; entry < c_entries; ++entry) {
        m_rows[entry] = buffer(entry).data();
    }
}

template <std::size_t Dim>
const typename CHessianRows<Dim>::Rows& CHessianRows<Dim>::At(std::size_t y) {
    constexpr std::size_t YY = Dim == 3 ? 3 : 2;
    const std::size_t before = y > 0 ? y - 1 : y;
    const std::size_t after = std::min(y + 1, m_slices.height - 1);
    const auto here = [&](std::size_t row) { return m_slices.Row(m_slices.here, row); };
    SecondDifferenceAlong(here(y), buffer(0));
    MixedDifferenceAlong(here(before), here(after), buffer(1));
    SecondDifference(here(before), here(y), here(after), buffer(YY));
    if constexpr (Dim == 3) {
        const auto below = [&](std::size_t row) { return m_slices.Row(m_slices.below, row); };
        const auto above = [&](std::size_t row) { return m_slices.Row(m_slices.above, row); };
        MixedDifferenceAlong(below(y), above(y), buffer(2));
        MixedDifference({below(before), below(after), above(before), above(after)}, buffer(4));
        SecondDifference(below(y), here(y), above(y), buffer(5));
    }
    return m_rows;
}

template class CHessianRows<2>;
template class CHessianRows<3>;

} // namespace TEVRA::stream
