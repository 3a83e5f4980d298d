// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/Algorithm.h"
#include "zeklib2image/ImageInterface.h"

namespace TEVRA {

/// Partial derivatives by central differences, per pixel (not per physical length), the image continued
/// constantly at its border.
class CPartialDerivatives : public CAlgorithm {
  public:
    explicit CPartialDerivatives(const char* name = nullptr, const IObject* parent = nullptr);
    ~CPartialDerivatives() override;

    /// Replaces the image by its partial derivative.
    /// @param image GREY_F, 1 to 3 dimensions.
    /// @param orderX, orderY, orderZ order along each axis, 0 to 2; 0 beyond the image's dimensions.
    /// @throws CExBadParam for another type or order.
    void Derivative(IImage& image, int orderX, int orderY, int orderZ);
};

} // namespace TEVRA
