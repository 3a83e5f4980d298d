// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cmath>

/// What the numerical kernels ask of their arithmetic type besides + - * / and comparison, for plain numbers.
///
/// A type that carries several numbers side by side offers the same functions in its own namespace; its
/// comparisons give one truth value per lane. A kernel that uses only these and the arithmetic operators
/// rounds every lane as it rounds a plain number, so the count of lanes never changes a result.
namespace TEVRA::Impl {

inline double Abs(double value) {
    return std::fabs(value);
}

inline double SquareRoot(double value) {
    return std::sqrt(value);
}

/// `yes` where the condition holds, `no` elsewhere; both have been computed.
inline double Select(bool condition, double yes, double no) {
    return condition ? yes : no;
}

/// Whether the condition holds in at least one lane.
inline bool AnyOf(bool condition) {
    return condition;
}

} // namespace TEVRA::Impl
