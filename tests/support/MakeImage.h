// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "support/MemoryLimit.h"
#include "zeklib2image/Image.h"

#include <memory>
#include <vector>

namespace TEVRA::test {

/// An image of up to three dimensions with pixel (x, y, z) = value(x, y, z); PixelT is the C type of one
/// pixel.
template <typename PixelT, typename ValueFunction>
std::unique_ptr<CImage> MakeImage(const IImage::CType& type, const CSize& size, const ValueFunction& value) {
    auto image = std::make_unique<CImage>(type, size, CSize(0, 0, 0));
    PixelT* pixel = image->Pixels<PixelT>();
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x) {
                *pixel++ = static_cast<PixelT>(value(x, y, z));
            }
        }
    }
    return image;
}

/// All pixels of an image, x fastest.
template <typename PixelT>
std::vector<PixelT> PixelsOf(const CImage& image) {
    const PixelT* first = image.Pixels<PixelT>();
    return std::vector<PixelT>(first, first + image.Size().Elements());
}

} // namespace TEVRA::test
