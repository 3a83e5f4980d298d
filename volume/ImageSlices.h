// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/PixelType.h"
#include "zeklib2image/ImageInterface.h"

#include <memory>
#include <vector>

namespace TEVRA::volume {

/// The slices of a host image one after the other, each as contiguous bytes: what writers put into files.
class CImageSlices {
  public:
    /// @throws std::invalid_argument unless the image has 2 or 3 dimensions, pixels, and type GREY_8,
    /// GREY_16,
    ///         GREY_F or BINARY_FG.
    explicit CImageSlices(const IImage& image);

    EPixelType PixelType() const noexcept { return m_pixelType; }
    long long SliceCount() const noexcept { return m_sliceCount; }
    std::size_t SliceBytes() const noexcept { return m_sliceBytes; }
    /// The bytes of one slice, x fastest, without gaps; valid until the next call.
    const std::byte* Slice(long long index);

  private:
    EPixelType m_pixelType;
    std::unique_ptr<IImage::IAccess> m_access;
    long long m_lineCount;
    long long m_sliceCount;
    std::size_t m_lineBytes;
    std::size_t m_sliceBytes;
    std::vector<std::byte> m_copy; // of a slice whose lines are not contiguous
};

} // namespace TEVRA::volume
