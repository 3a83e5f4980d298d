// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Matrix.h"

#include <array>

namespace TEVRA::Impl {

/// Eigenvectors and eigenvalues of an orientation tensor.
struct STensorDecomposition {
    CMatrix<double> eigenvectors; ///< d x d, one per column; signs are as the host's decomposition gives them
    CMatrix<double> eigenvalues;  ///< d x 1, largest first
};

/// @param tensor d x d, symmetric positive semi-definite.
STensorDecomposition DecomposeTensor(const IMatrix<double>& tensor);

/// How a distribution of directions in space is shaped.
struct SShapeAndStrength {
    double shape = 0.0;    ///< ln(l1 / l2) / ln(l2 / l3): above 1 for clusters, below 1 for girdles
    double strength = 0.0; ///< ln(l1 / l3): 0 without preference
};

/// N. H. Woodcock, Geological Society of America Bulletin 88, 1231-1236, 1977. Equal or zero eigenvalues give
/// infinities or NaN. @param eigenvalues of a tensor in space, largest first.
SShapeAndStrength ShapeAndStrength(const std::array<double, 3>& eigenvalues);

} // namespace TEVRA::Impl
