// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/ImageExtraction.h"

#include <cstring>
#include <new>

namespace TEVRA {

CImage* CImageExtraction::Clone(const CImage& image) {
    try {
        auto copy = std::make_unique<CImage>(image.Type(), image.Size(), CSize(0, 0, 0));
        const std::size_t bytes = image.Size().Elements() * image.Type().BytesPerPixel();
        if (bytes > 0) {
            std::memcpy(copy->Pixels<std::byte>(), image.Pixels<std::byte>(), bytes);
        }
        copy->Attributes() = image.Attributes();
        return copy.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace TEVRA
