// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/Size.h"

namespace TEVRA {

CSize::CSize(long long x, long long y) : m_extents(x, y) {}

CSize::CSize(long long x, long long y, long long z) : m_extents(x, y, z) {}

CSize::CSize(std::initializer_list<long long> extents) : m_extents(extents) {}

CSize::CSize(const CPos& extents) : m_extents(extents) {}

long long CSize::operator[](long long axis) const {
    return axis >= m_extents.Dim() ? 1 : m_extents[axis];
}

void CSize::Set(long long axis, long long extent) {
    m_extents[axis] = extent;
}

std::size_t CSize::Elements() const noexcept {
    std::size_t product = m_extents.Dim() == 0 ? 0 : 1;
    for (int axis = 0; axis < m_extents.Dim(); ++axis) {
        const long long extent = m_extents[axis];
        product *= extent > 0 ? static_cast<std::size_t>(extent) : 0;
    }
    return product;
}

} // namespace TEVRA
