// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/MatrixInterface.h"

#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace TEVRA {

/// A matrix that owns its elements, in row-major order: element (r, c) at index Cols() * r + c.
/// A matrix moved from is 0 x 0.
template <typename T>
class CMatrix : public IMatrix<T> {
  public:
    /// A matrix of zeros. @throws std::length_error if no vector can hold that many.
    CMatrix(std::size_t rows, std::size_t cols)
        : m_rows(rows), m_cols(cols), m_elements(number_of_elements(rows, cols), T(0)) {}
    CMatrix(const CMatrix&) = default;
    CMatrix(CMatrix&& other) noexcept
        : IMatrix<T>(), m_rows(std::exchange(other.m_rows, 0)), m_cols(std::exchange(other.m_cols, 0)),
          m_elements(std::move(other.m_elements)) {}
    // The interface's assignment copies element by element and may run out of memory: none of it here.
    CMatrix& operator=(const CMatrix& other) {
        if (this != &other) {
            *this = CMatrix(other);
        }
        return *this;
    }
    CMatrix& operator=(CMatrix&& other) noexcept {
        CMatrix moved(std::move(other));
        std::swap(m_rows, moved.m_rows);
        std::swap(m_cols, moved.m_cols);
        m_elements.swap(moved.m_elements);
        return *this;
    }
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

    /// @throws std::length_error if no vector can hold that many elements.
    void Resize(std::size_t rows, std::size_t cols) override {
        m_elements.resize(number_of_elements(rows, cols), T(0));
        m_rows = rows;
        m_cols = cols;
    }

  private:
    static std::size_t number_of_elements(std::size_t rows, std::size_t cols) {
        if (cols != 0 && rows > std::numeric_limits<std::size_t>::max() / cols) {
            throw std::length_error("CMatrix: rows times columns exceed every size");
        }
        return rows * cols;
    }
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
