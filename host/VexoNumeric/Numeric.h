// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA {

template <typename T>
class IMatrix;

class CNumeric {
  public:
    /// Singular value decomposition A = U diag(S) V^T of a square matrix.
    ///
    /// @param A n x n. @param U n x n, receives the left singular vectors as columns. @param S n x 1,
    /// receives the singular values. @param V n x n, receives the right singular vectors as columns. All must
    /// have their shapes on entry.
    /// @param descending order the singular values, largest first; otherwise their order is not defined.
    /// @return false, with U, S and V unchanged, if A holds a value that is not finite or the iteration does
    /// not
    ///         converge.
    /// @throws CExBadParam for a wrong shape.
    static bool Svd(const IMatrix<double>& A, IMatrix<double>& U, IMatrix<double>& S, IMatrix<double>& V,
                    bool descending);
};

} // namespace TEVRA
