// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/ImageInterface.h"

#include <cstring>

namespace TEVRA {

bool operator==(const IImage::CType& a, const IImage::CType& b) noexcept {
    return a.m_kind == b.m_kind && std::strcmp(a.m_name, b.m_name) == 0;
}

IImage::IAccess::~IAccess() = default;

IImage::~IImage() = default;

} // namespace TEVRA
