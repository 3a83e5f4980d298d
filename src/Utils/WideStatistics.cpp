// SPDX-License-Identifier: BSD-3-Clause
// Compiled once per instruction set: no inline functions of the standard library here (see
// tevra_add_wide_sources).
#include "Utils/HistogramBin.h"
#include "Utils/RowStatistics.h"
#include "Utils/StatisticsKernels.h"

namespace TEVRA::Impl::statistics::TEVRA_WIDE {
namespace {

/// Values that are compared side by side, enough to keep the widest registers busy.
constexpr std::size_t STRIPES = 64;

// Every comparison with NaN is false, so NaN changes nothing.
TEVRA_LANES_INLINE float smaller(float value, float lo) {
    return value < lo ? value : lo;
}

TEVRA_LANES_INLINE float larger(float value, float hi) {
    return value > hi ? value : hi;
}

void extend(SExtent& extent, const float* row, std::size_t count) {
    float lo[STRIPES];
    float hi[STRIPES];
    for (std::size_t stripe = 0; stripe < STRIPES; ++stripe) {
        lo[stripe] = extent.lo;
        hi[stripe] = extent.hi;
    }
    std::size_t x = 0;
    for (; x + STRIPES <= count; x += STRIPES) {
        for (std::size_t stripe = 0; stripe < STRIPES; ++stripe) {
            lo[stripe] = smaller(row[x + stripe], lo[stripe]);
            hi[stripe] = larger(row[x + stripe], hi[stripe]);
        }
    }
    for (; x < count; ++x) {
        lo[0] = smaller(row[x], lo[0]);
        hi[0] = larger(row[x], hi[0]);
    }
    for (std::size_t stripe = 0; stripe < STRIPES; ++stripe) {
        extent.lo = smaller(lo[stripe], extent.lo);
        extent.hi = larger(hi[stripe], extent.hi);
    }
}

void bins_of_row(const SBinning& binning, const float* row, std::size_t count, unsigned short* bins) {
    const float min = binning.min;
    const float max = binning.max;
    const auto most = static_cast<float>(binning.bins); // exact, as is every bin's number
    const auto none = static_cast<int>(binning.bins);
    for (std::size_t x = 0; x < count; ++x) {
        float position = HistogramPosition(row[x], min, max, most);
        position = position >= 1.0F ? position : 0.0F;
        position = position >= most ? most - 1.0F : position;
        const int bin = static_cast<int>(position);
        bins[x] = static_cast<unsigned short>(row[x] == row[x] ? bin : none);
    }
}

} // namespace

extern const SStatisticsKernels STATISTICS_KERNELS{extend, bins_of_row};

} // namespace TEVRA::Impl::statistics::TEVRA_WIDE
