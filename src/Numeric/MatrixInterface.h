// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"

#include <cmath>
#include <cstddef>
#include <vector>

namespace TEVRA {

/// A dense matrix behind element access: every other operation is written in terms of `Rows`, `Cols`, the two
/// accessors and `Resize`, so it works for any implementation.
///
/// An operand that is the matrix itself behaves as if it had been copied first. A failed operation leaves the
/// matrix as it was.
template <typename T>
class IMatrix {
  public:
    IMatrix() = default;
    IMatrix(const IMatrix&) = default;
    virtual ~IMatrix() = default;

    virtual std::size_t Rows() const = 0;
    virtual std::size_t Cols() const = 0;

    /// Takes over shape and elements of the other matrix.
    // NOLINTNEXTLINE(misc-unconventional-assign-operator): the host assigns through the interface
    virtual IMatrix& operator=(const IMatrix& other);
    /// Same object, or same shape and equal elements; a NaN equals nothing.
    virtual bool operator==(const IMatrix& other) const;

    /// Element (row, col), both counted from 0.
    virtual T& operator()(std::size_t row, std::size_t col) = 0;
    virtual T operator()(std::size_t row, std::size_t col) const = 0;

    /// Matrix product, in place. @throws CException unless Cols() == other.Rows().
    virtual IMatrix& operator*=(const IMatrix& other);
    virtual IMatrix& operator*=(const T& factor);
    /// Element-wise sum. @throws CException for another shape.
    virtual IMatrix& operator+=(const IMatrix& other);
    /// Adds a number to every element.
    virtual IMatrix& operator+=(const T& summand);
    /// Transposes in place.
    virtual void Transpose();
    /// Element-wise difference. @throws CException for another shape.
    virtual IMatrix& operator-=(const IMatrix& other);
    /// Appends the other matrix's rows below. @throws CException for another number of columns.
    virtual void AddRows(const IMatrix& other);
    /// Appends the other matrix's columns on the right. @throws CException for another number of rows.
    virtual void AddCols(const IMatrix& other);
    /// Changes the shape; elements keep their places in row-major order, new ones are 0.
    virtual void Resize(std::size_t rows, std::size_t cols) = 0;

  private:
    /// The elements, row by row.
    static std::vector<T> copy_of(const IMatrix& matrix);
    static const char* source() { return "src/Numeric/MatrixInterface"; }
    static CString with_shapes(const char* text, const IMatrix& left, const IMatrix& right);
};

template <typename T>
std::vector<T> IMatrix<T>::copy_of(const IMatrix& matrix) {
    std::vector<T> elements;
    elements.reserve(matrix.Rows() * matrix.Cols());
    for (std::size_t row = 0; row < matrix.Rows(); ++row) {
        for (std::size_t col = 0; col < matrix.Cols(); ++col) {
            elements.push_back(matrix(row, col));
        }
    }
    return elements;
}

template <typename T>
CString IMatrix<T>::with_shapes(const char* text, const IMatrix& left, const IMatrix& right) {
    CString message(text, CString::eEncodingUtf8);
    message.Arg(static_cast<long long>(left.Rows()), 0)
        .Arg(static_cast<long long>(left.Cols()), 0)
        .Arg(static_cast<long long>(right.Rows()), 0)
        .Arg(static_cast<long long>(right.Cols()), 0);
    return message;
}

// NOLINTBEGIN(misc-unconventional-assign-operator): as declared
template <typename T>
IMatrix<T>& IMatrix<T>::operator=(const IMatrix& other) {
    if (this == &other) {
        return *this;
    }
    if (Rows() != other.Rows() || Cols() != other.Cols()) {
        Resize(other.Rows(), other.Cols());
    }
    for (std::size_t row = 0; row < Rows(); ++row) {
        for (std::size_t col = 0; col < Cols(); ++col) {
            (*this)(row, col) = other(row, col);
        }
    }
    return *this;
}
// NOLINTEND(misc-unconventional-assign-operator)

template <typename T>
bool IMatrix<T>::operator==(const IMatrix& other) const {
    if (this == &other) {
        return true;
    }
    if (Rows() != other.Rows() || Cols() != other.Cols()) {
        return false;
    }
    for (std::size_t row = 0; row < Rows(); ++row) {
        for (std::size_t col = 0; col < Cols(); ++col) {
            if (!((*this)(row, col) == other(row, col))) { // written so that a NaN makes them unequal
                return false;
            }
        }
    }
    return true;
}

template <typename T>
IMatrix<T>& IMatrix<T>::operator*=(const IMatrix& other) {
    if (Cols() != other.Rows()) {
        const CString message = with_shapes("Tried to multiply %1-by-%2 *= %3-by-%4 matrices", *this, other);
        throw CException(TEVRA_LOCATION(source(), "TEVRA::IMatrix<double>::operator *=", 85),
                         message.c_str());
    }
    const std::size_t rows = Rows();
    const std::size_t inner = other.Rows();
    const std::size_t cols = other.Cols();
    const std::vector<T> left = copy_of(*this);
    const std::vector<T> own = this == &other ? left : std::vector<T>();
    Resize(rows, cols);
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t col = 0; col < cols; ++col) {
            T sum = 0;
            for (std::size_t k = 0; k < inner; ++k) {
                sum += left[row * inner + k] * (this == &other ? own[k * cols + col] : other(k, col));
            }
            (*this)(row, col) = sum;
        }
    }
    return *this;
}

