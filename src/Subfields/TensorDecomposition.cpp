// SPDX-License-Identifier: BSD-3-Clause
#include "Subfields/TensorDecomposition.h"

#include "VexoNumeric/Numeric.h"

#include <cmath>

namespace TEVRA::Impl {

STensorDecomposition DecomposeTensor(const IMatrix<double>& tensor) {
    const std::size_t dim = tensor.Rows();
    STensorDecomposition result{CMatrix<double>(dim, dim), CMatrix<double>(dim, 1)};
    CMatrix<double> v(dim, dim); // equal to the eigenvectors up to sign
    CNumeric::Svd(tensor, result.eigenvectors, result.eigenvalues, v, true);
    return result;
}

SShapeAndStrength ShapeAndStrength(const std::array<double, 3>& eigenvalues) {
    return {std::log(eigenvalues[0] / eigenvalues[1]) / std::log(eigenvalues[1] / eigenvalues[2]),
            std::log(eigenvalues[0] / eigenvalues[2])};
}

} // namespace TEVRA::Impl
