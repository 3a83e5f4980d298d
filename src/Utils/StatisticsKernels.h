// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

/// What the file that is compiled once per instruction set offers to RowStatistics.cpp.
namespace TEVRA::Impl {

struct SExtent;
struct SBinning;

struct SStatisticsKernels {
    void (*extend)(SExtent& extent, const float* row, std::size_t count);
    void (*bins)(const SBinning& binning, const float* row, std::size_t count, unsigned short* bins);
};

namespace statistics {
namespace baseline {
extern const SStatisticsKernels STATISTICS_KERNELS;
}
namespace avx2 {
extern const SStatisticsKernels STATISTICS_KERNELS;
}
namespace avx512 {
extern const SStatisticsKernels STATISTICS_KERNELS;
}
} // namespace statistics

} // namespace TEVRA::Impl
