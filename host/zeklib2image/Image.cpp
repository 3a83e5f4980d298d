// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/Image.h"

#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"

#include <limits>
#include <new>

namespace TEVRA {
namespace {

constexpr const char* SOURCE = "host/zeklib2image/Image";

/// Bytes of an image. @throws CExBadParam for unusable extents, std::bad_alloc beyond the address space.
std::size_t checked_bytes(const IImage::CType& type, const CSize& size, const CSize& border,
                          const char* function) {
    for (int axis = 0; axis < border.Dim(); ++axis) {
        if (border[axis] != 0) {
            throw CExBadParam(TEVRA_LOCATION(SOURCE, function, __LINE__), "Images have no border.");
        }
    }
    if (size.Dim() < 1) {
        throw CExBadParam(TEVRA_LOCATION(SOURCE, function, __LINE__),
                          "An image needs at least one dimension.");
    }
    bool empty = false;
    for (int axis = 0; axis < size.Dim(); ++axis) {
        if (size[axis] < 0) {
            CString message("An image cannot have the size %1.", CString::eEncodingUtf8);
            message.Arg(size.ToString());
            throw CExBadParam(TEVRA_LOCATION(SOURCE, function, __LINE__), message.c_str());
        }
        empty = empty || size[axis] == 0;
    }
    std::size_t bytes = empty ? 0 : type.BytesPerPixel();
    for (int axis = 0; axis < size.Dim() && !empty; ++axis) {
        const auto extent = static_cast<std::size_t>(size[axis]);
        if (bytes > std::numeric_limits<std::size_t>::max() / extent) {
            throw std::bad_alloc();
        }
        bytes *= extent;
    }
    return bytes;
}

/// Access to a region of contiguous pixels.
class CContiguousAccess : public IImage::IAccess {
  public:
    CContiguousAccess(std::byte* pixels, const CSize& size, std::size_t bytesPerPixel, bool readOnly)
        : m_pixels(pixels), m_region(pixels), m_size(size),
          m_bytesPerPixel(static_cast<std::ptrdiff_t>(bytesPerPixel)), m_readOnly(readOnly) {}

    void SetRegion(const CPos& first, const CPos& last) override {
        constexpr const char* function = "TEVRA::IImage::IAccess::SetRegion";
        const int dim = m_size.Dim();
        bool inside = first.Dim() == dim && last.Dim() == dim;
        for (int axis = 0; inside && axis < dim; ++axis) {
            inside = first[axis] >= 0 && first[axis] <= last[axis] && last[axis] < m_size[axis];
        }
        if (!inside) {
            CString message("The region from %1 to %2 does not lie in an image of size %3.",
                            CString::eEncodingUtf8);
            message.Arg(first.ToString()).Arg(last.ToString()).Arg(m_size.ToString());
            throw CExBadParam(TEVRA_LOCATION(SOURCE, function, __LINE__), message.c_str());
        }
        std::ptrdiff_t offset = 0;
        for (int axis = 0; axis < dim; ++axis) {
            offset += static_cast<std::ptrdiff_t>(first[axis]) * Stride(axis);
        }
        m_region = m_pixels + offset;
    }

    void* Data() override {
        if (m_readOnly) {
            throw CException(TEVRA_LOCATION(SOURCE, "TEVRA::IImage::IAccess::Data", __LINE__),
                             "The image access is read-only.");
        }
        return m_region;
    }

    const void* ConstData() const override { return m_region; }

    std::ptrdiff_t Stride(int axis) const override {
        if (axis < 0 || axis >= m_size.Dim()) {
            return 0;
        }
        std::ptrdiff_t stride = m_bytesPerPixel;
        for (int lower = 0; lower < axis; ++lower) {
            stride *= static_cast<std::ptrdiff_t>(m_size[lower]);
        }
        return stride;
    }

    bool IsReadOnly() const noexcept override { return m_readOnly; }

  private:
    std::byte* m_pixels;
    std::byte* m_region;
    CSize m_size;
    std::ptrdiff_t m_bytesPerPixel;
    bool m_readOnly;
};

} // namespace

CImage::CImage(const IImage::CType& type, const CSize& size, const CSize& border)
    : m_type(type), m_size(size), m_memory(checked_bytes(type, size, border, "TEVRA::CImage::CImage")) {}

CImage::~CImage() = default;

IImage::IAccess* CImage::CreateAccess(bool readOnly) {
    return new CContiguousAccess(m_memory.Data(), m_size, m_type.BytesPerPixel(), readOnly);
}

IImage::IAccess* CImage::CreateAccess(bool readOnly) const {
    if (!readOnly) {
        throw CExBadParam(TEVRA_LOCATION(SOURCE, "TEVRA::CImage::CreateAccess", __LINE__),
                          "A constant image gives read-only access only.");
    }
    // The access never writes: it is read-only.
    return new CContiguousAccess(const_cast<std::byte*>(m_memory.Data()), m_size, m_type.BytesPerPixel(),
                                 true);
}

CImage& CImage::Resize(const CSize& size, const CSize& border) {
    CPixelMemory memory(checked_bytes(m_type, size, border, "TEVRA::CImage::Resize"));
    m_memory = std::move(memory);
    m_size = size;
    return *this;
}

} // namespace TEVRA
