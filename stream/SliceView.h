// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/ImageInterface.h"

namespace TEVRA::stream {

/// A 2D float image over somebody else's contiguous pixels.
class CSliceView : public IImage {
  public:
    /// @param pixels must outlive the object. @param size 2D.
    CSliceView(float* pixels, const CSize& size) : m_pixels(pixels), m_size(size) {}

    const CSize& Size() const override { return m_size; }
    const CType& Type() const override { return IMAGE_GREY_F; }
    const CValueMap& Attributes() const override { return m_attributes; }
    CValueMap& Attributes() override { return m_attributes; }
    IAccess* CreateAccess(bool readOnly) override;
    IAccess* CreateAccess(bool readOnly) const override;
    /// Not for views. @throws std::logic_error
    IImage& Resize(const CSize& size, const CSize& border) override;

  private:
    float* m_pixels;
    CSize m_size;
    CValueMap m_attributes;
};

} // namespace TEVRA::stream
