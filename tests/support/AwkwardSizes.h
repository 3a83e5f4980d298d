// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Size.h"

#include <array>
#include <vector>

namespace TEVRA::test {

/// Extents at which code that works on 64 and 128 tends to fail: one, two and three pixels, even, odd, prime,
/// around the width of vector registers, not a multiple of anything.
inline constexpr std::array<long long, 11> AWKWARD_EXTENTS{1, 2, 3, 4, 5, 7, 8, 9, 16, 17, 31};

/// 2D sizes: every awkward extent alone along each axis, in squares and in odd company.
inline std::vector<CSize> AwkwardSizes2D() {
    std::vector<CSize> sizes;
    for (const long long extent : AWKWARD_EXTENTS) {
        sizes.emplace_back(extent, 1);
        sizes.emplace_back(1, extent);
        sizes.emplace_back(extent, extent);
        sizes.emplace_back(extent, 13);
        sizes.emplace_back(12, extent);
    }
    return sizes;
}

/// 3D sizes: every awkward extent along each axis, next to ones and in odd company; small enough to visit
/// all.
inline std::vector<CSize> AwkwardSizes3D() {
    std::vector<CSize> sizes;
    for (const long long extent : AWKWARD_EXTENTS) {
        sizes.emplace_back(extent, 1, 1);
        sizes.emplace_back(1, extent, 1);
        sizes.emplace_back(1, 1, extent);
        sizes.emplace_back(extent, 6, 5);
        sizes.emplace_back(5, extent, 6);
        sizes.emplace_back(6, 5, extent);
    }
    sizes.emplace_back(7, 7, 7);
    sizes.emplace_back(17, 16, 15);
    return sizes;
}

} // namespace TEVRA::test
