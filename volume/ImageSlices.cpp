// SPDX-License-Identifier: BSD-3-Clause
#include "volume/ImageSlices.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace TEVRA::volume {
namespace {

EPixelType pixel_type_of(const IImage& image) {
    switch (image.Type().Kind()) {
    case IImage::CType::EKind::grey8:
    case IImage::CType::EKind::binaryForeground:
        return EPixelType::u8;
    case IImage::CType::EKind::grey16:
        return EPixelType::u16;
    case IImage::CType::EKind::greyFloat:
        return EPixelType::f32;
    default:
        throw std::invalid_argument(std::string("an image of type ") + image.Type().ToString() +
                                    " cannot be written; GREY_8, GREY_16, GREY_F and BINARY_FG can");
    }
}

const CSize& checked_size(const IImage& image) {
    const CSize& size = image.Size();
    if (size.Dim() < 2 || size.Dim() > 3 || size.Elements() == 0) {
        throw std::invalid_argument("an image of size " + size.ToString() +
                                    " cannot be written; 2 or 3 dimensions and some pixels are needed");
    }
    return size;
}

} // namespace

CImageSlices::CImageSlices(const IImage& image)
    : m_pixelType(pixel_type_of(image)), m_access(image.CreateAccess(true)),
      m_lineCount(checked_size(image)[1]), m_sliceCount(image.Size()[2]),
      m_lineBytes(static_cast<std::size_t>(image.Size()[0]) * image.Type().BytesPerPixel()),
      m_sliceBytes(m_lineBytes * static_cast<std::size_t>(m_lineCount)) {}

const std::byte* CImageSlices::Slice(long long index) {
    const std::byte* slice =
        static_cast<const std::byte*>(m_access->ConstData()) + index * m_access->Stride(2);
    const std::ptrdiff_t lineStride = m_access->Stride(1);
    if (lineStride == static_cast<std::ptrdiff_t>(m_lineBytes)) {
        return slice;
    }
    m_copy.resize(m_sliceBytes);
    for (long long line = 0; line < m_lineCount; ++line) {
        std::memcpy(m_copy.data() + static_cast<std::size_t>(line) * m_lineBytes, slice + line * lineStride,
                    m_lineBytes);
    }
    return m_copy.data();
}

} // namespace TEVRA::volume
