// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/Pos.h"

#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"

#include <algorithm>

namespace TEVRA {

CPos::CPos(long long x, long long y) : m_coordinates{x, y}, m_dim(2) {}

CPos::CPos(long long x, long long y, long long z) : m_coordinates{x, y, z}, m_dim(3) {}

CPos::CPos(std::initializer_list<long long> coordinates) {
    SetDim(static_cast<int>(std::min<std::size_t>(coordinates.size(), MAX_DIM + 1)));
    std::copy(coordinates.begin(), coordinates.end(), m_coordinates.begin());
}

void CPos::SetDim(int dim) {
    if (dim < 0 || dim > MAX_DIM) {
        CString message("A position has 0 to %1 dimensions, not %2.", CString::eEncodingUtf8);
        message.Arg(MAX_DIM, 0).Arg(dim, 0);
        throw CExBadParam(TEVRA_LOCATION("host/zeklib2image/Pos", "TEVRA::CPos::SetDim", __LINE__),
                          message.c_str());
    }
    for (int axis = dim; axis < m_dim; ++axis) {
        m_coordinates[static_cast<std::size_t>(axis)] = 0;
    }
    m_dim = dim;
}

void CPos::require_axis(long long axis) const {
    if (axis < 0 || axis >= m_dim) {
        CString message("A position of %1 dimensions has no axis %2.", CString::eEncodingUtf8);
        message.Arg(m_dim, 0).Arg(axis, 0);
        throw CExBadParam(TEVRA_LOCATION("host/zeklib2image/Pos", "TEVRA::CPos::operator []", __LINE__),
                          message.c_str());
    }
}

long long& CPos::operator[](long long axis) {
    require_axis(axis);
    return m_coordinates[static_cast<std::size_t>(axis)];
}

long long CPos::operator[](long long axis) const {
    require_axis(axis);
    return m_coordinates[static_cast<std::size_t>(axis)];
}

std::string CPos::ToString() const {
    std::string text = "(";
    for (int axis = 0; axis < m_dim; ++axis) {
        text += (axis == 0 ? "" : ",") + std::to_string(m_coordinates[static_cast<std::size_t>(axis)]);
    }
    return text + ")";
}

} // namespace TEVRA
