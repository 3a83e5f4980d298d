// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/MatrixInterface.h"

#include <vector>

namespace TEVRA {

/// A matrix that owns its elements, in row-major order: element (r, c) at index Cols() * r + c.
template <typename T>
class CMatrix : public IMatrix<T> {
  public:
    /// A matrix of zeros.
    CMatrix(std::size_t rows, std::size_t cols) : m_rows(rows), m_cols(cols), m_elements(rows * cols, T(0)) {}
    CMatrix(const CMatrix&) = default;
    CMatrix(CMatrix&&) noexcept = default;
    CMatrix& operator=(const CMatrix&) = default;
    CMatrix& operator=(CMatrix&&) noexcept = default;
    ~CMatrix() override = default;

    using IMatrix<T>::operator=;

    std::size_t Rows() const override { return m_rows; }
    std::size_t Cols() const override { return m_cols; }

    /// @throws CException outside the matrix.
    T& operator()(std::size_t row, std::size_t col) override {
        if (!(row < m_rows && col < m_cols)) {
            throw_out_of_bounds(
                "Index exceeds matrix bounds.Tried to access index (%1,%2) but Matrix size is "
                "%3-by-%4",
                row, col, 91);
        }
        return m_elements[m_cols * row + col];
    }
    T operator()(std::size_t row, std::size_t col) const override {
        if (!(row < m_rows && col < m_cols)) {
            throw_out_of_bounds(
                "Index exceeds matrix bounds. Tried to access index (%1,%2) but Matrix size is "
                "%3-by-%4",
                row, col, 83);
        }
        return m_elements[m_cols * row + col];
    }

    void Resize(std::size_t rows, std::size_t cols) override {
        m_elements.resize(rows * cols, T(0));
        m_rows = rows;
        m_cols = cols;
    }

  private:
    [[noreturn]] void throw_out_of_bounds(const char* text, std::size_t row, std::size_t col,
                                          int line) const {
        CString message(text, CString::eEncodingUtf8);
        message.Arg(static_cast<long long>(row), 0)
            .Arg(static_cast<long long>(col), 0)
            .Arg(static_cast<long long>(m_rows), 0)
            .Arg(static_cast<long long>(m_cols), 0);
        throw CException(TEVRA_LOCATION("src/Numeric/Matrix", "TEVRA::CMatrix<double>::operator ()", line),
                         message.c_str());
    }

    std::size_t m_rows;
    std::size_t m_cols;
    std::vector<T> m_elements;
};

} // namespace TEVRA
