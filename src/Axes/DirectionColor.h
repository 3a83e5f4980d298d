// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Axes/AxisAngles.h"

#include <array>
#include <cstdint>

namespace TEVRA::Impl {

/// A color of a screen (sRGB).
struct SColor {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    bool operator==(const SColor&) const = default;
};

/// The color of a 3D axis: red 255 |x|, green 255 |y|, blue 255 |z|, rounded. Both signs have the same one, and the
/// components can be read from it.
/// @param axis a unit vector.
SColor ColorOfAxis(const std::array<double, 3>& axis);

/// The same from the angles of a map; black where it has no axis.
SColor ColorOfAngles(const SAxisAngles& angles);

/// The color of a 2D axis: along x pink, then yellow, along y teal, then blue.
///
/// The angles run once around a circle in the color space OKLab (B. Ottosson, A perceptual color space for image
/// processing, 2020), so equal angles between axes look equally far apart. The circle is tilted: what is greener is
/// lighter, so that eyes that mix up red and green see all colors apart, too.
/// @param angleRad from the x axis; of either sign of the axis. Black for Impl::NO_ANGLE.
SColor ColorOfAngle(double angleRad);

/// The color mixed with the grey that is as bright: for axes that are less sure than others.
/// @param saturation 1 for the color itself, 0 for grey; beyond counts as these, NaN as 0.
SColor Desaturated(const SColor& color, double saturation);

/// The color of a value from 0 to 1: from dark blue over grey to light yellow. Lightness grows evenly, and colors differ
/// along the axis from blue to yellow alone, which nearly all eyes see. The page of reports has the same ones.
SColor ColorOfShare(double share);

} // namespace TEVRA::Impl
