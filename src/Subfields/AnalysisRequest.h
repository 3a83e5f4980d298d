// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Subfields/SubfieldLayout.h"
#include "zeklib2image/Size.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>

namespace TEVRA::Impl {

/// Grey values of fibers compared to what is around them.
enum class EFiberContrast { bright, dark };

/// What a field-by-field analysis is asked to do, and what it then has done: made once by the front end, completed by
/// the analysis with what is left to the estimator, and recorded as it is. Lengths without "Px" are in `lengthUnit`.
struct SAnalysisRequest {
    double fiberRadius = 0.0;
    std::array<double, 3> spacing{1.0, 1.0, 1.0};    ///< per axis, positive; along z of no meaning in 2D
    std::array<long long, 3> subfieldPx{-1, -1, -1}; ///< negative for none, and along z in 2D
    bool withFourthOrder = false;
    bool withConfidence = true; ///< of fields, from estimators that know it
    std::string lengthUnit{};   ///< for people; "px" without a spacing, empty if the unit has no name
    std::string estimator{};    ///< how axes are found, by its name; the analysis fills it in
    // In place of what the estimator takes:
    std::optional<double> otsuFactor{}; ///< on Otsu's threshold; none with a mask or a threshold
    std::optional<double> border{};     ///< left out at every edge, 0 or more
    std::optional<double> along{};      ///< tensors are averaged along the axis with this standard deviation
    std::optional<double> gradientSigma{}; ///< standard deviation of the structure tensor's gradients
    std::optional<double> windowSigma{};   ///< and of its window
    /// Number of subfields per axis that the whole evaluated area is divided into, in place of a size.
    std::optional<std::array<long long, 3>> subfieldCount{};
    /// Grey value of the smoothed image, in those of the file, that parts fibers from the rest; in place of
    /// the automatic one.
    std::optional<double> threshold{};
    EFiberContrast contrast = EFiberContrast::bright;

    double FiberRadiusPx(std::size_t axis) const noexcept { return fiberRadius / spacing[axis]; }
    /// Along the axis with the smallest spacing. Of a completed request.
    double FiberRadiusPx() const noexcept {
        return fiberRadius / *std::min_element(spacing.begin(), spacing.end());
    }
    /// Of a completed request.
    bool HasEqualSpacing() const noexcept { return spacing[1] == spacing[0] && spacing[2] == spacing[0]; }
    /// What is left out per axis, not rounded. Of a completed request.
    std::array<double, 3> BorderPx() const noexcept {
        const double length = border.value_or(0.0);
        return {length / spacing[0], length / spacing[1], length / spacing[2]};
    }
    bool HasSubfields() const noexcept { return subfieldPx[0] >= 0 || subfieldCount.has_value(); }
};

/// How an image is cut for a completed request. @param imageSize 2D or 3D.
inline CSubfieldLayout LayoutOf(const CSize& imageSize, const SAnalysisRequest& request) {
    return request.subfieldCount
               ? CSubfieldLayout::Divided(imageSize, request.BorderPx(), *request.subfieldCount)
               : CSubfieldLayout(imageSize, request.BorderPx(), request.subfieldPx);
}

} // namespace TEVRA::Impl
