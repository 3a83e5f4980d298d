// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterBank/FilterMask.h"
#include "Numeric/Matrix.h"

#include <array>

namespace TEVRA::Impl {

/// The quadratic form of a mask in frequency space: its direction and widths, whatever the image's size.
class CMaskForm {
  public:
    /// @param direction unit vector of `dimension` components. @param widths squared, on the diagonal.
    /// @throws CException if the direction is not of unit length.
    CMaskForm(const double* direction, int dimension, const IMatrix<double>& widths);

    /// The row of the mask at `y` and, in 3D, `z` of an image of this size.
    SGaussianRow Row(const std::array<long long, 3>& size, long long y, long long z) const;

  private:
    CMatrix<double> m_form;
};

} // namespace TEVRA::Impl
