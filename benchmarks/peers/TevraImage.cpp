// SPDX-License-Identifier: BSD-3-Clause
#include "TevraImage.h"

#include <algorithm>

namespace TEVRA::benchmarks {

std::unique_ptr<CImage> ImageOf(const SVolume& volume) {
    const CSize size(static_cast<long long>(volume.size[0]), static_cast<long long>(volume.size[1]),
                     static_cast<long long>(volume.size[2]));
    auto image = std::make_unique<CImage>(IMAGE_GREY_8, size, CSize(0, 0, 0));
    std::copy(volume.grey.begin(), volume.grey.end(), image->Pixels<unsigned char>());
    return image;
}

std::span<const float> PixelsOf(const IImage& image) {
    const auto& plain = dynamic_cast<const CImage&>(image);
    return {plain.Pixels<float>(), plain.Size().Elements()};
}

} // namespace TEVRA::benchmarks
