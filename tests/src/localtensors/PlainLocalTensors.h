// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace TEVRA::test {

enum class EPlainKind { lineVoting, structureTensor };

struct SPlainScales {
    EPlainKind kind;
    std::array<double, 3> spacing;
    double derivativeSigma;
    double windowSigma;
    double along;
};

/// Grey values, x fastest; depth 1 in 2D.
struct SPlainImage {
    std::array<long long, 3> extents;
    std::vector<double> values;

    std::size_t Index(long long x, long long y, long long z) const {
        return static_cast<std::size_t>((z * extents[1] + y) * extents[0] + x);
    }
};

struct SPlainAxis {
    std::array<double, 3> axis;
    double confidence;
    bool isFound;
};

/// Line voting and structure tensor computed in double precision by whole images, loops and a general
/// eigensolver: an independent oracle for the estimators that work slice by slice.
std::vector<SPlainAxis> PlainAxes(const SPlainImage& image, const SPlainScales& scales);

/// Angle between two axes in degrees.
double AxialDegrees(const std::array<double, 3>& a, const std::array<double, 3>& b);

} // namespace TEVRA::test
