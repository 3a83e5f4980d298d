// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/MatrixInterface.h"

namespace TEVRA {

/// Evaluation of second-order orientation tensors: symmetric positive semi-definite 2 x 2 or 3 x 3 matrices
/// of averaged outer products of unit directions. The caller allocates the results in the right shape.
class COrientationTensor {
  public:
    /// Unit eigenvector of the largest eigenvalue; its sign is as the decomposition gives it.
    /// @param meanOrientation n x 1. @param tensor n x n, n = 2 or 3.
    /// @throws CException for a wrong shape; nothing is written then.
    static void MeanOrientation(IMatrix<double>& meanOrientation, const IMatrix<double>& tensor);

    /// The eigenvalues, largest first.
    /// @param ev n x 1. @param tensor n x n, n = 2 or 3.
    /// @throws CException for a wrong shape; nothing is written then.
    static void Eigenvalues(IMatrix<double>& ev, const IMatrix<double>& tensor);

    /// Shape ln(l1 / l2) / ln(l2 / l3) and strength ln(l1 / l3) of the distribution, from the eigenvalues
    /// l1 >= l2 >= l3 (N. H. Woodcock, Geological Society of America Bulletin 88, 1231-1236, 1977). Equal or
    /// zero eigenvalues give infinities or NaN.
    /// @param tensor 3 x 3. @throws CException for another shape.
    static void OrientationParameters(double& shape, double& strength, const IMatrix<double>& tensor);
};

} // namespace TEVRA
