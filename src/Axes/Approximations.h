// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Lanes.h"

#include <cstddef>

/// Elementary functions for any arithmetic type of Lanes.h, from correctly rounded operations only: the same
/// bits for any number of lanes, any instruction set and any C library.
namespace TEVRA::Impl {
inline namespace TEVRA_WIDE {

/// Coefficients, lowest degree first, as scripts/fit-polynomials prints them, which tells the errors too.
struct SPolynomials {
    /// 2 cos(acos(r) / 3) for r in [0, 1].
    static constexpr double root[] = {0x1.bb67ae951c4c1p+0,  0x1.55552dab44da8p-2,  -0x1.8a12535aa5722p-4,
                                      0x1.931de6841ab9dp-5,  -0x1.ef09025fe27a9p-6, 0x1.337914f6e0cdbp-6,
                                      -0x1.43127e5d6e63cp-7, 0x1.cea58a3568e17p-9,  -0x1.3d90ce4041b1cp-11};
    /// R in asin(s) = s + s^3 R(s^2), |s| <= 1/2.
    static constexpr double arcSine[] = {0x1.55555555555bbp-3,  0x1.33333333030cfp-4, 0x1.6db6dba99e56dp-5,
                                         0x1.f1c6ff7f5507fp-6,  0x1.6e8f34a32a3ecp-6, 0x1.1c0d74beb3610p-6,
                                         0x1.cf5ed14c7cb7ep-7,  0x1.512bc40e88a9ep-7, 0x1.fa1b2b4831188p-7,
                                         -0x1.bf16e7c9f283cp-8, 0x1.c8a4a8d5d7026p-6};
    /// R in atan(s) = s + s^3 R(s^2), |s| <= tan(pi / 8).
    static constexpr double arcTangent[] = {
        -0x1.5555555555546p-2, 0x1.9999999990a9fp-3, -0x1.2492491dd4b29p-3, 0x1.c71c6dd1ca28cp-4,
        -0x1.745c7f8421f5cp-4, 0x1.3b068efc532d3p-4, -0x1.105e40d85ead1p-4, 0x1.d5eb9ad0804d0p-5,
        -0x1.6f4657797fec4p-5, 0x1.74bea059cee82p-6};
    /// R in sin(s) = s + s^3 R(s^2), |s| <= pi / 4.
    static constexpr double sine[] = {-0x1.555555555516bp-3, 0x1.1111110fd3d43p-7, -0x1.a019fd9b35ee5p-13,
                                      0x1.71d9a9f41c5a9p-19, -0x1.aa285788aaa42p-26};
    /// R in cos(s) = 1 - s^2 / 2 + s^4 R(s^2), |s| <= pi / 4.
    static constexpr double cosine[] = {0x1.5555555555437p-5, -0x1.6c16c16b614fcp-10, 0x1.a019ff53a6a1cp-16,
                                        -0x1.27e25f4bb4e6fp-22, 0x1.1c81c3531fff2p-29};
};

/// The polynomial with these coefficients, lowest degree first. Even and odd powers apart: two chains of half
/// the length keep the processor busy where one would wait for itself.
template <typename Real, std::size_t Terms>
TEVRA_LANES_INLINE Real Polynomial(const double (&coefficients)[Terms], const Real& x) {
    static_assert(Terms >= 2);
    const Real square = x * x;
    Real even(coefficients[(Terms - 1) / 2 * 2]);
    Real odd(coefficients[Terms / 2 * 2 - 1]);
#pragma GCC unroll 16
    for (std::size_t i = (Terms - 1) / 2; i > 0; --i) {
        even = even * square + Real(coefficients[2 * i - 2]);
    }
#pragma GCC unroll 16
    for (std::size_t i = Terms / 2 - 1; i > 0; --i) {
        odd = odd * square + Real(coefficients[2 * i - 1]);
    }
    return even + odd * x;
}

/// s + s^3 R(s^2)
template <typename Real, std::size_t Terms>
TEVRA_LANES_INLINE Real OddSeries(const double (&coefficients)[Terms], const Real& s, const Real& square) {
    return s + s * square * Polynomial(coefficients, square);
}

struct SCircle {
    static constexpr double HALF_PI = 0x1.921fb54442d18p+0;
    static constexpr double QUARTER_PI = 0x1.921fb54442d18p-1;
    static constexpr double PI = 0x1.921fb54442d18p+1;
    static constexpr double QUADRANTS_PER_RADIAN = 0x1.45f306dc9c883p-1;
    /// pi / 2 in two parts; multiples of the first by less than 2^21 are exact.
    static constexpr double HALF_PI_HIGH = 0x1.921fb544p+0;
    static constexpr double HALF_PI_LOW = 0x1.0b4611a626331p-34;
    /// Adding it rounds to an integer and leaves that in the low bits.
    static constexpr double ROUNDER = 0x1.8p52;
    static constexpr double TANGENT_OF_EIGHTH = 0x1.a827999fcef32p-2; // tan(pi / 8)
};

/// Arc cosine of a number in [0, 1], in [0, pi/2]; exact at 1. Error at most 9 ULP; rounded to float at most
/// 0.5000001 ULP. NaN or meaningless outside.
template <typename Real>
TEVRA_LANES_INLINE Real ArcCosine(const Real& x) {
    const Real half(0.5);
    // acos(x) = 2 asin(sqrt((1 - x) / 2)) near 1, where a difference from pi/2 would lose the digits.
    const auto isNearOne = half < x;
    const Real square = Select(isNearOne, Real((Real(1.0) - x) * half), Real(x * x));
    const Real s = Select(isNearOne, SquareRoot(square), x);
    const Real arcSine = OddSeries(SPolynomials::arcSine, s, square);
    return Select(isNearOne, Real(arcSine + arcSine), Real(Real(SCircle::HALF_PI) - arcSine));
}

/// Angle of the point (x, y) from the x axis, in [-pi, pi]. Zeros count as positive whatever their sign; 0
/// for the origin. Error at most 4 ULP; rounded to float at most 0.5000001 ULP. For coordinates of magnitude
/// below 2^1000 of which the larger is above 2^-960.
template <typename Real>
TEVRA_LANES_INLINE Real ArcTangent(const Real& y, const Real& x) {
    const Real zero(0.0);
    const Real width = Abs(x);
    const Real height = Abs(y);
    const auto isUpright = width < height;
    const Real longer = Select(isUpright, height, width);
    const Real shorter = Select(isUpright, width, height);
    // Above pi/8 by the difference to pi/4: atan(t) = pi/4 + atan((t - 1) / (t + 1)).
    const auto isSteep = longer * Real(SCircle::TANGENT_OF_EIGHTH) < shorter;
    const Real numerator = Select(isSteep, Real(shorter - longer), shorter);
    const Real denominator = Select(isSteep, Real(shorter + longer), longer);
    const Real tangent = numerator / Select(longer == zero, Real(1.0), denominator);
    Real angle = OddSeries(SPolynomials::arcTangent, tangent, Real(tangent * tangent));
    angle = Select(isSteep, Real(Real(SCircle::QUARTER_PI) + angle), angle);
    angle = Select(isUpright, Real(Real(SCircle::HALF_PI) - angle), angle);
    angle = Select(x < zero, Real(Real(SCircle::PI) - angle), angle);
    return Select(y < zero, Real(-angle), angle);
}

template <typename Real>
struct SSineCosine {
    Real sine, cosine;
};

/// Sine and cosine of an angle in radians that holds a single-precision number of magnitude up to 2^20,
/// rounded to single precision: error at most 0.50001 ULP of float. NaN for larger angles.
template <typename Real>
TEVRA_LANES_INLINE SSineCosine<Real> SineCosine(const Real& angle) {
    const Real rounder(SCircle::ROUNDER);
    const Real shifted = angle * Real(SCircle::QUADRANTS_PER_RADIAN) + rounder;
    const Real quadrant = shifted - rounder;
    const Real rest =
        (angle - quadrant * Real(SCircle::HALF_PI_HIGH)) - quadrant * Real(SCircle::HALF_PI_LOW);
    const Real square = rest * rest;
    const Real sine = OddSeries(SPolynomials::sine, rest, square);
    const Real cosine =
        (Real(1.0) - Real(0.5) * square) + square * square * Polynomial(SPolynomials::cosine, square);
    // A quarter turn swaps the two, half a turn negates: quadrants 2 and 3 for the sine, 1 and 2 for the
    // cosine.
    const auto isOdd = HasBit(shifted, 1);
    const auto isBeyond = HasBit(shifted, 2);
    const Real swappedSine = Select(isOdd, cosine, sine);
    const Real swappedCosine = Select(isOdd, sine, cosine);
    const auto negatesCosine = isOdd ^ isBeyond;
    const Real nan(__builtin_nan(""));
    const auto isInRange = Abs(angle) <= Real(0x1p20);
    return {Select(isInRange, RoundToFloat(Select(isBeyond, Real(-swappedSine), swappedSine)), nan),
            Select(isInRange, RoundToFloat(Select(negatesCosine, Real(-swappedCosine), swappedCosine)), nan)};
}

} // namespace TEVRA_WIDE
} // namespace TEVRA::Impl
