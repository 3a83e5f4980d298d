// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/ImageInterface.h"
#include "zeklib2image/PixelMemory.h"

namespace TEVRA {

/// The host's image: pixels contiguous in memory, x fastest, without padding between lines or planes.
class CImage : public IImage {
  public:
    /// An image with all pixels zero.
    /// @param border pixels to reserve around the image; this host reserves none and takes zeros only.
    /// @throws CExBadParam for a size without dimensions, a negative extent or a border;
    ///         std::bad_alloc if the memory is not to be had.
    CImage(const IImage::CType& type, const CSize& size, const CSize& border);
    ~CImage() override;

    const CSize& Size() const override { return m_size; }
    const CType& Type() const override { return m_type; }
    const CValueMap& Attributes() const override { return m_attributes; }
    CValueMap& Attributes() override { return m_attributes; }
    IAccess* CreateAccess(bool readOnly) override;
    IAccess* CreateAccess(bool readOnly) const override;
    CImage& Resize(const CSize& size, const CSize& border) override;

    /// The pixels as a C array of `Size().Elements()` pixels; PixelT is the C type of one pixel.
    template <typename PixelT>
    PixelT* Pixels() noexcept {
        return reinterpret_cast<PixelT*>(m_memory.Data());
    }
    template <typename PixelT>
    const PixelT* Pixels() const noexcept {
        return reinterpret_cast<const PixelT*>(m_memory.Data());
    }

  private:
    CType m_type;
    CSize m_size;
    CPixelMemory m_memory;
    CValueMap m_attributes;
};

} // namespace TEVRA
