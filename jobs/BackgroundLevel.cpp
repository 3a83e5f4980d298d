// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/BackgroundLevel.h"

#include "FilterOrientations/FilterOrientations.h"
#include "Utils/Threshold.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>

namespace TEVRA::jobs {

namespace {

/// Calls `work` with the pixels of a grey-value image as a span of their C type.
template <typename WorkT>
auto with_pixels(const CImage& image, WorkT work) {
    const auto count = static_cast<std::size_t>(image.Size().Elements());
    if (image.Type() == IMAGE_GREY_8) {
        return work(std::span(image.Pixels<unsigned char>(), count));
    }
    if (image.Type() == IMAGE_GREY_16) {
        return work(std::span(image.Pixels<unsigned short>(), count));
    }
    return work(std::span(image.Pixels<float>(), count));
}

/// Calls `work` with the number of every pixel, and whether it is near the border.
template <typename WorkT>
void for_each_pixel(const CSize& size, const std::vector<long long>& reachPx, WorkT work) {
    const auto is_near_end = [&](int axis, long long p) {
        if (axis >= size.Dim()) {
            return false;
        }
        const long long reach = reachPx[static_cast<std::size_t>(axis)];
        return p < reach || p >= size[axis] - reach;
    };
    std::size_t pixel = 0;
    for (long long z = 0; z < (size.Dim() == 3 ? size[2] : 1); ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            const bool isRowNear = is_near_end(1, y) || is_near_end(2, z);
            for (long long x = 0; x < size[0]; ++x) {
                work(pixel++, isRowNear || is_near_end(0, x));
            }
        }
    }
}

/// The lower median; the values are reordered.
template <typename T>
double median(std::vector<T>& values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
    std::nth_element(values.begin(), middle, values.end());
    return static_cast<double>(*middle);
}

bool leaves_pixels_out(const CImage* mask) {
    if (mask == nullptr) {
        return false;
    }
    const auto* first = mask->Pixels<unsigned char>();
    return std::any_of(first, first + mask->Size().Elements(),
                       [](unsigned char pixel) { return pixel == 0; });
}

} // namespace

SGreySplit SplitGreyValues(const CImage& image) {
    return with_pixels(image, [&image]<typename PixelT>(std::span<const PixelT> pixels) -> SGreySplit {
        const auto [least, greatest] = std::minmax_element(pixels.begin(), pixels.end());
        const auto darkest = static_cast<double>(*least);
        const auto brightest = static_cast<double>(*greatest);
        if (*least == *greatest) {
            return {darkest, std::nextafter(darkest, HUGE_VAL), darkest, brightest};
        }
        constexpr bool IS_FLOAT = std::is_same_v<PixelT, float>;
        const double binWidth =
            IS_FLOAT ? (brightest - darkest) / static_cast<double>(Impl::FLOAT_HISTOGRAM_BINS) : 1.0;
        const double position = CFilterOrientations::ComputeThreshold(image, 1.0);
        return {position, position + binWidth, darkest, brightest};
    });
}

double BackgroundLevel(const CImage& image, const SGreySplit& split, const CImage* mask,
                       const std::vector<long long>& reachPx) {
    const auto* const isFiber = leaves_pixels_out(mask) ? mask->Pixels<unsigned char>() : nullptr;
    return with_pixels(image, [&]<typename PixelT>(std::span<const PixelT> pixels) {
        const auto is_background = [&](std::size_t i) {
            return isFiber != nullptr ? isFiber[i] == 0 : static_cast<double>(pixels[i]) < split.darkEnd;
        };
        std::vector<PixelT> values;
        for_each_pixel(image.Size(), reachPx, [&](std::size_t i, bool isNearBorder) {
            if (isNearBorder && is_background(i)) {
                values.push_back(pixels[i]);
            }
        });
        if (values.empty()) {
            for (std::size_t i = 0; i < pixels.size(); ++i) {
                if (is_background(i)) {
                    values.push_back(pixels[i]);
                }
            }
        }
        return median(values);
    });
}

double ForegroundThreshold(const SGreySplit& split, double background) {
    constexpr double OTSU_FACTOR = 1.05; // as of the filter bank itself
    const double threshold = background + OTSU_FACTOR * (split.position - background);
    return threshold > split.darkest ? threshold : split.darkEnd;
}

std::unique_ptr<CImage> PixelsFrom(const CImage& image, double threshold) {
    auto mask = std::make_unique<CImage>(IMAGE_BINARY_FG, image.Size(), CSize(0, 0, 0));
    auto* const foreground = mask->Pixels<unsigned char>();
    with_pixels(image, [&](const auto& pixels) {
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            foreground[i] = static_cast<double>(pixels[i]) >= threshold ? 1 : 0;
        }
    });
    return mask;
}

SFlatImage WithoutBackground(const CImage& image, const SGreySplit& split, double background) {
    constexpr int LARGEST_EXPONENT = -3; // of values below 2^-3
    const double largest = std::max(split.brightest - background, background - split.darkest);
    int exponent = 0;
    std::frexp(largest, &exponent); // largest < 2^exponent
    const double scale = std::ldexp(1.0, LARGEST_EXPONENT - exponent);
    auto flat = std::make_unique<CImage>(IMAGE_GREY_F, image.Size(), CSize(0, 0, 0));
    auto* const values = flat->Pixels<float>();
    with_pixels(image, [&](const auto& pixels) {
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            values[i] = static_cast<float>((static_cast<double>(pixels[i]) - background) * scale);
        }
    });
    return {std::move(flat), background, scale};
}

} // namespace TEVRA::jobs
