// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <type_traits>

namespace TEVRA::volume {

/// The extent of grey values; a sum that parts of an image can be added to in any order.
struct SValueRange {
    double lo = std::numeric_limits<double>::infinity(); ///< smallest finite value; infinity if there is none
    double hi =
        -std::numeric_limits<double>::infinity(); ///< largest finite value; -infinity if there is none
    long long nanCount = 0;
    long long infiniteCount = 0;

    /// Whether there is a finite value.
    bool HasFinite() const noexcept { return lo <= hi; }

    void Add(double value) noexcept {
        if (std::isfinite(value)) {
            lo = std::min(lo, value);
            hi = std::max(hi, value);
        } else if (std::isnan(value)) {
            ++nanCount;
        } else {
            ++infiniteCount;
        }
    }
    void Add(const SValueRange& other) noexcept {
        lo = std::min(lo, other.lo);
        hi = std::max(hi, other.hi);
        nanCount += other.nanCount;
        infiniteCount += other.infiniteCount;
    }
};

/// The extent of some pixels.
template <typename PixelT>
SValueRange RangeOf(std::span<const PixelT> pixels) {
    SValueRange range;
    if constexpr (std::is_integral_v<PixelT>) {
        // Compared as they are, many at once.
        PixelT lo = std::numeric_limits<PixelT>::max();
        PixelT hi = std::numeric_limits<PixelT>::min();
        for (const PixelT pixel : pixels) {
            lo = std::min(lo, pixel);
            hi = std::max(hi, pixel);
        }
        if (!pixels.empty()) {
            range.lo = static_cast<double>(lo);
            range.hi = static_cast<double>(hi);
        }
    } else {
        for (const PixelT pixel : pixels) {
            range.Add(static_cast<double>(pixel));
        }
    }
    return range;
}

} // namespace TEVRA::volume
