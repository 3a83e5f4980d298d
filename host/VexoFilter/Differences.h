// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <span>

/// Central differences along one axis, per pixel. On a whole line the image continues constantly beyond its
/// ends: the neighbour missing at an end is the end itself.
///
/// Both are written as differences of neighbours that are close to each other: such a difference is exact in
/// binary floating point (if neither is more than twice the other), so that a stencil rounds once. Swapping
/// left and right gives the same second and exactly the opposite first difference.
namespace TEVRA::Impl {

/// The stencil [1, -2, 1]; exact to second order: x * x gives 2.
template <typename NumberT>
constexpr NumberT SecondDifference(NumberT left, NumberT here, NumberT right) {
    return (left - here) + (right - here);
}

/// The stencil [-1/2, 0, 1/2]; exact to second order: x * x gives 2 x.
template <typename NumberT>
constexpr NumberT FirstDifference(NumberT left, NumberT right) {
    return NumberT(0.5) * (right - left);
}

/// First differences along two axes, one after the other; exact to second order: x * y gives 1.
template <typename NumberT>
constexpr NumberT MixedDifference(NumberT lowLeft, NumberT lowRight, NumberT highLeft, NumberT highRight) {
    return FirstDifference(FirstDifference(lowLeft, lowRight), FirstDifference(highLeft, highRight));
}

/// Second differences of whole lines or planes: sample k of `out` from samples k of three neighbours along
/// the axis. All have the same length; `out` may be one of the others.
void SecondDifference(std::span<const float> left, std::span<const float> here, std::span<const float> right,
                      std::span<float> out);

/// First differences of whole lines or planes, as above.
void FirstDifference(std::span<const float> left, std::span<const float> right, std::span<float> out);

/// Four lines around the one whose mixed differences are asked for: left and right along the axis that is
/// differentiated first, low and high along the other.
struct SCornerLines {
    std::span<const float> lowLeft;
    std::span<const float> lowRight;
    std::span<const float> highLeft;
    std::span<const float> highRight;
};

/// Mixed differences of whole lines or planes, as above.
void MixedDifference(const SCornerLines& lines, std::span<float> out);

/// Second differences along a line, its ends included. @param line at least one sample.
/// @param out as long as the line, and no part of it.
void SecondDifferenceAlong(std::span<const float> line, std::span<float> out);

/// First differences along a line, as above.
void FirstDifferenceAlong(std::span<const float> line, std::span<float> out);

/// Mixed differences of first differences along two lines, ends included, that lie low and high along another
/// axis. @param out as long as the lines, and no part of them.
void MixedDifferenceAlong(std::span<const float> low, std::span<const float> high, std::span<float> out);

} // namespace TEVRA::Impl
