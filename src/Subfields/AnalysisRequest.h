// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Subfields/SubfieldLayout.h"
#include "Utils/Threshold.h"
#include "zeklib2image/Size.h"

#include <array>
#include <optional>
#include <string>

namespace TEVRA::Impl {

/// Grey values of fibers compared to what is around them.
enum class EFiberContrast { bright, dark };

/// What a field-by-field analysis is asked to do. Made once by the front end; the analysis takes it and the
/// run record holds it as it is. Lengths without "Px" are in `lengthUnit`.
struct SAnalysisRequest {
    double fiberRadius = 0.0;
    double spacing = 1.0;                            ///< along all axes
    double otsuFactor = DEFAULT_OTSU_FACTOR;         ///< without a mask and a threshold only
    std::array<long long, 3> subfieldPx{-1, -1, -1}; ///< negative for none, and along z in 2D
    bool withFourthOrder = false;
    bool withConfidence = true;        ///< of fields, from estimators that know it
    std::string estimator = "hessian"; ///< how axes are found, by the name that the engine knows
    double borderRadii = 1.0;          ///< of the estimator: so many fiber radii are left out at every edge
    /// Tensors are averaged along the axis with this standard deviation; by default what the estimator takes.
    std::optional<double> along{};
    std::string lengthUnit{}; ///< for people; "px" without a spacing, empty if the unit has no name
    /// Number of subfields per axis that the whole evaluated area is divided into, in place of a size.
    std::optional<std::array<long long, 3>> subfieldCount{};
    /// Grey value of the smoothed image, in those of the file, that parts fibers from the rest; in place of
    /// the automatic one.
    std::optional<double> threshold{};
    EFiberContrast contrast = EFiberContrast::bright;

    double FiberRadiusPx() const noexcept { return fiberRadius / spacing; }
    bool HasSubfields() const noexcept { return subfieldPx[0] >= 0 || subfieldCount.has_value(); }
};

/// How an image is cut for a request. @param imageSize 2D or 3D. @param borderPx left out, rounded.
inline CSubfieldLayout LayoutOf(const CSize& imageSize, const SAnalysisRequest& request,
                                const std::array<double, 3>& borderPx) {
    return request.subfieldCount ? CSubfieldLayout::Divided(imageSize, borderPx, *request.subfieldCount)
                                 : CSubfieldLayout(imageSize, borderPx, request.subfieldPx);
}
/// The same with the border of the request.
inline CSubfieldLayout LayoutOf(const CSize& imageSize, const SAnalysisRequest& request) {
    const double borderPx = request.borderRadii * request.FiberRadiusPx();
    return LayoutOf(imageSize, request, {borderPx, borderPx, borderPx});
}

} // namespace TEVRA::Impl
