// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

/// What the file that is compiled once per instruction set offers to RowStatistics.cpp.
namespace TEVRA::Impl {

struct StExtent;
struct StBinning;

struct StStatisticsKernels {
    void (*extend)(StExtent& extent, const float* row, std::size_t count);
    void (*bins)(const StBinning& binning, const float* row, std::size_t count, unsigned short* bins);
};

namespace statistics {
namespace baseline {
extern const StStatisticsKernels STATISTICS_KERNELS;
}
#ifdef TEVRA_WIDE_X86
namespace avx2 {
extern const StStatisticsKernels STATISTICS_KERNELS;
}
namespace avx512 {
extern const StStatisticsKernels STATISTICS_KERNELS;
}
#endif
} // namespace statistics

} // namespace TEVRA::Impl
