// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/ConfidenceSums.h"

#include <algorithm>
#include <cstdint>

namespace TEVRA::Impl {
namespace {

/// So many pixels cannot overflow 32 bits, which are summed side by side faster than 64.
constexpr std::size_t PIXELS_AT_A_TIME = 64;

} // namespace

void AddConfidenceOfRow(const float* firstAngle, const float* confidence, std::size_t count,
                        SConfidenceSums& sums) {
    constexpr auto PARTS = static_cast<float>(SConfidenceSums::PARTS);
    for (std::size_t first = 0; first < count; first += PIXELS_AT_A_TIME) {
        const std::size_t end = std::min(first + PIXELS_AT_A_TIME, count);
        std::int32_t parts = 0;
        std::int32_t doubtful = 0;
        for (std::size_t at = first; at < end; ++at) {
            const std::int32_t isAxis = firstAngle[at] >= 0.0F ? -1 : 0;
            parts += static_cast<std::int32_t>(confidence[at] * PARTS) & isAxis;
            doubtful -= isAxis & (confidence[at] < DOUBTFUL_CONFIDENCE ? -1 : 0);
        }
        sums.parts += parts;
        sums.doubtful += doubtful;
    }
}

} // namespace TEVRA::Impl
