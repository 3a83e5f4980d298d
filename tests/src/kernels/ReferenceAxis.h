// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/HessianAxis.h"
#include "Axes/HessianKernel.h"

#include <array>
#include <cstddef>

namespace TEVRA::test {

/// The axis of one Hessian at a time: in closed form, or by the decomposition where that finds none. What
/// walks over rows must give, to the last bit.
template <std::size_t Dim>
class CReferenceAxis {
  public:
    explicit CReferenceAxis(Impl::EEigenvalue which) : m_decomposition(which), m_which(which) {}

    /// Entry (row, col) of the upper triangle.
    void Set(std::size_t row, std::size_t col, double value) {
        m_hessian[row][col] = value;
        m_decomposition.Set(row, col, value);
    }

    /// @return false if the decomposition failed, too.
    [[nodiscard]] bool Compute(std::array<double, Dim>& axis) {
        const bool isFound =
            m_which == Impl::EEigenvalue::smallest ? closed_form<true>(axis) : closed_form<false>(axis);
        return isFound || Decompose(axis);
    }
    [[nodiscard]] bool Decompose(std::array<double, Dim>& axis) { return m_decomposition.Decompose(axis); }

  private:
    template <bool IsSmallest>
    bool closed_form(std::array<double, Dim>& axis) const {
        const auto& h = m_hessian;
        if constexpr (Dim == 2) {
            const auto result =
                Impl::EigenAxis<IsSmallest>(Impl::SHessian2<double>{h[0][0], h[0][1], h[1][1]});
            axis = {result.axis.x, result.axis.y};
            return result.isFound;
        } else {
            const auto result = Impl::EigenAxis<IsSmallest>(
                Impl::SHessian3<double>{h[0][0], h[0][1], h[0][2], h[1][1], h[1][2], h[2][2]});
            axis = {result.axis.x, result.axis.y, result.axis.z};
            return result.isFound;
        }
    }

    Impl::CHessianAxis<Dim> m_decomposition;
    std::array<std::array<double, Dim>, Dim> m_hessian{};
    Impl::EEigenvalue m_which;
};

} // namespace TEVRA::test
