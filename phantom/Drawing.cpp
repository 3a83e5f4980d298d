// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/Drawing.h"

namespace TEVRA::phantom {

void CopyNumbers(const std::vector<float>& from, float* to) {
    constexpr auto PIECE = static_cast<std::size_t>(PIXELS_BETWEEN_POLLS);
    for (std::size_t at = 0; at < from.size(); at += PIECE) {
        std::copy_n(from.data() + at, std::min(PIECE, from.size() - at), to + at);
        GoOnOrThrow();
    }
}

} // namespace TEVRA::phantom
