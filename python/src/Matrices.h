// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Matrix.h"
#include "python/src/Pybind.h"

namespace TEVRA::python {

using Doubles = py::array_t<double, py::array::c_style>;

/// A square matrix as a 2D array.
inline Doubles ArrayOfMatrix(const IMatrix<double>& matrix) {
    Doubles array({matrix.Rows(), matrix.Cols()});
    auto at = array.mutable_unchecked<2>();
    for (py::ssize_t i = 0; i < at.shape(0); ++i) {
        for (py::ssize_t j = 0; j < at.shape(1); ++j) {
            at(i, j) = matrix(static_cast<std::size_t>(i), static_cast<std::size_t>(j));
        }
    }
    return array;
}

} // namespace TEVRA::python
