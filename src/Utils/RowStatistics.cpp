// SPDX-License-Identifier: BSD-3-Clause
#include "Utils/RowStatistics.h"

#include "Utils/StatisticsKernels.h"

namespace TEVRA::Impl {
namespace {

const SStatisticsKernels& kernels_of([[maybe_unused]] EInstructionSet set) {
#ifdef TEVRA_WIDE_X86
    if (set == EInstructionSet::avx2) {
        return statistics::avx2::STATISTICS_KERNELS;
    }
    if (set == EInstructionSet::avx512) {
        return statistics::avx512::STATISTICS_KERNELS;
    }
#endif
    return statistics::baseline::STATISTICS_KERNELS;
}

} // namespace

void Extend(SExtent& extent, const float* row, std::size_t count, EInstructionSet set) {
    kernels_of(set).extend(extent, row, count);
}

void BinsOfRow(const SBinning& binning, const float* row, std::size_t count, unsigned short* bins,
               EInstructionSet set) {
    kernels_of(set).bins(binning, row, count, bins);
}

} // namespace TEVRA::Impl
