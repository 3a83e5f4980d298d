// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/Box.h"

#include <algorithm>

namespace TEVRA {

CBox::CBox(long x0, long y0, long z0, long x1, long y1, long z1)
    : m_point0(x0, y0, z0), m_point1(x1, y1, z1) {}

CBox::CBox(const CPos& point0, const CPos& point1) : m_point0(point0), m_point1(point1) {}

CSize CBox::Size() const {
    const int dim = std::min(m_point0.Dim(), m_point1.Dim());
    CPos extents;
    extents.SetDim(dim);
    for (int axis = 0; axis < dim; ++axis) {
        extents[axis] = m_point1[axis] - m_point0[axis];
    }
    return CSize(extents);
}

} // namespace TEVRA
