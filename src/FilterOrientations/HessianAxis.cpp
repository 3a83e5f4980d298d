// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/HessianAxis.h"

#include "VexoNumeric/Numeric.h"

#include <algorithm>
#include <cmath>

namespace TEVRA::Impl {
namespace {

/// Negative zero becomes zero: the arc tangent would turn it into -pi or -0.
double without_negative_zero(double value) {
    return value == 0.0 ? 0.0 : value;
}

} // namespace

StAxisAngles AnglesOfAxis(const std::array<double, 3>& axis) {
    const double sign = axis[2] < 0.0 ? -1.0 : 1.0;
    const double x = without_negative_zero(sign * axis[0]);
    const double y = without_negative_zero(sign * axis[1]);
    const double z = without_negative_zero(sign * axis[2]);
    // A length rounded down can leave a component just above 1.
    return {static_cast<float>(std::acos(std::min(z, 1.0))), static_cast<float>(std::atan2(y, x))};
}

float AngleOfAxis(const std::array<double, 2>& axis) {
    const double sign = axis[1] < 0.0 ? -1.0 : 1.0;
    const double x = without_negative_zero(sign * axis[0]);
    const double y = without_negative_zero(sign * axis[1]);
    return static_cast<float>(std::atan2(y, x));
}

template <std::size_t Dim>
CHessianAxis<Dim>::CHessianAxis(EEigenvalue which)
    : m_hessian(Dim, Dim), m_u(Dim, Dim), m_s(Dim, 1), m_v(Dim, Dim),
      m_column(which == EEigenvalue::smallest ? Dim - 1 : 0) {}

template <std::size_t Dim>
bool CHessianAxis<Dim>::Compute(std::array<double, Dim>& axis) {
    if (!CNumeric::Svd(m_hessian, m_u, m_s, m_v, true)) {
        return false;
    }
    double sumOfSquares = 0.0;
    for (std::size_t i = 0; i < Dim; ++i) {
        axis[i] = m_u(i, m_column);
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
