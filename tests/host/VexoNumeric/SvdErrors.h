// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Matrix.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <ostream>

namespace TEVRA::test {

/// How far a decomposition is from what it claims, each as a largest element; computed in extended precision.
struct SSvdErrors {
    double residual = 0.0;      ///< |A - U diag(S) V^T|, in units of the largest element of A
    double orthogonality = 0.0; ///< |U^T U - 1| and |V^T V - 1|
    bool descending = true;     ///< S(0) >= S(1) >= ... >= 0
};

inline double LargestElement(const IMatrix<double>& matrix) {
    double largest = 0.0;
    for (std::size_t row = 0; row < matrix.Rows(); ++row) {
        for (std::size_t col = 0; col < matrix.Cols(); ++col) {
            largest = std::max(largest, std::fabs(matrix(row, col)));
        }
    }
    return largest;
}

inline SSvdErrors ErrorsOf(const IMatrix<double>& a, const IMatrix<double>& u, const IMatrix<double>& s,
                           const IMatrix<double>& v) {
    SSvdErrors errors;
    const std::size_t n = a.Rows();
    int exponent = 0; // elements are compared at magnitude 1, where nothing over- or underflows
    std::frexp(LargestElement(a), &exponent);
    // A subnormal singular value is itself rounded to a multiple of the smallest number.
    const long double spacing = std::ldexp(1.0L, -1074 - exponent);
    for (std::size_t i = 0; i < n; ++i) {
        errors.descending = errors.descending && s(i, 0) >= 0.0 && (i == 0 || s(i, 0) <= s(i - 1, 0));
        for (std::size_t j = 0; j < n; ++j) {
            long double residual = std::ldexp(static_cast<long double>(a(i, j)), -exponent);
            long double uu = i == j ? -1.0L : 0.0L;
            long double vv = uu;
            for (std::size_t k = 0; k < n; ++k) {
                residual -= static_cast<long double>(u(i, k)) * v(j, k) *
                            std::ldexp(static_cast<long double>(s(k, 0)), -exponent);
                uu += static_cast<long double>(u(k, i)) * u(k, j);
                vv += static_cast<long double>(v(k, i)) * v(k, j);
            }
            const auto excess = static_cast<double>(
                std::max(0.0L, std::fabs(residual) - spacing * static_cast<long double>(n)));
            // Written so that a NaN is an error, not a number smaller than all.
            errors.residual = excess <= errors.residual ? errors.residual : excess;
            const auto worst = static_cast<double>(std::max(std::fabs(uu), std::fabs(vv)));
            errors.orthogonality = worst <= errors.orthogonality ? errors.orthogonality : worst;
        }
    }
    return errors;
}

/// True unless something is wrong; NaN is wrong.
inline bool Within(const SSvdErrors& errors, double tolerance) {
    return errors.descending && errors.residual <= tolerance && errors.orthogonality <= tolerance;
}

inline std::ostream& operator<<(std::ostream& out, const SSvdErrors& errors) {
    return out << "residual " << errors.residual << ", orthogonality " << errors.orthogonality
               << (errors.descending ? "" : ", not in order");
}

} // namespace TEVRA::test
