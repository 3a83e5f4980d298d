// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "phantom/RandomNumbers.h"

#include "VexoBase/Cancellation.h"
#include "VexoBase/ProgressMonitor.h"
#include "zeklib2image/Image.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace TEVRA::phantom {

// What all kinds of phantoms are drawn with. Everything here asks the monitor whether to go on. @throws CCancelled.

/// Pixels that are looked at between two such questions.
inline constexpr long long PIXELS_BETWEEN_POLLS = 1LL << 18U;

/// As `std::vector(count, value)`, which takes seconds for large images.
template <typename NumberT>
std::vector<NumberT> Filled(std::size_t count, NumberT value) {
    constexpr auto PIECE = static_cast<std::size_t>(PIXELS_BETWEEN_POLLS);
    std::vector<NumberT> numbers;
    numbers.reserve(count);
    while (numbers.size() < count) {
        const std::size_t piece = std::min(PIECE, count - numbers.size());
        numbers.resize(numbers.size() + piece, value);
        if (piece == PIECE) {
            GoOnOrThrow();
        }
    }
    return numbers;
}

void CopyNumbers(const std::vector<float>& from, float* to);

/// How fibers look.
struct SGreyValues {
    double background;
    double fiber;
    double noiseSd; ///< of Gaussian noise
};

/// Draws an image of type GREY_8 and reports its progress. @param shareOf how much of a pixel is fiber, 0 to 1.
template <typename ShareT>
void DrawImage(CImage& image, const SGreyValues& greys, CRandomNumbers& random, const ShareT& shareOf) {
    auto* const pixels = image.Pixels<unsigned char>();
    const auto slices = static_cast<std::size_t>(image.Size().Dim() == 3 ? image.Size()[2] : 1);
    const std::size_t slicePixels = image.Size().Elements() / slices;
    CProgressReport progress(CProgressMonitor::Obj(), static_cast<long long>(slices), "Drawing the image");
    CPolls polls(PIXELS_BETWEEN_POLLS);
    for (std::size_t slice = 0; slice < slices; ++slice) {
        for (std::size_t pixel = slice * slicePixels; pixel < (slice + 1) * slicePixels; ++pixel) {
            double grey = greys.background + (greys.fiber - greys.background) * shareOf(pixel);
            if (greys.noiseSd > 0.0) {
                grey += greys.noiseSd * random.Normal();
            }
            pixels[pixel] = static_cast<unsigned char>(std::floor(std::clamp(grey, 0.0, 255.0) + 0.5));
            polls.Add(1);
        }
        progress.Step();
        GoOnOrThrow();
    }
}

} // namespace TEVRA::phantom
