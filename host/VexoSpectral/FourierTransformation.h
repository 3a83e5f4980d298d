// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/Algorithm.h"
#include "VexoSpectral/RegisterFftwClient.h"
#include "zeklib2image/ImageInterface.h"

#include <memory>
#include <vector>

namespace TEVRA {

/// Fourier transform between a real image and its centred spectrum, in single precision.
///
/// The zero frequency lies at pixel floor(n/2) of every axis. The forward transform is not scaled, the
/// inverse is scaled by 1/N (N pixels), so that one after the other gives the image back.
///
/// Relative RMS error at most 3e-7 for extents whose prime factors are small, 8e-7 else. The result for an
/// image is the same in every run. Plans are kept for the sizes used last, so that the next transform of the
/// same size only does its work; beside them and a few planes of scratch no memory is needed.
class CFourierTransformation : public CAlgorithm {
  public:
    CFourierTransformation(const char* name, const IObject* parent);
    /// The copy makes its own plans.
    CFourierTransformation(const CFourierTransformation& other);
    CFourierTransformation& operator=(const CFourierTransformation&) = delete;
    ~CFourierTransformation() override;

    /// Forward transform: out(k) = sum over x of in(x) exp(-2 pi i k x / n).
    /// @param out COMPLEX_F, same size as `in`; receives the full spectrum, exactly Hermitian: values at
    ///        opposite frequencies are conjugate.
    /// @param in GREY_8, GREY_16 or GREY_F, 1 to 3 dimensions.
    /// @param window reserved for weights along the axes; null or empty.
    /// @throws CExBadParam for wrong types, sizes or dimensions or a window; `out` is unchanged then.
    void Fft(IImage& out, const IImage& in, std::vector<float>* window);
    /// Inverse transform: the real part of 1/N times the sum over k of in(k) exp(+2 pi i k x / n).
    /// @param out GREY_F. @param in COMPLEX_F, same size; any spectrum, Hermitian or not. @param window as
    /// above.
    /// @throws CExBadParam as above.
    void InverseFft(IImage& out, const IImage& in, std::vector<float>* window);

  private:
    struct SPlans;
    std::unique_ptr<SPlans> m_plans;
};

} // namespace TEVRA
