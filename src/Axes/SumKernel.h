// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Lanes.h"

#include <cstddef>

/// Products of an axis' components, for any arithmetic type of Lanes.h.
namespace TEVRA::Impl {
inline namespace TEVRA_WIDE {

template <std::size_t Dim>
struct STensorSize {
    static constexpr std::size_t SECOND = Dim * (Dim + 1) / 2;
    static constexpr std::size_t FOURTH = Dim * (Dim + 1) * (Dim + 2) * (Dim + 3) / 24;
};

/// Adds the products of two components with ascending indices: xx, xy[, xz], yy[, yz, zz].
template <std::size_t Dim, typename Real>
TEVRA_LANES_INLINE void AddSecondOrder(const Real* axis, Real* sums) {
#pragma GCC unroll 3
    for (std::size_t i = 0; i < Dim; ++i) {
#pragma GCC unroll 3
        for (std::size_t j = i; j < Dim; ++j) {
            *sums = *sums + axis[i] * axis[j];
            ++sums;
        }
    }
}

/// Adds the products of four components with ascending indices: xxxx, xxxy, ...
template <std::size_t Dim, typename Real>
TEVRA_LANES_INLINE void AddFourthOrder(const Real* axis, Real* sums) {
#pragma GCC unroll 3
    for (std::size_t i = 0; i < Dim; ++i) {
#pragma GCC unroll 3
        for (std::size_t j = i; j < Dim; ++j) {
#pragma GCC unroll 3
            for (std::size_t k = j; k < Dim; ++k) {
#pragma GCC unroll 3
                for (std::size_t l = k; l < Dim; ++l) {
                    *sums = *sums + (axis[i] * axis[j]) * (axis[k] * axis[l]);
                    ++sums;
                }
            }
        }
    }
}

} // namespace TEVRA_WIDE
} // namespace TEVRA::Impl
