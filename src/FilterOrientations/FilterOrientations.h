// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/Algorithm.h"
#include "zeklib2image/ImageInterface.h"

namespace TEVRA {

/// Orientation estimate by a bank of oriented Gaussian filters, and the automatic foreground threshold that
/// all estimators share.
class CFilterOrientations : public CAlgorithm {
  public:
    /// Grey-value threshold of the foreground: Otsu's bin, moved up or down by a factor.
    ///
    /// 8 and 16 bit: bin * factor. Float: bin / 256 * factor * (max - min) + min, from a histogram of 256
    /// bins over the image's range [min, max]; the factor scales the position in the range. NaN is left out.
    /// @param image GREY_8, GREY_16 or GREY_F.
    /// @throws CException for another type, and for a float image without two different values.
    static double ComputeThreshold(const IImage& image, double factor);
};

} // namespace TEVRA
