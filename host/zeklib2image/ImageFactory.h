// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/ImageInterface.h"
#include "zeklib2image/Pixel.h"

namespace TEVRA {

/// The host's image factory.
class CZekImageFactory {
  public:
    static CZekImageFactory& Obj();

    /// A new image with all pixels zero, owned by the caller. Errors as CImage.
    IImage* CreateImage(const IImage::CType& type, const CSize& size) const;
    /// A new binary image with all pixels at the given value. @throws CExBadParam unless `type` is binary.
    IImage* CreateImage(const IImage::CType& type, const CSize& size, const CPixel& value) const;

  private:
    CZekImageFactory() = default;
};

} // namespace TEVRA
