// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/PackedAccess.h"

#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"

namespace TEVRA {
namespace {

constexpr const char* SOURCE = "host/zeklib2image/PackedAccess";

} // namespace

CPackedAccess::CPackedAccess(const std::byte* pixels, const CSize& size, std::size_t bytesPerPixel)
    : m_pixels(pixels), m_size(size), m_bytesPerPixel(static_cast<std::ptrdiff_t>(bytesPerPixel)) {}

void CPackedAccess::SetRegion(const CPos& first, const CPos& last) {
    const int dim = m_size.Dim();
    bool isInside = first.Dim() == dim && last.Dim() == dim;
    for (int axis = 0; isInside && axis < dim; ++axis) {
        isInside = first[axis] >= 0 && first[axis] <= last[axis] && last[axis] < m_size[axis];
    }
    if (!isInside) {
        CString message("The region from %1 to %2 does not lie in an image of size %3.",
                        CString::eEncodingUtf8);
        message.Arg(first.ToString()).Arg(last.ToString()).Arg(m_size.ToString());
        throw CExBadParam(TEVRA_LOCATION(SOURCE, "TEVRA::IImage::IAccess::SetRegion", __LINE__),
                          message.c_str());
    }
    m_offset = 0;
    for (int axis = 0; axis < dim; ++axis) {
        m_offset += static_cast<std::ptrdiff_t>(first[axis]) * Stride(axis);
    }
}

void* CPackedAccess::Data() {
    throw CException(TEVRA_LOCATION(SOURCE, "TEVRA::IImage::IAccess::Data", __LINE__),
                     "The image access is read-only.");
}

std::ptrdiff_t CPackedAccess::Stride(int axis) const {
    if (axis < 0 || axis >= m_size.Dim()) {
        return 0;
    }
    std::ptrdiff_t stride = m_bytesPerPixel;
    for (int lower = 0; lower < axis; ++lower) {
        stride *= static_cast<std::ptrdiff_t>(m_size[lower]);
    }
    return stride;
}

} // namespace TEVRA
