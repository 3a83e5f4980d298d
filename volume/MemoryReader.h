// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/ImageReader.h"

namespace TEVRA::volume {

/// An image that is in memory already, read as if it were a file.
///
///     CMemoryReader reader(image.Size(), EPixelType::u8, image.Pixels<unsigned char>());
class CMemoryReader : public IImageReader {
  public:
    /// @param pixels all of them, x fastest, without gaps; must outlive the reader.
    CMemoryReader(const CSize& size, EPixelType pixelType, const void* pixels);

    const SImageInfo& Info() const override { return m_info; }
    std::vector<std::string> Files() const override { return {}; }
    std::size_t BufferBytes() const override { return 0; }

  private:
    void read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) override;

    SImageInfo m_info;
    const std::byte* m_pixels;
};

} // namespace TEVRA::volume
