// SPDX-License-Identifier: BSD-3-Clause
#include "VexoNumeric/Numeric.h"

#include "Numeric/Matrix.h"
#include "VexoNumeric/GeneralSvd.h"
#include "VexoNumeric/SymmetricEigen.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"

#include <optional>
#include <typeinfo>

namespace TEVRA {
namespace {

constexpr const char* SOURCE = "host/VexoNumeric/Numeric";
constexpr const char* FUNCTION = "TEVRA::CNumeric::Svd";

using Dense = CMatrix<double>;
using Interface = IMatrix<double>;

// The library decomposes one small matrix per voxel. For its own matrix class the accessors are named in
// full, which makes them ordinary inlined calls; through the interface every element is a virtual call.
double element(const Dense& matrix, std::size_t row, std::size_t col) {
    return matrix.Dense::operator()(row, col);
}
double element(const Interface& matrix, std::size_t row, std::size_t col) {
    return matrix(row, col);
}
double& element(Dense& matrix, std::size_t row, std::size_t col) {
    return matrix.Dense::operator()(row, col);
}
double& element(Interface& matrix, std::size_t row, std::size_t col) {
    return matrix(row, col);
}

bool has_shape(const Dense& matrix, std::size_t rows, std::size_t cols) {
    return matrix.Dense::Rows() == rows && matrix.Dense::Cols() == cols;
}
bool has_shape(const Interface& matrix, std::size_t rows, std::size_t cols) {
    return matrix.Rows() == rows && matrix.Cols() == cols;
}
std::size_t rows_of(const Dense& matrix) {
    return matrix.Dense::Rows();
}
std::size_t rows_of(const Interface& matrix) {
    return matrix.Rows();
}

[[noreturn]] void throw_bad_shape(const char* name, std::size_t rows, std::size_t cols,
                                  const Interface& matrix) {
    CString message("%1 must be a %2 x %3 matrix (but it is %4 x %5).", CString::eEncodingUtf8);
    message.Arg(name)
        .Arg(static_cast<long long>(rows), 0)
        .Arg(static_cast<long long>(cols), 0)
        .Arg(static_cast<long long>(matrix.Rows()), 0)
        .Arg(static_cast<long long>(matrix.Cols()), 0);
    throw CExBadParam(TEVRA_LOCATION(SOURCE, FUNCTION, __LINE__), message.c_str());
}

template <typename Matrix>
void check_shape(const char* name, const Matrix& matrix, std::size_t rows, std::size_t cols) {
    if (!has_shape(matrix, rows, cols)) {
        throw_bad_shape(name, rows, cols, matrix);
    }
}

template <typename Matrix>
bool is_symmetric_2(const Matrix& a) {
    return element(a, 0, 1) == element(a, 1, 0);
}

template <typename Matrix>
bool is_symmetric_3(const Matrix& a) {
    return element(a, 0, 1) == element(a, 1, 0) && element(a, 0, 2) == element(a, 2, 0) &&
           element(a, 1, 2) == element(a, 2, 1);
}

template <typename Matrix, std::size_t N>
bool store(const SEigenSystem<double, N>& system, Matrix& u, Matrix& s, Matrix& v) {
    if (!system.valid) {
        return false;
    }
    for (std::size_t k = 0; k < N; ++k) {
        const double value = system.values[k];
        element(s, k, 0) = std::fabs(value);
        for (std::size_t i = 0; i < N; ++i) {
            const double component = system.axes[k][i];
            element(u, i, k) = component;
            element(v, i, k) = value < 0.0 ? 0.0 - component : component;
        }
    }
    return true;
}

template <typename Matrix>
bool general_svd(const Matrix& a, Matrix& u, Matrix& s, Matrix& v, std::size_t n) {
    std::vector<double> elements;
    elements.reserve(n * n);
    for (std::size_t row = 0; row < n; ++row) {
        for (std::size_t col = 0; col < n; ++col) {
            elements.push_back(element(a, row, col));
        }
    }
    const std::optional<Impl::SSvd> svd = Impl::GeneralSvd(elements, n);
    if (!svd) {
        return false;
    }
    for (std::size_t row = 0; row < n; ++row) {
        element(s, row, 0) = svd->s[row];
        for (std::size_t col = 0; col < n; ++col) {
            element(u, row, col) = svd->u[row * n + col];
            element(v, row, col) = svd->v[row * n + col];
        }
    }
    return true;
}

template <typename Matrix>
bool checked_svd(const Matrix& a, Matrix& u, Matrix& s, Matrix& v) {
    const std::size_t n = rows_of(a);
    check_shape("A", a, n, n);
    check_shape("U", u, n, n);
    check_shape("S", s, n, 1);
    check_shape("V", v, n, n);
    if (&u == &v || &u == &s || &s == &v) {
        throw CExBadParam(TEVRA_LOCATION(SOURCE, FUNCTION, __LINE__),
                          "U, S and V must be different matrices.");
    }
    if (n == 0) {
        return true;
    }
    if (n == 2 && is_symmetric_2(a)) {
        return store(
            SymmetricEigen(SSymmetric2<double>{element(a, 0, 0), element(a, 0, 1), element(a, 1, 1)}), u, s,
            v);
    }
    if (n == 3 && is_symmetric_3(a)) {
        return store(
            SymmetricEigen(SSymmetric3<double>{element(a, 0, 0), element(a, 0, 1), element(a, 0, 2),
                                               element(a, 1, 1), element(a, 1, 2), element(a, 2, 2)}),
            u, s, v);
    }
    return general_svd(a, u, s, v, n);
}

} // namespace

bool CNumeric::Svd(const IMatrix<double>& A, IMatrix<double>& U, IMatrix<double>& S, IMatrix<double>& V,
                   bool /*descending: every order is allowed otherwise, and this one costs nothing*/) {
    const std::type_info& dense = typeid(Dense);
    if (typeid(A) == dense && typeid(U) == dense && typeid(S) == dense && typeid(V) == dense) {
        return checked_svd(static_cast<const Dense&>(A), static_cast<Dense&>(U), static_cast<Dense&>(S),
                           static_cast<Dense&>(V));
    }
    return checked_svd(A, U, S, V);
}

} // namespace TEVRA
