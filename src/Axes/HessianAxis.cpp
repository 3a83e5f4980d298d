// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/HessianAxis.h"

#include "Axes/AngleKernel.h"
#include "Axes/HessianKernel.h"
#include "VexoNumeric/Numeric.h"

#include <cmath>

namespace TEVRA::Impl {
namespace {

template <bool IsSmallest>
bool closed_form(const IMatrix<double>& h, std::array<double, 2>& axis) {
    const auto result = EigenAxis<IsSmallest>(SHessian2<double>{h(0, 0), h(0, 1), h(1, 1)});
    axis = {result.axis.x, result.axis.y};
    return result.isFound;
}

template <bool IsSmallest>
bool closed_form(const IMatrix<double>& h, std::array<double, 3>& axis) {
    const auto result =
        EigenAxis<IsSmallest>(SHessian3<double>{h(0, 0), h(0, 1), h(0, 2), h(1, 1), h(1, 2), h(2, 2)});
    axis = {result.axis.x, result.axis.y, result.axis.z};
    return result.isFound;
}

} // namespace

SAxisAngles AnglesOfAxis(const std::array<double, 3>& axis) {
    const SAngles<double> angles = FoldedAngles(SVector3<double>{axis[0], axis[1], axis[2]});
    return {static_cast<float>(angles.colatitude), static_cast<float>(angles.longitude)};
}

float AngleOfAxis(const std::array<double, 2>& axis) {
    return static_cast<float>(FoldedAngle(SVector2<double>{axis[0], axis[1]}));
}

template <std::size_t Dim>
CHessianAxis<Dim>::CHessianAxis(EEigenvalue which)
    : m_hessian(Dim, Dim), m_u(Dim, Dim), m_s(Dim, 1), m_v(Dim, Dim), m_which(which) {}

template <std::size_t Dim>
bool CHessianAxis<Dim>::Compute(std::array<double, Dim>& axis) {
    const bool isFound = m_which == EEigenvalue::smallest ? closed_form<true>(m_hessian, axis)
                                                          : closed_form<false>(m_hessian, axis);
    return isFound || Decompose(axis);
}

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
