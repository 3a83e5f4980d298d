// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/ImageInterface.h"

namespace TEVRA {

/// Read-only access to pixels that stand in memory without gaps, x fastest. The pixels must outlive it.
class CPackedAccess : public IImage::IAccess {
  public:
    CPackedAccess(const std::byte* pixels, const CSize& size, std::size_t bytesPerPixel);

    void SetRegion(const CPos& first, const CPos& last) override;
    void* Data() override;
    const void* ConstData() const override { return m_pixels + m_offset; }
    std::ptrdiff_t Stride(int axis) const override;
    bool IsReadOnly() const noexcept override { return true; }

  protected:
    /// From the first pixel of the image to that of the region, in bytes.
    std::ptrdiff_t region_offset() const noexcept { return m_offset; }

  private:
    const std::byte* m_pixels;
    std::ptrdiff_t m_offset = 0;
    CSize m_size;
    std::ptrdiff_t m_bytesPerPixel;
};

} // namespace TEVRA
