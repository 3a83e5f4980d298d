// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>

namespace TEVRA {

class IImage;

namespace Impl {

/// Factor on Otsu's threshold, unless the caller gives another one.
inline constexpr double DEFAULT_OTSU_FACTOR = 1.25;

/// Bins of the histogram from which a float image's threshold is taken.
inline constexpr unsigned long long FLOAT_HISTOGRAM_BINS = 256;

/// Grey value of an Otsu bin of a float image's histogram over [min, max], its position in that range scaled
/// by the factor. The division is done in single precision.
inline double ThresholdOfFloatBin(unsigned long long bin, double factor, float min, float max) {
    const float position = static_cast<float>(bin) / static_cast<float>(FLOAT_HISTOGRAM_BINS);
    return static_cast<double>(position) * factor * (static_cast<double>(max) - static_cast<double>(min)) +
           static_cast<double>(min);
}

/// Grey-value threshold of the foreground: Otsu's bin, moved up or down by a factor.
///
/// 8 and 16 bit: bin * factor. Float: `ThresholdOfFloatBin` of a histogram over the image's range. NaN is
/// left out. Reports to the calling thread's progress monitor and asks it whether to go on.
/// @param image GREY_8, GREY_16 or GREY_F.
/// @return none if the monitor cancelled: a part of an image has no threshold.
/// @throws CException for another type, and for a float image without two different values.
std::optional<double> ForegroundThreshold(const IImage& image, double factor);

} // namespace Impl
} // namespace TEVRA
