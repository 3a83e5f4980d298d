// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterOrientations/LocalTensorOrientations.h"

#include <array>
#include <optional>

namespace TEVRA {

/// How the structure tensor looks at an image. Lengths are in the unit of the spacing.
struct SStructureTensorOptions {
    /// Of the pixels along x, y and z, the last not used in 2D; by default that of the image's header, else 1.
    std::optional<std::array<double, 3>> spacing{};
    /// Standard deviation of the Gaussian whose derivatives are the gradient; by default a third of the fiber radius,
    /// but at least one pixel and 0.7 of the largest spacing.
    std::optional<double> gradientSigma{};
    /// Standard deviation of the Gaussian that gathers the gradients' products; by default the fiber radius.
    std::optional<double> windowSigma{};
    /// Tensors are averaged along the axis with this standard deviation; 0: they are not.
    double along = 0.0;
    Impl::EFiberContrast contrast = Impl::EFiberContrast::bright;
};

/// Fiber axes by the structure tensor: the direction in which grey values around a pixel change least. For fibers that
/// are not resolved (tows, fine textures), and for comparison with other tools.
///
///     CStructureTensorOrientations estimator;
///     estimator.compute(image, fiberRadius);
///     estimator.get(theta, phi);
///
/// J. Bigün, G. H. Granlund, Optimal orientation detection of linear symmetry, ICCV 1987. The axis is the eigenvector
/// of the smallest eigenvalue; with m0 <= m1 the smallest two, the confidence is (m1 - m0) / (m1 + m0). It is low
/// inside dense packings even where axes are right.
///
/// Axes, confidence and threshold are those of stream::CStreamingAnalysis with the same estimator, to the last bit.
class CStructureTensorOrientations : public CLocalTensorOrientations {
  public:
    /// @param otsuFactor factor on Otsu's threshold (CFilterOrientations::ComputeThreshold).
    explicit CStructureTensorOrientations(double otsuFactor = DEFAULT_OTSU_FACTOR, const char* name = nullptr,
                                          const IObject* parent = nullptr);

    /// Estimates the axis of every foreground pixel; all is as for CLineVotingOrientations::compute.
    void compute(const IImage& image, double fiberRadius, const IImage* mask = nullptr,
                 const SStructureTensorOptions& options = {});
};

} // namespace TEVRA
