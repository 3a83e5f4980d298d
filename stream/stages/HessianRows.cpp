// SPDX-License-Identifier: BSD-3-Clause
#include "stream/stages/HessianRows.h"

#include "VexoFilter/Differences.h"

#include <algorithm>

namespace TEVRA::stream {

using Impl::MixedDifference;
using Impl::MixedDifferenceAlong;
using Impl::SecondDifference;
using Impl::SecondDifferenceAlong;

template <std::size_t Dim>
CHessianRows<Dim>::CHessianRows(const CScratchStore& store, const CSize& imageSize)
    : m_store(store), m_width(static_cast<std::size_t>(imageSize[0])), m_height(imageSize[1]),
      m_memory(m_width * ENTRIES) {
    for (std::size_t entry = 0; entry < ENTRIES; ++entry) {
        m_rows[entry] = buffer(entry).data();
    }
}

template <std::size_t Dim>
void CHessianRows<Dim>::GoTo(long long z) {
    const SSliceRange& stored = m_store.Slices();
    m_below = m_store.Slice(std::max(z - HESSIAN_REACH, stored.first));
    m_here = m_store.Slice(z);
    m_above = m_store.Slice(std::min(z + HESSIAN_REACH, stored.end - 1));
}

template <std::size_t Dim>
const Impl::SymmetricRow<Dim>& CHessianRows<Dim>::At(long long y, const unsigned char* /*foreground*/) {
    constexpr std::size_t YY = Dim == 3 ? 3 : 2;
    const long long before = std::max(y - 1, 0LL);
    const long long after = std::min(y + 1, m_height - 1);
    const auto here = [&](long long at) { return row(m_here, at); };
    SecondDifferenceAlong(here(y), buffer(0));
    MixedDifferenceAlong(here(before), here(after), buffer(1));
    SecondDifference(here(before), here(y), here(after), buffer(YY));
    if constexpr (Dim == 3) {
        const auto below = [&](long long at) { return row(m_below, at); };
        const auto above = [&](long long at) { return row(m_above, at); };
        MixedDifferenceAlong(below(y), above(y), buffer(2));
        MixedDifference({below(before), below(after), above(before), above(after)}, buffer(4));
        SecondDifference(below(y), here(y), above(y), buffer(5));
    }
    return m_rows;
}

template class CHessianRows<2>;
template class CHessianRows<3>;

} // namespace TEVRA::stream
