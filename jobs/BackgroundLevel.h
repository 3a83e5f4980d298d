// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Image.h"

#include <memory>
#include <vector>

namespace TEVRA::jobs {

// Fibers, their background, and an image without it. Images are GREY_8, GREY_16 or GREY_F with at least one
// pixel, all finite; masks are BINARY_FG of the image's size.

/// How Otsu's method splits the grey values of an image in a darker and a brighter class.
struct SGreySplit {
    double position;  ///< as the threshold is counted: the lower end of the darker class's last bin
    double darkEnd;   ///< values below are of the darker class
    double darkest;   ///< smallest grey value
    double brightest; ///< largest grey value
};

/// The split by a histogram of one bin per value, of float images of 256 bins. Where all values are equal,
/// all are dark.
SGreySplit SplitGreyValues(const CImage& image);

/// The grey level of what is between the fibers at the border of an image: what the image is to be continued
/// by where a filter reaches beyond it.
///
/// It is the median of the background within `reachPx` of the border (per axis), of all of the background
/// if there is none. A median is not moved by the noise, nor by the few pixels of fibers' edges; only the
/// border counts, because a frame is felt nowhere else. Background is what is outside the mask; without a
/// mask, or with one that leaves nothing out, what is of the darker class. Of an even number of pixels the
/// lower one of the two in the middle counts, so that the level is a grey value of the image.
double BackgroundLevel(const CImage& image, const SGreySplit& split, const CImage* mask,
                       const std::vector<long long>& reachPx);

/// The grey value from which on pixels are fibers: background + 1.05 * (split - background).
///
/// On a background of 0 that is what the filter bank itself takes for integer images. Counted from the
/// background it moves with it. It is always above the darker class's darkest value: where there are two
/// values only, the brighter one is fiber.
double ForegroundThreshold(const SGreySplit& split, double background);

/// BINARY_FG: the pixels of at least this grey value.
std::unique_ptr<CImage> PixelsFrom(const CImage& image, double threshold);

/// An image without its background, GREY_F: (grey value - background) * scale.
///
/// The scale is a power of two, so that it costs no accuracy, for which no value is above 1/8: answers of
/// filters with a gain of 1 then stay above -1, below which the filter bank takes none.
struct SFlatImage {
    std::unique_ptr<CImage> image;
    double background;
    double scale;
};
SFlatImage WithoutBackground(const CImage& image, const SGreySplit& split, double background);

} // namespace TEVRA::jobs
