// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Matrix.h"

#include <array>
#include <cstddef>

namespace TEVRA::Impl {

/// Which eigenvector of a Hessian: that of the smallest or largest absolute eigenvalue.
enum class EEigenvalue { smallest, largest };

/// Fiber axis from a Hessian matrix by the host's decomposition: the unit eigenvector of its smallest (along a
/// fiber) or largest absolute eigenvalue, of either sign. For matrices whose closed form (HessianKernel.h)
/// loses digits, and for equal or zero eigenvalues: then it is the one that the decomposition gives.
///
/// Holds the matrices of the decomposition, so that one object serves many pixels without allocating.
template <std::size_t Dim>
class CHessianAxis {
  public:
    explicit CHessianAxis(EEigenvalue which);

    /// Entry (row, col) of the Hessian's upper triangle; the lower follows by symmetry.
    void Set(std::size_t row, std::size_t col, double value) {
        m_hessian(row, col) = value;
        m_hessian(col, row) = value;
    }

    /// Writes the axis of the Hessian that was set. @return false if the decomposition failed.
    [[nodiscard]] bool Decompose(std::array<double, Dim>& axis);

  private:
    CMatrix<double> m_hessian;
    CMatrix<double> m_u;
    CMatrix<double> m_s;
    CMatrix<double> m_v;
    EEigenvalue m_which;
};

extern template class CHessianAxis<2>;
extern template class CHessianAxis<3>;

} // namespace TEVRA::Impl
