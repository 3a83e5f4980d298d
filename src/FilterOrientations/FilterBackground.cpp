// SPDX-License-Identifier: BSD-3-Clause
// Which pixels the filter bank leaves out.
#include "FilterOrientations/FilterOrientations.h"

#include "FilterOrientations/FilterFailure.h"
#include "Utils/GreyPixels.h"
#include "Utils/PixelRows.h"
#include "Utils/Threshold.h"

#include <limits>
#include <optional>

namespace TEVRA {

using Impl::filterbank::EXCLUDED;
using Impl::filterbank::SOURCE;
using Impl::filterbank::throw_at;

namespace {

void typed_mask_out(IImage& index, const IImage& mask, unsigned char label) {
    if (!(index.Type() == IMAGE_GREY_8)) {
        throw_at("`anonymous-namespace'::typed_MaskOutOrientations", __LINE__,
                 "Orientation indices must be stored in a uint8 image.");
    }
    const auto numbers = Impl::WritablePixelsOf<unsigned char>(index, "index image");
    // Masks are bytes, though not grey values: of the checks only those of the geometry apply.
    Impl::CImageDataExtractor<const IImage, const unsigned char> foreground(mask, "mask image");
    foreground.InitSize();
    foreground.Open();
    for (long long z = 0; z < numbers.Size(2); ++z) {
        for (long long y = 0; y < numbers.Size(1); ++y) {
            const Impl::CPixelRow number(numbers, y, z);
            const Impl::CPixelRow isForeground(foreground, y, z);
            for (long long x = 0; x < numbers.Size(0); ++x) {
                if (isForeground[x] == 0) {
                    number[x] = label;
                }
            }
        }
    }
}

} // namespace

/// Excludes the background. @return false if that was cancelled.
bool CFilterOrientations::mask_out(IImage& index, const IImage& image, const IImage* mask) {
    if (mask != nullptr) {
        MaskOutOrientations(index, *mask, EXCLUDED);
        return true;
    }
    constexpr double OTSU_FACTOR = 1.05;
    const std::optional<double> threshold = Impl::ForegroundThreshold(image, OTSU_FACTOR);
    if (!threshold) {
        return false;
    }
    MaskOutOrientations(index, image, *threshold, EXCLUDED);
    return true;
}

void CFilterOrientations::MaskOutOrientations(IImage& index, const IImage& image, double threshold,
                                              unsigned char label) {
    Impl::ForGreyPixels(image,
                        TEVRA_LOCATION(SOURCE, "TEVRA::CFilterOrientations::MaskOutOrientations", __LINE__),
                        [&]<typename PixelT>() {
                            const auto numbers = Impl::WritablePixelsOf<unsigned char>(index, "index image");
                            const auto values = Impl::PixelsOf<PixelT>(image, "input image");
                            for (long long z = 0; z < numbers.Size(2); ++z) {
                                for (long long y = 0; y < numbers.Size(1); ++y) {
                                    const Impl::CPixelRow number(numbers, y, z);
                                    const Impl::CPixelRow value(values, y, z);
                                    for (long long x = 0; x < numbers.Size(0); ++x) {
                                        if (threshold > static_cast<double>(value[x])) {
                                            number[x] = label;
                                        }
                                    }
                                }
                            }
                        });
}

void CFilterOrientations::MaskOutOrientations(IImage& index, const IImage& mask, unsigned char label) {
    constexpr const char* function = "TEVRA::CFilterOrientations::MaskOutOrientations";
    if (!(mask.Size() == index.Size())) {
        throw_at(function, __LINE__, "Mask and orientation images must have compatible sizes.");
    }
    if (!(mask.Type() == IMAGE_BINARY_FG) && !(mask.Type() == IMAGE_BOOL)) {
        throw_at(function, __LINE__, "Mask image must be BINARY_FG or BOOL.");
    }
    typed_mask_out(index, mask, label);
}

double CFilterOrientations::ComputeThreshold(const IImage& image, double factor) {
    constexpr double NONE = std::numeric_limits<double>::quiet_NaN();
    return Impl::ForegroundThreshold(image, factor).value_or(NONE);
}

} // namespace TEVRA
