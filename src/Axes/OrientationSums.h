// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/AngleKernel.h"
#include "Axes/SumKernel.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace TEVRA::Impl {

/// The unit axis with the given angles in radians: sines and cosines in single precision, products in double.
/// Magnitudes up to 2^20; NaN beyond.
inline std::array<double, 3> AxisOfAngles(float colatitudeRad, float longitudeRad) {
    const SVector3<double> axis =
        AxisAt(static_cast<double>(colatitudeRad), static_cast<double>(longitudeRad));
    return {axis.x, axis.y, axis.z};
}

/// The 2D unit axis at the given angle from the x axis, in radians.
inline std::array<double, 2> AxisOfAngle(float angleRad) {
    const SVector2<double> axis = AxisAt(static_cast<double>(angleRad));
    return {axis.x, axis.y};
}

/// Sum of the outer products of axes with themselves, and their number. Sums can be merged.
template <std::size_t Dim>
class CSecondOrderSums {
  public:
    static constexpr std::size_t SIZE = STensorSize<Dim>::SECOND;
    /// Upper triangle, row by row.
    using Sums = std::array<double, SIZE>;

    void Add(const std::array<double, Dim>& axis) {
        AddSecondOrder<Dim>(axis.data(), m_sums.data());
        ++m_count;
    }
    void Add(const CSecondOrderSums& other) { Add(other.m_sums, other.m_count); }
    /// Adds the sums over `count` axes.
    void Add(const Sums& sums, long long count) {
        for (std::size_t at = 0; at < SIZE; ++at) {
            m_sums[at] += sums[at];
        }
        m_count += count;
    }

    long long Count() const noexcept { return m_count; }

    /// Overwrites the elements of a Dim x Dim matrix by the sums.
    template <typename MatrixT>
    void CopyTo(MatrixT& matrix) const {
        std::size_t at = 0;
        for (std::size_t i = 0; i < Dim; ++i) {
            for (std::size_t j = i; j < Dim; ++j) {
                matrix(i, j) = m_sums[at];
                matrix(j, i) = m_sums[at];
                ++at;
            }
        }
    }

  private:
    Sums m_sums{};
    long long m_count = 0;
};

/// Sum of the fourfold products of axes. Only products with ascending indices are kept, one for all
/// permutations: 5 numbers instead of 16 in 2D, 15 instead of 81 in 3D.
template <std::size_t Dim>
class CFourthOrderSums {
  public:
    static constexpr std::size_t SIZE = STensorSize<Dim>::FOURTH;
    /// One per ascending quadruple of indices, the last index fastest.
    using Sums = std::array<double, SIZE>;

    void Add(const std::array<double, Dim>& axis) { AddFourthOrder<Dim>(axis.data(), m_sums.data()); }
    void Add(const CFourthOrderSums& other) { Add(other.m_sums); }
    /// Adds sums over other axes.
    void Add(const Sums& sums) {
        for (std::size_t at = 0; at < SIZE; ++at) {
            m_sums[at] += sums[at];
        }
    }

    /// Adds the sums to the elements (i, j, k, l), all indices below Dim, of a four-index tensor.
    template <typename TensorT>
    void AddTo(TensorT& tensor) const {
        for_each_ascending([&](std::size_t at, std::size_t i, std::size_t j, std::size_t k, std::size_t l) {
            add_to_permutations(tensor, {i, j, k, l}, m_sums[at]);
        });
    }

  private:
    template <typename OperationT>
    static void for_each_ascending(const OperationT& operation) {
        std::size_t at = 0;
        for (std::size_t i = 0; i < Dim; ++i) {
            for (std::size_t j = i; j < Dim; ++j) {
                for (std::size_t k = j; k < Dim; ++k) {
                    for (std::size_t l = k; l < Dim; ++l) {
                        operation(at++, i, j, k, l);
                    }
                }
            }
        }
    }

    /// Every distinct order of the four indices; they are ascending on entry.
    template <typename TensorT>
    static void add_to_permutations(TensorT& tensor, std::array<std::size_t, 4> index, double sum) {
        do {
            tensor(static_cast<long long>(index[0]), static_cast<long long>(index[1]),
                   static_cast<long long>(index[2]), static_cast<long long>(index[3])) += sum;
        } while (std::next_permutation(index.begin(), index.end()));
    }

    Sums m_sums{};
};

} // namespace TEVRA::Impl
