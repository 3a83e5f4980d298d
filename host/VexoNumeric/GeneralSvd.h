// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace TEVRA::Impl {

/// A singular value decomposition A = U diag(S) V^T; matrices row by row.
struct SSvd {
    std::vector<double> u, s, v;
};

/// Decomposes an n x n matrix, singular values in descending order.
/// @param elements n * n values, row by row. @param n at least 1.
/// @return nothing if an element is not finite, a singular value exceeds the range of numbers or the
///         iteration does not converge.
std::optional<SSvd> GeneralSvd(const std::vector<double>& elements, std::size_t n);

} // namespace TEVRA::Impl
