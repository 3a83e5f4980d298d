// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/HessianAxis.h"

#include "VexoNumeric/Numeric.h"

#include <cmath>

namespace TEVRA::Impl {

template <std::size_t Dim>
CHessianAxis<Dim>::CHessianAxis(EEigenvalue which)
    : m_hessian(Dim, Dim), m_u(Dim, Dim), m_s(Dim, 1), m_v(Dim, Dim), m_which(which) {}

template <std::size_t Dim>
bool CHessianAxis<Dim>::Decompose(std::array<double, Dim>& axis) {
    if (!CNumeric::Svd(m_hessian, m_u, m_s, m_v, true)) {
        return false;
    }
    const std::size_t column = m_which == EEigenvalue::smallest ? Dim - 1 : 0;
    double sumOfSquares = 0.0;
    for (std::size_t i = 0; i < Dim; ++i) {
        axis[i] = m_u(i, column);
        sumOfSquares += axis[i] * axis[i];
    }
    const double length = std::sqrt(sumOfSquares);
    for (double& component : axis) {
        component /= length;
    }
    return true;
}

template class CHessianAxis<2>;
template class CHessianAxis<3>;

} // namespace TEVRA::Impl
