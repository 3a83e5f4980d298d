// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/Algorithm.h"
#include "zeklib2image/ImageInterface.h"

namespace TEVRA {

/// Partial derivatives by central differences, per pixel (not per physical length), the image continued
/// constantly at its border.
///
///     CPartialDerivatives().Derivative(image, 1, 0, 1);  // d^2 / dx dz
///
/// Order 1 is the stencil [-1/2, 0, 1/2], order 2 is [1, -2, 1]; several axes are done one after the other, x
/// first, each result in float. Works with CParallelism::Threads() threads; the result does not depend on
/// them.
class CPartialDerivatives : public CAlgorithm {
  public:
    explicit CPartialDerivatives(const char* name = nullptr, const IObject* parent = nullptr);
    ~CPartialDerivatives() override;

    /// Replaces the image by its partial derivative. Reports its progress as "Computing derivatives...".
    /// @param image GREY_F, 1 to 3 dimensions.
    /// @param orderX, orderY, orderZ order along each axis, 0 to 2; 0 beyond the image's dimensions. All 0
    ///     leave the image as it is.
    /// @throws CExBadParam for another type, number of dimensions or order; std::bad_alloc. The image is
    ///     unchanged then. An exception of the progress monitor leaves it half done.
    void Derivative(IImage& image, int orderX, int orderY, int orderZ);
};

} // namespace TEVRA
