// SPDX-License-Identifier: BSD-3-Clause
#include "VexoNumeric/GeneralSvd.h"

#include <Eigen/SVD>

#include <algorithm>
#include <cmath>

namespace TEVRA::Impl {
namespace {

using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

/// The power of 2 that brings the largest magnitude to [0.5, 1); 0 for a zero matrix.
int exponent_of_largest(const std::vector<double>& elements) {
    double largest = 0.0;
    for (const double element : elements) {
        largest = std::max(largest, std::fabs(element));
    }
    int exponent = 0;
    std::frexp(largest, &exponent);
    return exponent;
}

std::vector<double> row_by_row(const RowMajor& matrix) {
    return {matrix.data(), matrix.data() + matrix.size()};
}

} // namespace

std::optional<SSvd> GeneralSvd(const std::vector<double>& elements, std::size_t n) {
    if (!std::ranges::all_of(elements, [](double element) { return std::isfinite(element); })) {
        return std::nullopt;
    }
    const auto size = static_cast<Eigen::Index>(n);
    const int exponent = exponent_of_largest(elements);
    RowMajor matrix = Eigen::Map<const RowMajor>(elements.data(), size, size);
    for (double& element : matrix.reshaped()) {
        element = std::ldexp(element, -exponent);
    }

    const Eigen::JacobiSVD<RowMajor> svd(matrix, Eigen::ComputeFullU | Eigen::ComputeFullV);
    if (svd.info() != Eigen::Success) {
        return std::nullopt;
    }
    SSvd result{row_by_row(svd.matrixU()), {}, row_by_row(svd.matrixV())};
    result.s.reserve(n);
    for (const double value : svd.singularValues()) {
        result.s.push_back(std::ldexp(value, exponent));
    }
    if (!std::ranges::all_of(result.s, [](double value) { return std::isfinite(value); })) {
        return std::nullopt;
    }
    return result;
}

} // namespace TEVRA::Impl
