// SPDX-License-Identifier: BSD-3-Clause
#include "Utils/RowStatistics.h"

#include "Utils/StatisticsKernels.h"

namespace TEVRA::Impl {
namespace {

const SStatisticsKernels& kernels_of(EInstructionSet set) {
    return LoopsFor<statistics::baseline::STATISTICS_KERNELS, statistics::avx2::STATISTICS_KERNELS,
                    statistics::avx512::STATISTICS_KERNELS>(set);
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
