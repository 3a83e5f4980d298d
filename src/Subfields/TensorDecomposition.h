// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Matrix.h"

namespace TEVRA::Impl {

/// Eigenvectors and eigenvalues of an orientation tensor.
struct STensorDecomposition {
    CMatrix<double> eigenvectors; ///< d x d, one per column; signs are as the host's decomposition gives them
    CMatrix<double> eigenvalues;  ///< d x 1, largest first
};

/// @param tensor d x d, symmetric positive semi-definite.
STensorDecomposition DecomposeTensor(const IMatrix<double>& tensor);

} // namespace TEVRA::Impl
