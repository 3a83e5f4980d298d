// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace TEVRA::Impl {

/// A second-order tensor: dim x dim numbers; dim is 2 or 3.
struct STensor2 {
    std::size_t dim = 0;
    std::array<double, 9> elements{};

    double operator()(std::size_t row, std::size_t col) const { return elements[row * dim + col]; }
    double& operator()(std::size_t row, std::size_t col) { return elements[row * dim + col]; }
    STensor2& operator+=(const STensor2& other) {
        for (std::size_t at = 0; at < elements.size(); ++at) {
            elements[at] += other.elements[at];
        }
        return *this;
    }
    STensor2& operator/=(double divisor) {
        for (double& element : elements) {
            element /= divisor;
        }
        return *this;
    }
};

/// A fourth-order tensor: dim^4 numbers, the last index fastest; none for the default.
struct STensor4 {
    std::size_t dim = 0;
    std::vector<double> elements{};

    STensor4() = default;
    explicit STensor4(std::size_t axes) : dim(axes), elements(axes * axes * axes * axes) {}

    bool IsEmpty() const noexcept { return elements.empty(); }
    double operator()(std::size_t i, std::size_t j, std::size_t k, std::size_t l) const {
        return elements[((i * dim + j) * dim + k) * dim + l];
    }
    double& operator()(std::size_t i, std::size_t j, std::size_t k, std::size_t l) {
        return elements[((i * dim + j) * dim + k) * dim + l];
    }
    /// @param other of the same dimension.
    STensor4& operator+=(const STensor4& other) {
        for (std::size_t at = 0; at < elements.size(); ++at) {
            elements[at] += other.elements[at];
        }
        return *this;
    }
    STensor4& operator/=(double divisor) {
        for (double& element : elements) {
            element /= divisor;
        }
        return *this;
    }
};

} // namespace TEVRA::Impl
