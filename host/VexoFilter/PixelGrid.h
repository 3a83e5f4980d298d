// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/ImageInterface.h"

#include <array>
#include <cstddef>
#include <memory>

namespace TEVRA::Impl {

/// The pixels of an image of one to three dimensions as a walk sees them: three axes (of extent 1 beyond the
/// image's dimensions), strides in bytes, whole rows in and out as float.
class CPixelGrid {
  public:
    /// Reads rows only. @param image of one of the types that `CanRead` accepts.
    explicit CPixelGrid(const IImage& image);
    /// Reads and writes rows. @param image GREY_F.
    explicit CPixelGrid(IImage& image);

    /// Reads rows of pixels that lie close together, x fastest. @param pixels aligned as their type asks for.
    /// @param type one that `CanRead` accepts. @param size of one to three dimensions.
    CPixelGrid(const void* pixels, const IImage::CType& type, const CSize& size);
    /// Reads and writes such rows of floats.
    CPixelGrid(float* pixels, const CSize& size);

    /// The type's pixels have a grey value: whole-number and float types theirs, binary types 1 in the
    /// foreground and 0 in the background.
    static bool CanRead(const IImage::CType& type);

    long long Extent(int axis) const { return m_extent[static_cast<std::size_t>(axis)]; }
    bool IsEmpty() const { return m_extent[0] == 0 || m_extent[1] == 0 || m_extent[2] == 0; }

    struct SPixel {
        long long x = 0;
        long long y = 0;
        long long z = 0;
    };

    /// `count` pixels along x, from `first` on. @return where they are: in the image itself if its pixels lie
    /// side by side as floats, else in `buffer`, converted. @param buffer holds `count` numbers or more.
    const float* Row(const SPixel& first, long long count, float* buffer) const;
    /// Copies a row into `buffer`, as above.
    void Read(const SPixel& first, long long count, float* buffer) const;
    /// Asks the memory for a row that will be read soon.
    void Prefetch(const SPixel& first, long long count) const;
    /// Where a row may be written: in the image itself if its pixels lie side by side as floats, else
    /// `buffer`; `Commit` brings it into the image then.
    float* RowToWrite(const SPixel& first, float* buffer);
    void Commit(const SPixel& first, long long count, const float* row);
    /// Copies a row into the image.
    void Write(const SPixel& first, long long count, const float* row);

  private:
    using ReadRow = void (*)(const std::byte* first, std::ptrdiff_t stride, long long count, float* out);

    void describe(const IImage& image);
    void choose_reader(const IImage::CType& type);
    std::ptrdiff_t offset(const SPixel& pixel) const;

    std::unique_ptr<IImage::IAccess> m_access;
    std::array<long long, 3> m_extent{1, 1, 1};
    std::array<std::ptrdiff_t, 3> m_stride{0, 0, 0};
    const std::byte* m_first = nullptr;
    std::byte* m_firstToWrite = nullptr; // null if read-only
    ReadRow m_read = nullptr;
    bool m_rowsAreFloats = false; // pixels side by side as aligned floats
};

} // namespace TEVRA::Impl
