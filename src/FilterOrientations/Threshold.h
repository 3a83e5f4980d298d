// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA::Impl {

/// Bins of the histogram from which a float image's threshold is taken.
inline constexpr unsigned long long FLOAT_HISTOGRAM_BINS = 256;

/// Grey value of an Otsu bin of a float image's histogram over [min, max], its position in that range scaled
/// by the factor. The division is done in single precision.
inline double ThresholdOfFloatBin(unsigned long long bin, double factor, float min, float max) {
    const float position = static_cast<float>(bin) / static_cast<float>(FLOAT_HISTOGRAM_BINS);
    return static_cast<double>(position) * factor * (static_cast<double>(max) - static_cast<double>(min)) +
           static_cast<double>(min);
}

} // namespace TEVRA::Impl
