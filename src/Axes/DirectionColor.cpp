// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/DirectionColor.h"

#include "Axes/OrientationSums.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace TEVRA::Impl {
namespace {

// The largest circle of this tilt whose colors a screen can show, nearly.
constexpr double LIGHTNESS = 0.70;
constexpr double RADIUS = 0.14;
constexpr double TILT_RAD = 40.0 / 180.0 * std::numbers::pi;

std::uint8_t byte_of(double share) {
    return static_cast<std::uint8_t>(std::floor(255.0 * std::clamp(share, 0.0, 1.0) + 0.5));
}

/// From the intensity of light, [0, 1], to the value of a screen.
double screen_value(double intensity) {
    return intensity <= 0.0031308 ? 12.92 * intensity : 1.055 * std::pow(intensity, 1.0 / 2.4) - 0.055;
}

SColor color_of_lab(double lightness, double a, double b) {
    const auto cube = [](double value) { return value * value * value; };
    const double l = cube(lightness + 0.3963377774 * a + 0.2158037573 * b);
    const double m = cube(lightness - 0.1055613458 * a - 0.0638541728 * b);
    const double s = cube(lightness - 0.0894841775 * a - 1.2914855480 * b);
    return {byte_of(screen_value(4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s)),
            byte_of(screen_value(-1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s)),
            byte_of(screen_value(-0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s))};
}

} // namespace

SColor ColorOfAxis(const std::array<double, 3>& axis) {
    return {byte_of(std::abs(axis[0])), byte_of(std::abs(axis[1])), byte_of(std::abs(axis[2]))};
}

SColor ColorOfAngles(const SAxisAngles& angles) {
    if (angles.colatitudeRad < 0.0F) { // a marker
        return {};
    }
    return ColorOfAxis(AxisOfAngles(angles.colatitudeRad, angles.longitudeRad));
}

SColor ColorOfAngle(double angleRad) {
    if (angleRad == static_cast<double>(NO_ANGLE)) {
        return {};
    }
    const double pinkness = RADIUS * std::cos(2.0 * angleRad);
    return color_of_lab(LIGHTNESS - std::sin(TILT_RAD) * pinkness, std::cos(TILT_RAD) * pinkness,
                        RADIUS * std::sin(2.0 * angleRad));
}

SColor Desaturated(const SColor& color, double saturation) {
    const double share = saturation > 0.0 ? std::min(saturation, 1.0) : 0.0;
    // Brightness of a screen's values (ITU-R BT.709 luma).
    const double grey = 0.2126 * color.red + 0.7152 * color.green + 0.0722 * color.blue;
    const auto mixed = [share, grey](std::uint8_t value) {
        return static_cast<std::uint8_t>(std::lround(grey + share * (value - grey)));
    };
    return {mixed(color.red), mixed(color.green), mixed(color.blue)};
}

SColor ColorOfShare(double share) {
    const double t = std::clamp(share, 0.0, 1.0);
    return color_of_lab(0.25 + 0.68 * t, 0.01 - 0.02 * t, -0.1 + 0.24 * t);
}

} // namespace TEVRA::Impl
