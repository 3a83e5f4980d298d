// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterOrientations/LocalTensorOrientations.h"

#include <array>
#include <optional>

namespace TEVRA {

/// How line voting looks at an image.
struct SLineVotingOptions {
    /// Of the pixels along x, y and z, the last not used in 2D; by default that of the image's header, else 1.
    std::optional<std::array<double, 3>> spacing{};
    /// Votes are averaged along the fiber with this standard deviation, in the unit of the spacing; by default the
    /// fiber radius. 0: they are not, for fibers whose radius of curvature is below some 10 fiber radii.
    std::optional<double> along{};
    Impl::EFiberContrast contrast = Impl::EFiberContrast::bright;
};

/// Fiber axes by the votes of bright lines near by. Holds in dense material, where CHessianOrientations errs by ten
/// degrees and more.
///
///     CLineVotingOrientations estimator;
///     estimator.compute(image, fiberRadius);
///     estimator.get(theta, phi);
///     estimator.GetConfidence(confidence);
///
/// Every pixel on a bright line, as the eigenvalues of its Hessian tell, votes for the line's direction with the square
/// of its line strength; a foreground pixel's axis is the main direction of the votes around it, averaged once more
/// along that direction. Pixels on flanks and between fibers, where the curvature across passes through zero, have no
/// vote. The confidence is the share of the votes by which the main direction exceeds the next one: 0.95 and more goes
/// with errors below a degree, less than 0.5 is doubtful.
///
/// Line filters by eigenvalues of the Hessian: Y. Sato et al., Three-dimensional multi-scale line filter for
/// segmentation and visualization of curvilinear structures in medical images, Medical Image Analysis 2 (1998). Votes
/// gathered as outer products: G. Medioni, M.-S. Lee, C.-K. Tang, A Computational Framework for Segmentation and
/// Grouping, 2000. Its scales were chosen by measuring (docs/estimators.md).
///
/// Axes, confidence and threshold are those of stream::CStreamingAnalysis with the same estimator, to the last bit.
class CLineVotingOrientations : public CLocalTensorOrientations {
  public:
    /// @param otsuFactor factor on Otsu's threshold (CFilterOrientations::ComputeThreshold).
    explicit CLineVotingOrientations(double otsuFactor = DEFAULT_OTSU_FACTOR, const char* name = nullptr,
                                     const IObject* parent = nullptr);

    /// Estimates the axis of every foreground pixel. Within two radii of the image's edges neighbours are missing:
    /// leave that border out of boxes.
    /// @param image GREY_8, GREY_16 or GREY_F, 2D or 3D. Values that are no numbers count as background, infinite ones
    ///        as the smallest or largest finite one.
    /// @param fiberRadius in the unit of the spacing; 2 to 10 pixels are best.
    /// @param mask BINARY_FG of the same size, or null: then a pixel is foreground if its value, smoothed by 0.35
    ///        radii, exceeds the automatic threshold. All pixels vote, with and without a mask.
    /// If the monitor cancels, it returns at once and leaves no maps: the operations that need them throw.
    /// @throws CException for wrong types, sizes and lengths, before anything is changed, and for an image of one grey
    ///         value if there is no mask; std::bad_alloc.
    void compute(const IImage& image, double fiberRadius, const IImage* mask = nullptr,
                 const SLineVotingOptions& options = {});
};

} // namespace TEVRA
