// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/OptionChecks.h"

#include <cmath>
#include <stdexcept>

namespace TEVRA::phantom {
namespace {

constexpr long long LARGEST_EXTENT = 100000; // keeps products of three extents far from overflow
constexpr double SMALLEST_RADIUS_PX = 0.5;   // a thinner cylinder can pass between pixel centres unseen

} // namespace

void Refuse(const std::string& what) {
    throw std::invalid_argument("Phantom: " + what);
}

std::string TextOf(double number) {
    std::ostringstream text;
    text << number;
    return text.str();
}

void RequireNotNegative(const char* quantity, double value) {
    Require(std::isfinite(value) && value >= 0.0, quantity, value, "0 or more, and finite");
}

void CheckExtents(const CSize& sizePx, const std::array<double, 3>& spacing, double fiberRadius) {
    Require(sizePx.Dim() == 2 || sizePx.Dim() == 3, "the number of dimensions", sizePx.Dim(), "2 or 3");
    for (int axis = 0; axis < sizePx.Dim(); ++axis) {
        Require(sizePx[axis] >= 1 && sizePx[axis] <= LARGEST_EXTENT, "an extent", sizePx[axis],
                "1 to 100000 pixels");
        const double step = spacing[static_cast<std::size_t>(axis)];
        Require(std::isfinite(step) && step > 0.0, "the spacing", step, "greater than 0, and finite");
        Require(std::isfinite(fiberRadius) && fiberRadius >= SMALLEST_RADIUS_PX * step, "the fiber radius",
                fiberRadius, "half a pixel or more");
        const double extent = static_cast<double>(sizePx[axis]) * step;
        Require(2.0 * fiberRadius <= extent, "the fiber diameter", 2.0 * fiberRadius,
                "at most the smallest extent, " + TextOf(extent));
    }
}

void CheckGreyValues(double background, double fiber, double noiseSd) {
    for (const double grey : {background, fiber}) {
        Require(grey >= 0.0 && grey <= 255.0, "a grey value", grey, "0 to 255");
    }
    if (background == fiber) {
        Refuse("the grey values of background and fibers must differ, or no fiber can be seen.");
    }
    RequireNotNegative("the noise's standard deviation", noiseSd);
}

void CheckVolumeFraction(double fraction, double most, const char* mostText) {
    Require(fraction > 0.0 && fraction <= most, "the volume fraction", fraction,
            std::string("greater than 0 and at most ") + mostText);
}

} // namespace TEVRA::phantom
