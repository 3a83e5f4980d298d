// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/Algorithm.h"
#include "zeklib2image/ImageInterface.h"

namespace TEVRA {

/// Gaussian smoothing by a recursive filter, the image continued constantly at its border.
class CYoungVanVliet : public CAlgorithm {
  public:
    /// @param sigma standard deviation in pixels.
    CYoungVanVliet(double sigma, const char* name, const IObject* parent);
    ~CYoungVanVliet() override;

    /// Smooths along every axis.
    /// @param out GREY_F, same size as `in`; may be `in` itself.
    /// @param in GREY_8, GREY_16, GREY_F or a binary type.
    /// @throws CExBadParam for wrong types or sizes, or a sigma that is not positive and finite.
    void gauss(IImage& out, const IImage& in);

  private:
    double m_sigma;
};

} // namespace TEVRA
