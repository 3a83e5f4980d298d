// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/Lanes.h"

#include <array>
#include <cstddef>
#include <limits>

namespace TEVRA {

/// The distinct elements of a symmetric 2 x 2 matrix.
template <typename Real>
struct SSymmetric2 {
    Real xx, xy, yy;
};

/// The distinct elements of a symmetric 3 x 3 matrix.
template <typename Real>
struct SSymmetric3 {
    Real xx, xy, xz, yy, yz, zz;
};

/// Eigenvalues and eigenvectors of a symmetric matrix in canonical form, see `SymmetricEigen`.
template <typename Real, std::size_t N>
struct SEigenSystem {
    std::array<Real, N> values;
    /// axes[k] is the unit eigenvector of values[k].
    std::array<std::array<Real, N>, N> axes;
    /// False where an element of the matrix is not finite or an eigenvalue exceeds the range of numbers;
    /// values and axes mean nothing there.
    decltype(Real() < Real()) valid;
};

namespace Impl {

/// Magnitudes between 2^-400 and 2^400 can be squared and summed without leaving the range of numbers; others
/// are brought there by an exact factor.
struct SEigenLimits {
    static constexpr double SQUARABLE_FROM = 0x1p-400;
    static constexpr double SQUARABLE_UP_TO = 0x1p400;
    static constexpr double SHIFT = 0x1p800;
    static constexpr double UNSHIFT = 0x1p-800;
    /// An element off the diagonal is negligible if the rotation that removes it is below half a rounding,
    /// ...
    static constexpr double NEGLIGIBLE_ANGLE = 0x1p-56;
    /// ... if both diagonal elements are so large that they cannot take it up (without this, nearly triple
    /// eigenvalues shed the elements off the diagonal by a bit per rotation only), ...
    static constexpr double NEGLIGIBLE_ON_DIAGONAL = 0x1p-54;
    /// ... or if it is this small against the largest element: between equal and small eigenvalues neither of
    /// the above need ever hold. 2^-100 is at the square of a rounding error, which is what a rotation leaves
    /// behind, and keeps the squares above the smallest normal number.
    static constexpr double NEGLIGIBLE_SHARE = 0x1p-100;
    /// At most 4 were needed for any of 190 million matrices of sixteen awkward kinds.
    static constexpr int MOST_SWEEPS = 16;
};

template <typename Real>
Real Larger(const Real& a, const Real& b) {
    return Select(a < b, b, a);
}

/// A symmetric matrix brought to a harmless magnitude.
template <typename Real>
struct SMagnitude {
    Real factor;     ///< what the elements are to be multiplied with, a power of 2
    Real inverse;    ///< 1 / factor
    Real negligible; ///< magnitude of the scaled elements that counts as zero
};

template <typename Real>
SMagnitude<Real> MagnitudeFor(const Real& largest) {
    const Real one(1.0);
    const Real shift(SEigenLimits::SHIFT);
    const Real unshift(SEigenLimits::UNSHIFT);
    const auto isTiny = largest < Real(SEigenLimits::SQUARABLE_FROM);
    const auto isHuge = Real(SEigenLimits::SQUARABLE_UP_TO) < largest;
    const Real factor = Select(isTiny, shift, Select(isHuge, unshift, one));
    const Real inverse = Select(isTiny, unshift, Select(isHuge, shift, one));
    return {factor, inverse, largest * factor * Real(SEigenLimits::NEGLIGIBLE_SHARE)};
}

/// The rotation in the plane of axes p and q that makes the element (p, q) vanish, the smaller of the two.
template <typename Real>
struct SRotation {
    Real cosine, sine, tangent;
};

/// @param active where the element is not negligible; elsewhere the rotation is exactly the identity, so that
///        a lane that is done stays as it is while others go on.
template <typename Real, typename Mask>
SRotation<Real> RotationFor(const Real& difference, const Real& element, const Mask& active) {
    const Real zero(0.0);
    const Real twice = element + element;
    const Real distance = Abs(difference);
    // tan = twice / (distance + hypot(distance, twice)), carrying the sign of the difference; cosine and sine
    // from numerator and denominator directly save one division of the chain.
    const Real denominator = distance + SquareRoot(distance * distance + twice * twice);
    const Real numerator = Select(difference < zero, zero - twice, twice);
    const Real inverse = Real(1.0) / SquareRoot(denominator * denominator + twice * twice);
    return {Select(active, denominator * inverse, Real(1.0)), Select(active, numerator * inverse, zero),
            Select(active, numerator / denominator, zero)};
}

template <typename Real>
void Turn(const SRotation<Real>& rotation, Real& p, Real& q) {
    const Real oldP = p;
    p = rotation.cosine * oldP - rotation.sine * q;
    q = rotation.sine * oldP + rotation.cosine * q;
}

/// Where the element (p, q) needs a rotation.
template <typename Real>
auto NeedsRotation(const Real& app, const Real& aqq, const Real& apq, const Real& negligible) {
    const Real p = Abs(app);
    const Real q = Abs(aqq);
    const Real smaller = Select(q < p, q, p);
    const Real byAngle = Abs(aqq - app) * Real(SEigenLimits::NEGLIGIBLE_ANGLE);
    const Real onDiagonal = smaller * Real(SEigenLimits::NEGLIGIBLE_ON_DIAGONAL);
    return Larger(negligible, Larger(byAngle, onDiagonal)) < Abs(apq);
}

/// One Jacobi rotation: makes apq zero, carries the axes along. @return whether any lane was rotated.
template <typename Real, std::size_t N>
bool Rotate(Real& app, Real& aqq, Real& apq, const Real& negligible, std::array<Real, N>& axisP,
            std::array<Real, N>& axisQ, Real* apr = nullptr, Real* aqr = nullptr) {
    const auto active = NeedsRotation(app, aqq, apq, negligible);
    if (!AnyOf(active)) {
        return false;
    }
    const SRotation<Real> rotation = RotationFor(Real(aqq - app), apq, active);
    app = app - rotation.tangent * apq;
    aqq = aqq + rotation.tangent * apq;
    apq = Select(active, Real(0.0), apq);
    if (apr != nullptr) {
        Turn(rotation, *apr, *aqr);
    }
    for (std::size_t i = 0; i < N; ++i) {
        Turn(rotation, axisP[i], axisQ[i]);
    }
    return true;
}

/// Puts the pair into order: larger magnitude first, of equal magnitudes the positive first, of equal values
/// as they were.
template <typename Real, std::size_t N>
void OrderPair(SEigenSystem<Real, N>& system, std::size_t first, std::size_t second) {
    const Real a = system.values[first];
    const Real b = system.values[second];
    const auto swapped = (Abs(a) < Abs(b)) | ((Abs(a) == Abs(b)) & (a < b));
    system.values[first] = Select(swapped, b, a);
    system.values[second] = Select(swapped, a, b);
    for (std::size_t i = 0; i < N; ++i) {
        const Real p = system.axes[first][i];
        const Real q = system.axes[second][i];
        system.axes[first][i] = Select(swapped, q, p);
        system.axes[second][i] = Select(swapped, p, q);
    }
}

/// Gives the axis the sign that makes its component of largest magnitude positive (the first of equal ones),
/// and no negative zeros.
template <typename Real, std::size_t N>
void FixSign(std::array<Real, N>& axis) {
    Real leading = axis[0];
    for (std::size_t i = 1; i < N; ++i) {
        leading = Select(Abs(leading) < Abs(axis[i]), axis[i], leading);
    }
    const Real zero(0.0);
    const auto negative = leading < zero;
    for (Real& component : axis) {
        component = Select(negative, zero - component, component + zero);
    }
}

/// Order, signs and magnitude of a finished system. @param zeroIfFinite sum of the elements times 0.
template <typename Real, std::size_t N>
void Finish(SEigenSystem<Real, N>& system, const Real& zeroIfFinite, const Real& inverseFactor) {
    OrderPair(system, 0, 1);
    if constexpr (N == 3) {
        OrderPair(system, 1, 2);
        OrderPair(system, 0, 1);
    }
    system.valid = zeroIfFinite == Real(0.0);
    for (std::size_t k = 0; k < N; ++k) {
        FixSign(system.axes[k]);
        system.values[k] = system.values[k] * inverseFactor + Real(0.0);
    }
    // values[0] is the largest: no other can have left the range of numbers without it.
    system.valid = system.valid & (Abs(system.values[0]) <= Real(std::numeric_limits<double>::max()));
}

} // namespace Impl

/// Eigenvalues and eigenvectors of a symmetric matrix by Jacobi rotations (C. G. J. Jacobi 1846; the diagonal
/// is updated as in H. Rutishauser, The Jacobi method for real symmetric matrices, Numerische Mathematik 9,
/// 1966).
///
/// Canonical form, the one source of it:
///  - eigenvalues by descending magnitude; of equal magnitudes a positive one first; equal eigenvalues in the
///    order of the coordinate axes that the rotations started from;
///  - every eigenvector has length 1 and its component of largest magnitude (the first of equal ones) is
///    positive; neither vectors nor values hold negative zeros;
///  - a diagonal matrix gives its elements exactly, with coordinate axes; the zero matrix the axes x, y, z.
///
/// Accuracy: residual |A - U diag(values) U^T| and |U^T U - 1| at most 4e-15, the former relative to |A|
/// (largest element in both cases), for every finite matrix, whether eigenvalues are equal, close, zero,
/// subnormal or huge; where an eigenvalue is subnormal its own rounding comes on top. Only correctly rounded
/// operations are used: the result is the same for every instruction set and number of lanes. Real: `double`,
/// or a type of several doubles with the functions of Lanes.h.
template <typename Real>
SEigenSystem<Real, 2> SymmetricEigen(const SSymmetric2<Real>& matrix) {
    using Impl::Abs;
    using Impl::Larger;
    const Real zero(0.0);
    const Real one(1.0);
    const Real largest = Larger(Larger(Abs(matrix.xx), Abs(matrix.yy)), Real(Abs(matrix.xy)));
    const Impl::SMagnitude<Real> magnitude = Impl::MagnitudeFor(largest);
    Real xx = matrix.xx * magnitude.factor;
    Real xy = matrix.xy * magnitude.factor;
    Real yy = matrix.yy * magnitude.factor;
    SEigenSystem<Real, 2> system{{zero, zero}, {{{one, zero}, {zero, one}}}, {}};
    Impl::Rotate(xx, yy, xy, magnitude.negligible, system.axes[0], system.axes[1]);
    system.values = {xx, yy};
    Impl::Finish(system, Real(zero * matrix.xx + zero * matrix.xy + zero * matrix.yy), magnitude.inverse);
    return system;
}

/// As above, for 3 x 3.
template <typename Real>
SEigenSystem<Real, 3> SymmetricEigen(const SSymmetric3<Real>& matrix) {
    using Impl::Abs;
    using Impl::Larger;
    const Real zero(0.0);
    const Real one(1.0);
    const Real onDiagonal = Larger(Larger(Abs(matrix.xx), Abs(matrix.yy)), Real(Abs(matrix.zz)));
    const Real offDiagonal = Larger(Larger(Abs(matrix.xy), Abs(matrix.xz)), Real(Abs(matrix.yz)));
    const Impl::SMagnitude<Real> magnitude = Impl::MagnitudeFor(Larger(onDiagonal, offDiagonal));
    Real xx = matrix.xx * magnitude.factor;
    Real xy = matrix.xy * magnitude.factor;
    Real xz = matrix.xz * magnitude.factor;
    Real yy = matrix.yy * magnitude.factor;
    Real yz = matrix.yz * magnitude.factor;
    Real zz = matrix.zz * magnitude.factor;
    SEigenSystem<Real, 3> system{
        {zero, zero, zero}, {{{one, zero, zero}, {zero, one, zero}, {zero, zero, one}}}, {}};
    auto& [x, y, z] = system.axes;
    for (int sweep = 0; sweep < Impl::SEigenLimits::MOST_SWEEPS; ++sweep) {
        bool rotated = Impl::Rotate(xx, yy, xy, magnitude.negligible, x, y, &xz, &yz);
        rotated |= Impl::Rotate(xx, zz, xz, magnitude.negligible, x, z, &xy, &yz);
        rotated |= Impl::Rotate(yy, zz, yz, magnitude.negligible, y, z, &xy, &xz);
        if (!rotated) {
            break;
        }
    }
    system.values = {xx, yy, zz};
    const Real zeroIfFinite = zero * matrix.xx + zero * matrix.xy + zero * matrix.xz + zero * matrix.yy +
                              zero * matrix.yz + zero * matrix.zz;
    Impl::Finish(system, zeroIfFinite, magnitude.inverse);
    return system;
}

} // namespace TEVRA
