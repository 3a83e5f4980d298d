// SPDX-License-Identifier: BSD-3-Clause
#include "Utils/PointOperationsImpl.h"

#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"
#include "zeklib2core/StringTools.h"

namespace TEVRA::Impl {
namespace {

constexpr const char* SOURCE = "src/utils/PointOperationsImpl";

[[noreturn]] void throw_at(const std::string& function, int line, const char* message) {
    throw CException(TEVRA_LOCATION(SOURCE, function.c_str(), line), message);
}

bool is_supported(int dim) {
    return dim >= 1 && dim <= 3;
}

} // namespace

CImageDataGeometry::CImageDataGeometry(const IImage& image, const char* displayName)
    : m_imageBase(image), m_displayName(displayName) {}

void CImageDataGeometry::init_size(const std::string& function) {
    const CSize& size = m_imageBase.Size();
    if (!is_supported(size.Dim())) {
        CString message("Dim = %1 can not be handle by CImageDataExtractor.", CString::eEncodingUtf8);
        message.Arg(size.Dim(), 0);
        throw_at(function, __LINE__, message.c_str());
    }
    m_dim = size.Dim();
    m_interleaved = m_imageBase.Type().IsInterleaved();
    for (int axis = 0; axis < 3; ++axis) {
        m_size[static_cast<std::size_t>(axis)] = size[axis];
    }
}

void CImageDataGeometry::check_image_validity(const std::string& function) const {
    if (!is_supported(m_dim)) {
        const std::string message =
            CStringTools::Printf("%s: image dimension '%d' not supported.", m_displayName.c_str(), m_dim);
        throw_at(function, __LINE__, message.c_str());
    }
    if (m_interleaved) {
        CString message("%1: just non interleaved image types are supported.", CString::eEncodingUtf8);
        message.Arg(m_displayName);
        throw_at(function, __LINE__, message.c_str());
    }
}

void CImageDataGeometry::set_pixel_type_info(const std::string& pixelTypeName,
                                             const std::string& function) const {
    if (m_imageBase.Type().Kind() == IImage::CType::EKind::unregistered) {
        CString message("%1: Pixel type '%2' and image type '%2' do not match -- unregistered image type?.",
                        CString::eEncodingUtf8);
        message.Arg(m_displayName).Arg(pixelTypeName).Arg(m_imageBase.Type().ToString());
        throw_at(function, __LINE__, message.c_str());
    }
}

void CImageDataGeometry::check_pixel_type(const IImage::CType& expected, const std::string& function) const {
    if (!(m_imageBase.Type() == expected)) {
        CString message("%1: supposed pixel type '%2' does not match to image pixel type '%3'.",
                        CString::eEncodingUtf8);
        message.Arg(m_displayName).Arg(expected.ToString()).Arg(m_imageBase.Type().ToString());
        throw_at(function, __LINE__, message.c_str());
    }
}

void CImageDataGeometry::set_strides(const IImage::IAccess& access) {
    for (int axis = 0; axis < 3; ++axis) {
        m_strides[static_cast<std::size_t>(axis)] = access.Stride(axis);
    }
}

void CImageDataGeometry::CheckImagesAgainst(const CImageDataGeometry& first,
                                            const CImageDataGeometry& second) {
    const std::string function = "TEVRA::Impl::CheckImagesAgainst";
    if (first.m_dim != second.m_dim) {
        CString message("%1 and %2: image dimensions '%3' and '%4' do not match.", CString::eEncodingUtf8);
        message.Arg(first.m_displayName).Arg(second.m_displayName).Arg(first.m_dim, 0).Arg(second.m_dim, 0);
        throw_at(function, __LINE__, message.c_str());
    }
    if (first.m_size != second.m_size) {
        CString message("%1 and %2: image sizes %3 and %4 do not match.", CString::eEncodingUtf8);
        message.Arg(first.m_displayName)
            .Arg(second.m_displayName)
            .Arg(first.m_imageBase.Size().ToString())
            .Arg(second.m_imageBase.Size().ToString());
        throw_at(function, __LINE__, message.c_str());
    }
}

void VisitorHelper<0>::check_dimension(const CImageDataGeometry& data) {
    if (!is_supported(data.Dim())) {
        CString message("%1: image dimension '%2' not supported", CString::eEncodingUtf8);
        message.Arg(data.DisplayName()).Arg(data.Dim(), 0);
        throw_at("TEVRA::Impl::VisitorHelper<0>::VisitImageData", __LINE__, message.c_str());
    }
}

} // namespace TEVRA::Impl