template <typename T>
IMatrix<T>& IMatrix<T>::operator*=(const T& factor) {
    const T value = factor; // the factor may be an element of this matrix
    for (std::size_t row = 0; row < Rows(); ++row) {
        for (std::size_t col = 0; col < Cols(); ++col) {
            (*this)(row, col) *= value;
        }
    }
    return *this;
}

template <typename T>
IMatrix<T>& IMatrix<T>::operator+=(const IMatrix& other) {
    if (Rows() != other.Rows() || Cols() != other.Cols()) {
        const CString message = with_shapes("Tried to add %1-by-%2 and %3-by-%4 matrices", *this, other);
        throw CException(TEVRA_LOCATION(source(), "TEVRA::IMatrix<double>::operator +=", 130),
                         message.c_str());
    }
    for (std::size_t row = 0; row < Rows(); ++row) {
        for (std::size_t col = 0; col < Cols(); ++col) {
            (*this)(row, col) += other(row, col);
        }
    }
    return *this;
}

template <typename T>
IMatrix<T>& IMatrix<T>::operator+=(const T& summand) {
    const T value = summand;
    for (std::size_t row = 0; row < Rows(); ++row) {
        for (std::size_t col = 0; col < Cols(); ++col) {
            (*this)(row, col) += value;
        }
    }
    return *this;
}

template <typename T>
void IMatrix<T>::Transpose() {
    const std::size_t rows = Rows();
    const std::size_t cols = Cols();
    const std::vector<T> old = copy_of(*this);
    Resize(cols, rows);
    for (std::size_t row = 0; row < cols; ++row) {
        for (std::size_t col = 0; col < rows; ++col) {
            (*this)(row, col) = old[col * cols + row];
        }
    }
}

template <typename T>
IMatrix<T>& IMatrix<T>::operator-=(const IMatrix& other) {
    if (Rows() != other.Rows() || Cols() != other.Cols()) {
        const CString message = with_shapes("Tried to subtract %1-by-%2 and %3-by-%4 matrices", *this, other);
        throw CException(TEVRA_LOCATION(source(), "TEVRA::IMatrix<double>::operator -=", 145),
                         message.c_str());
    }
    for (std::size_t row = 0; row < Rows(); ++row) {
        for (std::size_t col = 0; col < Cols(); ++col) {
            (*this)(row, col) -= other(row, col);
        }
    }
    return *this;
}

template <typename T>
void IMatrix<T>::AddRows(const IMatrix& other) {
    if (other.Cols() != Cols()) {
        CString message("Tried to concatenate %1-dim rows to %2-dim rows", CString::eEncodingUtf8);
        message.Arg(static_cast<long long>(other.Cols()), 0).Arg(static_cast<long long>(Cols()), 0);
        throw CException(TEVRA_LOCATION(source(), "TEVRA::IMatrix<double>::AddRows", 176), message.c_str());
    }
    const std::size_t rows = Rows();
    const std::size_t added = other.Rows();
    const std::size_t cols = Cols();
    const std::vector<T> upper = copy_of(*this);
    const std::vector<T> lower = copy_of(other);
    Resize(rows + added, cols);
    for (std::size_t row = 0; row < rows + added; ++row) {
        for (std::size_t col = 0; col < cols; ++col) {
            (*this)(row, col) = row < rows ? upper[row * cols + col] : lower[(row - rows) * cols + col];
        }
    }
}

template <typename T>
void IMatrix<T>::AddCols(const IMatrix& other) {
    if (other.Rows() != Rows()) {
        CString message("Tried to concatenate %1-dim Cols to %2-dim Cols", CString::eEncodingUtf8);
        message.Arg(static_cast<long long>(other.Rows()), 0).Arg(static_cast<long long>(Rows()), 0);
        throw CException(TEVRA_LOCATION(source(), "TEVRA::IMatrix<double>::AddCols", 209), message.c_str());
    }
    const std::size_t rows = Rows();
    const std::size_t cols = Cols();
    const std::size_t added = other.Cols();
    const std::vector<T> left = copy_of(*this);
    const std::vector<T> right = copy_of(other);
    Resize(rows, cols + added);
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t col = 0; col < cols + added; ++col) {
            (*this)(row, col) = col < cols ? left[row * cols + col] : right[row * added + (col - cols)];
        }
    }
}

} // namespace TEVRA
