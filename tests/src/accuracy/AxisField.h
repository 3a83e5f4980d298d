// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Image.h"

#include <array>
#include <cstddef>
#include <vector>

namespace TEVRA::test {

using Axis = std::array<double, 3>;
using Tensor = std::array<std::array<double, 3>, 3>;

/// A half-open box of pixels.
struct SPixelBox {
    std::array<long long, 3> first;
    std::array<long long, 3> end;
};

/// One axis per foreground pixel, x fastest. In 2D the z components are 0.
struct SAxisField {
    CSize sizePx;
    std::vector<unsigned char> foreground; ///< 1 where there is an axis
    std::vector<Axis> axes;                ///< unit vectors; 0 where there is none

    /// Number of foreground pixels, of all or in a box.
    std::size_t Count() const;
    std::size_t Count(const SPixelBox& box) const;
};

/// The box without the given number of pixels at every face (none at the faces of the third axis in 2D).
SPixelBox WithoutBorder(const CSize& sizePx, long long borderPx);

/// Reads angle maps. @param phi null in 2D.
SAxisField FieldOfMaps(const IImage& theta, const IImage* phi);

/// Angle between two axes whatever their signs, in degrees, accurate for small angles too.
double DifferenceDeg(const Axis& a, const Axis& b);

/// Differences at pixels that are foreground in both fields, in degrees.
std::vector<double> DifferencesDeg(const SAxisField& a, const SAxisField& b);

/// Share of pixels that are foreground in one of the fields only, among those in at least one.
double ForegroundMismatch(const SAxisField& a, const SAxisField& b);

/// The value that the given share of the values does not exceed. @param values at least one.
double Quantile(std::vector<double> values, double share);
double Mean(const std::vector<double>& values);

/// Mean of axis times axis transposed over the foreground pixels of the box.
Tensor MeanTensor(const SAxisField& field, const SPixelBox& box);

/// Eigenvector of the largest eigenvalue, which stands apart.
Axis MainAxis(const Tensor& tensor);

/// Largest absolute difference of two components.
double LargestDifference(const Tensor& a, const Tensor& b);

} // namespace TEVRA::test
