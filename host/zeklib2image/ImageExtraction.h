// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Image.h"

namespace TEVRA {

class CImageExtraction {
  public:
    /// A deep copy with attributes, owned by the caller; null if there is not enough memory.
    static CImage* Clone(const CImage& image);
};

} // namespace TEVRA
