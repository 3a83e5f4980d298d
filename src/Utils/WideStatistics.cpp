// SPDX-License-Identifier: BSD-3-Clause
// Compiled once per instruction set: no inline functions of the standard library here (see
// tevra_add_wide_sources).
#include "Utils/HistogramBin.h"
#include "Utils/RowStatistics.h"
#include "Utils/StatisticsKernels.h"

namespace TEVRA::Impl::statistics::TEVRA_WIDE {
namespace {

/// Values that are compared side by side, enough to keep the widest registers busy.
constexpr std::size_t PARTIALS = 64;

// Every comparison with NaN is false, so NaN changes nothing.
TEVRA_LANES_INLINE float smaller(float value, float lo) {
    return value < lo ? value : lo;
}

TEVRA_LANES_INLINE float larger(float value, float hi) {
    return value > hi ? value : hi;
}

void extend(SExtent& extent, const float* row, std::size_t count) {
    float lo[PARTIALS];
    float hi[PARTIALS];
    for (std::size_t partial = 0; partial < PARTIALS; ++partial) {
        lo[partial] = extent.lo;
        hi[partial] = extent.hi;
    }
    std::size_t x = 0;
    for (; x + PARTIALS <= count; x += PARTIALS) {
        for (std::size_t partial = 0; partial < PARTIALS; ++partial) {
            lo[partial] = smaller(row[x + partial], lo[partial]);
            hi[partial] = larger(row[x + partial], hi[partial]);
        }
    }
    for (; x < count; ++x) {
        lo[0] = smaller(row[x], lo[0]);
        hi[0] = larger(row[x], hi[0]);
    }
    for (std::size_t partial = 0; partial < PARTIALS; ++partial) {
        extent.lo = smaller(lo[partial], extent.lo);
        extent.hi = larger(hi[partial], extent.hi);
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
