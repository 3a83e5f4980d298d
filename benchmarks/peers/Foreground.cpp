// SPDX-License-Identifier: BSD-3-Clause
#include "Foreground.h"

#include "VexoSegmentation/OtsuBin.h"

#include <algorithm>

namespace TEVRA::benchmarks {

double ThresholdOf(std::span<const float> smoothed, double factor) {
    const auto [least, largest] = std::minmax_element(smoothed.begin(), smoothed.end());
    const float min = *least;
    const float range = *largest - min;
    std::array<unsigned long long, 256> histogram{};
    for (const float value : smoothed) {
        ++histogram[std::min(static_cast<std::size_t>((value - min) * 256.0F / range), std::size_t{255})];
    }
    const double position = static_cast<double>(OtsuBin(histogram)) / 256.0;
    return position * factor * static_cast<double>(range) + static_cast<double>(min);
}

double ThresholdOf(std::span<const unsigned char> grey, double factor) {
    std::array<unsigned long long, 256> histogram{};
    for (const unsigned char value : grey) {
        ++histogram[value];
    }
    return static_cast<double>(OtsuBin(histogram)) * factor;
}

} // namespace TEVRA::benchmarks
