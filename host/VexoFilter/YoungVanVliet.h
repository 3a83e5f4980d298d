// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/Algorithm.h"
#include "zeklib2image/ImageInterface.h"

namespace TEVRA {

/// Gaussian smoothing at a cost that does not depend on sigma.
///
///     CYoungVanVliet(4.0, nullptr, nullptr).gauss(smoothed, image);
///
/// Recursive from 2.5 pixels on (Impl::SRecursiveGaussian), by a sampled kernel below
/// (Impl::SSampledGaussian). The image continues constantly beyond its border. The impulse response lies
/// within 6e-4 of the peak of the sampled, normalised Gaussian (3e-4 from 4 pixels on); a constant image
/// stays as it is, exactly.
///
/// Axis after axis, x first; sums and recursions in double, intermediate images in float. Works with
/// CParallelism::Threads() threads; the result does not depend on them.
class CYoungVanVliet : public CAlgorithm {
  public:
    /// @param sigma standard deviation in pixels; checked by `gauss`.
    CYoungVanVliet(double sigma, const char* name, const IObject* parent);
    ~CYoungVanVliet() override;

    /// Smooths along every axis. Reports its progress as "Smoothing...".
    /// @param out GREY_F, size as `in`; may be `in` itself.
    /// @param in one to three dimensions; GREY_8, GREY_16 or GREY_F, or BINARY_FG, BINARY_BG or BOOL, which
    ///     count as 1 in the foreground (where true) and 0 elsewhere. Pixels that are not finite spoil
    ///     their lines.
    /// @throws CExBadParam for other types, sizes or numbers of dimensions, or a sigma that is not above 0
    ///     and at most 1e6; std::bad_alloc. `out` is unchanged then. An exception of the progress monitor
    ///     leaves it half done.
    void gauss(IImage& out, const IImage& in);

  private:
    double m_sigma;
};

} // namespace TEVRA
