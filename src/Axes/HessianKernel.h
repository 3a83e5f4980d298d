// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/AngleKernel.h"
#include "Axes/Approximations.h"
#include "Numeric/Lanes.h"

/// Eigenvectors of Hessian matrices in closed form, for any arithmetic type of Lanes.h.
namespace TEVRA::Impl {
inline namespace TEVRA_WIDE {

/// The distinct entries of a 2D Hessian.
template <typename Real>
struct SHessian2 {
    Real xx, xy, yy;
};

/// The same in 3D.
template <typename Real>
struct SHessian3 {
    Real xx, xy, xz, yy, yz, zz;
};

/// A unit eigenvector of either sign; where `isFound` is false it means nothing.
template <typename Real, typename Vector>
struct SEigenAxis {
    Vector axis;
    MaskOf<Real> isFound;
};

/// By the precision of the arithmetic.
template <typename NumberT>
struct SHessianLimits;

template <>
struct SHessianLimits<double> {
    /// Largest residual |H v - lambda v| of a vector that counts as found, against the Frobenius norm of H.
    static constexpr double RESIDUAL = 1e-13;
    /// Least difference of the wanted magnitude to the next, in units of the eigenvalues' spread. Of closer
    /// roots the closed form may take one for the other: at a double root a rounding error moves them apart
    /// by its square root, 1e-8. And equal magnitudes are told apart by the order that the decomposition
    /// defines.
    static constexpr double GAP = 0x1p-20;
    /// Squared Frobenius norms whose eighth roots and powers stay in the range of numbers; those of
    /// single-precision entries do.
    static constexpr double SMALLEST_NORM = 0x1p-400;
    static constexpr double LARGEST_NORM = 0x1p400;
};

/// The same with 24 digits in place of 53: at a double root an error moves the roots by 2^-12.
template <>
struct SHessianLimits<float> {
    static constexpr double RESIDUAL = 0x1p-18;
    static constexpr double GAP = 0x1p-8;
    static constexpr double SMALLEST_NORM = 0x1p-44;
    static constexpr double LARGEST_NORM = 0x1p44;
};

/// Whether a squared residual is that of an eigenvector.
template <typename Real>
TEVRA_LANES_INLINE MaskOf<Real> IsSmallResidual(const Real& squaredResidual, const Real& squaredNorm) {
    using Limits = SHessianLimits<NumberOf<Real>>;
    const Real limit(Limits::RESIDUAL * Limits::RESIDUAL);
    return (squaredResidual <= limit * squaredNorm) & (Real(Limits::SMALLEST_NORM) < squaredNorm) &
           (squaredNorm < Real(Limits::LARGEST_NORM));
}

template <typename Real>
TEVRA_LANES_INLINE Real Smaller(const Real& a, const Real& b) {
    return Select(a < b, a, b);
}

template <typename Real>
TEVRA_LANES_INLINE Real Larger(const Real& a, const Real& b) {
    return Select(a < b, b, a);
}

/// The root of beta^3 - 3 beta = 2 r that lies apart from the other two, for r in [-1, 1]: of magnitude
/// sqrt(3) to 2, with the sign of r. A polynomial, and one step by Newton.
template <typename Real>
TEVRA_LANES_INLINE Real SeparateRoot(const Real& r) {
    const Real three(3.0);
    const Real magnitude = Abs(r);
    const Real start = Polynomial(SPolynomials::root, magnitude);
    const Real square = start * start;
    const Real root =
        start - (start * (square - three) - (magnitude + magnitude)) / (three * (square - Real(1.0)));
    return Select(r < Real(0.0), Real(-root), root);
}

/// A root of the characteristic polynomial, and whether its magnitude as an eigenvalue differs from the
/// others.
template <typename Real>
struct SChosenRoot {
    Real root;
    MaskOf<Real> isDistinct;
};

/// Of the three eigenvalues centre + root, the one of smallest or largest magnitude. The roots add up to 0
/// and their squares to 6.
template <bool IsSmallest, typename Real>
TEVRA_LANES_INLINE SChosenRoot<Real> ChooseRoot(const Real& centre, const Real& separate) {
    const Real zero(0.0);
    const Real half(0.5);
    // The other two lie symmetrically around -separate / 2.
    const Real two(2.0);
    const Real size = Abs(separate);
    const Real distance = half * SquareRoot(Larger(Real(Real(3.0) * (two - size) * (two + size)), zero));
    const Real middle = -half * separate;
    const Real offset = Abs(centre + middle);
    const auto isNegative = centre + middle < zero;
    const Real near = Select(isNegative, Real(middle + distance), Real(middle - distance));
    const Real far = Select(isNegative, Real(middle - distance), Real(middle + distance));
    const Real nearMagnitude = Abs(offset - distance);
    const Real farMagnitude = offset + distance;
    const Real separateMagnitude = Abs(centre + separate);
    const Real least = Real(SHessianLimits<NumberOf<Real>>::GAP) * (Abs(centre) + two);
    if constexpr (IsSmallest) {
        const auto isSeparate = separateMagnitude < nearMagnitude;
        const Real other = Smaller(Select(isSeparate, nearMagnitude, separateMagnitude), farMagnitude);
        return {Select(isSeparate, separate, near),
                least < other - Smaller(separateMagnitude, nearMagnitude)};
    } else {
        const auto isSeparate = farMagnitude < separateMagnitude;
        const Real other = Larger(Select(isSeparate, farMagnitude, separateMagnitude), nearMagnitude);
        return {Select(isSeparate, separate, far), least < Larger(separateMagnitude, farMagnitude) - other};
    }
}

/// A vector across the rows of a symmetric matrix of rank 2: the longest column of its cofactors.
template <typename Real>
TEVRA_LANES_INLINE SVector3<Real> NullVector(const SHessian3<Real>& m) {
    const Real xx = m.yy * m.zz - m.yz * m.yz;
    const Real yy = m.xx * m.zz - m.xz * m.xz;
    const Real zz = m.xx * m.yy - m.xy * m.xy;
    const Real xy = m.xz * m.yz - m.xy * m.zz;
    const Real xz = m.xy * m.yz - m.xz * m.yy;
    const Real yz = m.xy * m.xz - m.yz * m.xx;
    const auto secondIsLonger = Abs(xx) < Abs(yy);
    const Real longest = Select(secondIsLonger, yy, xx);
    const auto thirdIsLonger = Abs(longest) < Abs(zz);
    const Real x = Select(thirdIsLonger, xz, Select(secondIsLonger, xy, xx));
    const Real y = Select(thirdIsLonger, yz, Select(secondIsLonger, yy, xy));
    const Real z = Select(thirdIsLonger, zz, Select(secondIsLonger, yz, xz));
    const Real scale = Real(1.0) / SquareRoot(x * x + y * y + z * z);
    return {x * scale, y * scale, z * scale};
}

/// Square of the residual |H v - (v H v) v| of a unit vector.
template <typename Real>
TEVRA_LANES_INLINE Real SquaredResidual(const SHessian3<Real>& h, const SVector3<Real>& v) {
    const Real x = h.xx * v.x + h.xy * v.y + h.xz * v.z;
    const Real y = h.xy * v.x + h.yy * v.y + h.yz * v.z;
    const Real z = h.xz * v.x + h.yz * v.y + h.zz * v.z;
    const Real value = x * v.x + y * v.y + z * v.z;
    const Real restX = x - value * v.x;
    const Real restY = y - value * v.y;
    const Real restZ = z - value * v.z;
    return restX * restX + restY * restY + restZ * restZ;
}

/// Unit eigenvector of the eigenvalue of smallest or largest magnitude.
///
/// Eigenvalues by the trigonometric solution of the characteristic polynomial (O. K. Smith, Eigenvalues of a
/// symmetric 3 x 3 matrix, Communications of the ACM 4, 1961), without the trigonometry: only the root that
/// is apart from the others is computed by itself, where that is well conditioned. The vector is a column of
/// cofactors. Where eigenvalues are close, that loses digits; the residual shows it. Of random matrices about
/// one in a million is not found.
template <bool IsSmallest, typename Real>
TEVRA_LANES_INLINE SEigenAxis<Real, SVector3<Real>> EigenAxis(const SHessian3<Real>& h) {
    const Real one(1.0);
    const Real mean = (h.xx + h.yy + h.zz) * Real(1.0 / 3.0);
    const Real xx = h.xx - mean;
    const Real yy = h.yy - mean;
    const Real zz = h.zz - mean;
    const Real offDiagonal = h.xy * h.xy + h.xz * h.xz + h.yz * h.yz;
    const Real squares = xx * xx + yy * yy + zz * zz + (offDiagonal + offDiagonal);
    const Real spread = SquareRoot(squares * Real(1.0 / 6.0));
    const Real inverse = one / spread;
    const Real determinant =
        xx * (yy * zz - h.yz * h.yz) - h.xy * (h.xy * zz - h.yz * h.xz) + h.xz * (h.xy * h.yz - yy * h.xz);
    const Real r = Real(0.5) * determinant * (inverse * inverse * inverse);
    const Real clamped = Select(r < one, Select(r < -one, Real(-one), r), one);
    const SChosenRoot<Real> chosen = ChooseRoot<IsSmallest>(Real(mean * inverse), SeparateRoot(clamped));
    const Real value = spread * chosen.root;
    const SVector3<Real> axis =
        NullVector(SHessian3<Real>{xx - value, h.xy, h.xz, yy - value, h.yz, zz - value});
    const Real norm = squares + Real(3.0) * mean * mean;
    const MaskOf<Real> isFound = chosen.isDistinct & IsSmallResidual(SquaredResidual(h, axis), norm);
    return {axis, isFound};
}

/// The same in 2D: the eigenvalues are mean -+ radius.
template <bool IsSmallest, typename Real>
TEVRA_LANES_INLINE SEigenAxis<Real, SVector2<Real>> EigenAxis(const SHessian2<Real>& h) {
    const Real zero(0.0);
    const Real half(0.5);
    const Real mean = half * (h.xx + h.yy);
    const Real difference = half * (h.xx - h.yy);
    const Real radius = SquareRoot(difference * difference + h.xy * h.xy);
    // The eigenvector of mean + radius is (sum, xy) or (xy, sum), whichever does not cancel.
    const Real sum = radius + Abs(difference);
    const auto isSteep = difference < zero;
    const Real plusX = Select(isSteep, h.xy, sum);
    const Real plusY = Select(isSteep, sum, h.xy);
    const auto isPlus = IsSmallest ? mean < zero : zero < mean;
    const Real x = Select(isPlus, plusX, Real(-plusY));
    const Real y = Select(isPlus, plusY, plusX);
    const Real scale = Real(1.0) / SquareRoot(x * x + y * y);
    const SVector2<Real> axis{x * scale, y * scale};
    const Real productX = h.xx * axis.x + h.xy * axis.y;
    const Real productY = h.xy * axis.x + h.yy * axis.y;
    const Real value = productX * axis.x + productY * axis.y;
    const Real restX = productX - value * axis.x;
    const Real restY = productY - value * axis.y;
    const Real norm = Real(2.0) * (mean * mean + radius * radius);
    const Real least = Real(SHessianLimits<NumberOf<Real>>::GAP) * (Abs(mean) + radius);
    const MaskOf<Real> isFound =
        (least < Abs(mean)) & (least < radius) & IsSmallResidual(Real(restX * restX + restY * restY), norm);
    return {axis, isFound};
}

} // namespace TEVRA_WIDE
} // namespace TEVRA::Impl
