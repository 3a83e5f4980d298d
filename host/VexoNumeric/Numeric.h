// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA {

template <typename T>
class IMatrix;

class CNumeric {
  public:
    /// Singular value decomposition A = U diag(S) V^T of a square matrix.
    ///
    /// Exactly symmetric 2 x 2 and 3 x 3 matrices come in the canonical form of `SymmetricEigen` (see
    /// SymmetricEigen.h): singular values are the magnitudes of the eigenvalues, the columns of U are the
    /// eigenvectors with their signs fixed, those of V are the same, negated where the eigenvalue is
    /// negative. They are decomposed without allocation. For other matrices the signs of the vectors are not
    /// defined.
    ///
    /// Residual and orthogonality are within 1e-13 (of the norm of A) for every finite matrix whose singular
    /// values are in the range of numbers; subnormal singular values are rounded to the nearest number.
    ///
    /// @param A n x n. May be the same object as U, S or V: it counts as copied first.
    /// @param U n x n, receives the left singular vectors as columns.
    /// @param S n x 1, receives the singular values.
    /// @param V n x n, receives the right singular vectors as columns. All must have their shapes on entry.
    /// @param descending order the singular values, largest first; otherwise their order is not defined (at
    ///        present it is the same).
    /// @return false, with U, S and V unchanged, if A holds a value that is not finite, if a singular value
    ///         exceeds the range of numbers or if the iteration does not converge.
    /// @throws CExBadParam for a wrong shape or if two of U, S and V are the same object.
    static bool Svd(const IMatrix<double>& A, IMatrix<double>& U, IMatrix<double>& S, IMatrix<double>& V,
                    bool descending);
};

} // namespace TEVRA
