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
class CFourierTransformation : public CAlgorithm {
  public:
    CFourierTransformation(const char* name, const IObject* parent);
    CFourierTransformation(const CFourierTransformation& other);
    CFourierTransformation& operator=(const CFourierTransformation&) = delete;
    ~CFourierTransformation() override;

    /// Forward transform: out(k) = sum over x of in(x) exp(-2 pi i k x / n).
    /// @param out COMPLEX_F, same size as `in`; receives the full spectrum.
    /// @param in GREY_8, GREY_16 or GREY_F, 1 to 3 dimensions.
    /// @param window weights per pixel along each axis, null for none.
    /// @throws CExBadParam for wrong types or sizes.
    void Fft(IImage& out, const IImage& in, std::vector<float>* window);
    /// Inverse transform: the real part of the scaled sum with exp(+2 pi i k x / n).
    /// @param out GREY_F. @param in COMPLEX_F, same size; any spectrum, symmetric or not.
    void InverseFft(IImage& out, const IImage& in, std::vector<float>* window);

  private:
    struct StPlans;
    std::unique_ptr<StPlans> m_plans;
};

} // namespace TEVRA
