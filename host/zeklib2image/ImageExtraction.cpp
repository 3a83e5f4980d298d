// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/ImageExtraction.h"

#include <new>

namespace TEVRA {

CImage* CImageExtraction::Clone(const CImage& image) {
    try {
        return image.Copy().release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace TEVRA
