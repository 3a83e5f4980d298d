// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/ImageInterface.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace TEVRA::test {

/// A host image whose pixels are not contiguous: guard pixels stand before, between and after its lines and
/// planes, so that code which ignores strides or reads outside the image gives itself away.
///
/// All guard bytes are 0xFF: a NaN in float images, the largest value in whole-number images. Pixels start
/// at 0, as in the host's own images. Up to three dimensions.
class CStridedImage : public IImage {
  public:
    struct SPadding {
        long long perLine = 3;  ///< guard pixels after each line
        long long perPlane = 2; ///< guard lines after each plane
        long long around = 5;   ///< guard pixels before the first and after the last pixel
    };

    CStridedImage(const IImage::CType& type, const CSize& size, const SPadding& padding)
        : m_type(type), m_padding(padding) {
        allocate(size);
    }
    CStridedImage(const IImage::CType& type, const CSize& size) : CStridedImage(type, size, SPadding()) {}

    const CSize& Size() const override { return m_size; }
    const CType& Type() const override { return m_type; }
    const CValueMap& Attributes() const override { return m_attributes; }
    CValueMap& Attributes() override { return m_attributes; }
    IAccess* CreateAccess(bool readOnly) override {
        ++m_accesses;
        return new CAccess(*this, readOnly);
    }
    IAccess* CreateAccess(bool readOnly) const override {
        if (!readOnly) {
            throw std::logic_error("a constant image was asked for write access");
        }
        ++m_accesses;
        // The access is read-only: it never hands out a pointer to write through.
        return new CAccess(const_cast<CStridedImage&>(*this), true);
    }
    CStridedImage& Resize(const CSize& size, const CSize& /*border*/) override {
        allocate(size);
        return *this;
    }

    /// One pixel; z (and y) may be left out where the image has no such axis.
    template <typename PixelT>
    PixelT& At(long long x, long long y = 0, long long z = 0) {
        return *reinterpret_cast<PixelT*>(m_bytes.data() + offset(x, y, z));
    }
    template <typename PixelT>
    const PixelT& At(long long x, long long y = 0, long long z = 0) const {
        return *reinterpret_cast<const PixelT*>(m_bytes.data() + offset(x, y, z));
    }

    /// Sets every pixel to `value(x, y, z)`.
    template <typename PixelT, typename ValueT>
    void Fill(ValueT value) {
        for (long long z = 0; z < m_size[2]; ++z) {
            for (long long y = 0; y < m_size[1]; ++y) {
                for (long long x = 0; x < m_size[0]; ++x) {
                    At<PixelT>(x, y, z) = static_cast<PixelT>(value(x, y, z));
                }
            }
        }
    }

    /// True as long as nobody has written to a guard pixel.
    bool GuardsIntact() const {
        std::vector<std::byte> bytes = m_bytes;
        for (long long z = 0; z < m_size[2]; ++z) {
            for (long long y = 0; y < m_size[1]; ++y) {
                if (m_size[0] > 0) {
                    std::memset(bytes.data() + offset(0, y, z), GUARD,
                                static_cast<std::size_t>(m_size[0]) * m_type.BytesPerPixel());
                }
            }
        }
        return std::all_of(bytes.begin(), bytes.end(), [](std::byte b) { return b == std::byte{GUARD}; });
    }

    /// Number of accesses created and not yet deleted.
    int OpenAccesses() const { return m_accesses; }

  private:
    static constexpr unsigned char GUARD = 0xFF;

    class CAccess : public IAccess {
      public:
        CAccess(CStridedImage& image, bool readOnly)
            : m_image(image), m_region(image.m_bytes.data() + image.offset(0, 0, 0)), m_readOnly(readOnly) {}
        ~CAccess() override { --m_image.m_accesses; }

        void SetRegion(const CPos& first, const CPos& last) override {
            bool inside = first.Dim() == m_image.m_size.Dim() && last.Dim() == m_image.m_size.Dim();
            for (int axis = 0; inside && axis < first.Dim(); ++axis) {
                inside = first[axis] >= 0 && first[axis] <= last[axis] && last[axis] < m_image.m_size[axis];
            }
            if (!inside) {
                throw std::logic_error("region from " + first.ToString() + " to " + last.ToString() +
                                       " outside an image of size " + m_image.m_size.ToString());
            }
            m_region = m_image.m_bytes.data() + m_image.offset(first.Dim() > 0 ? first[0] : 0,
                                                               first.Dim() > 1 ? first[1] : 0,
                                                               first.Dim() > 2 ? first[2] : 0);
        }
        void* Data() override {
            if (m_readOnly) {
                throw std::logic_error("a read-only access was asked for a pointer to write through");
            }
            return m_region;
        }
        const void* ConstData() const override { return m_region; }
        std::ptrdiff_t Stride(int axis) const override {
            return axis >= 0 && axis < m_image.m_size.Dim() ? m_image.stride(axis) : 0;
        }
        bool IsReadOnly() const noexcept override { return m_readOnly; }

      private:
        CStridedImage& m_image;
        std::byte* m_region;
        bool m_readOnly;
    };

    std::ptrdiff_t stride(int axis) const {
        const auto pixel = static_cast<std::ptrdiff_t>(m_type.BytesPerPixel());
        const std::ptrdiff_t line = pixel * (m_size[0] + m_padding.perLine);
        if (axis == 0) {
            return pixel;
        }
        return axis == 1 ? line : line * (m_size[1] + m_padding.perPlane);
    }

    std::ptrdiff_t offset(long long x, long long y, long long z) const {
        return (x + m_padding.around) * stride(0) + y * stride(1) + z * stride(2);
    }

    void allocate(const CSize& size) {
        if (size.Dim() < 1 || size.Dim() > 3) {
            throw std::invalid_argument("a strided image has one to three dimensions");
        }
        m_size = size;
        const std::ptrdiff_t bytes = offset(0, 0, size[2]) + m_padding.around * stride(0);
        m_bytes.assign(static_cast<std::size_t>(bytes), std::byte{GUARD});
        for (long long z = 0; z < size[2]; ++z) {
            for (long long y = 0; y < size[1]; ++y) {
                std::fill_n(m_bytes.begin() + offset(0, y, z), size[0] * stride(0), std::byte{0});
            }
        }
    }

    CType m_type;
    SPadding m_padding;
    CSize m_size;
    std::vector<std::byte> m_bytes;
    CValueMap m_attributes;
    mutable int m_accesses = 0;
};

} // namespace TEVRA::test
