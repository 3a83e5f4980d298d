// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/InstructionSet.h"

#include <cstddef>
#include <limits>

namespace TEVRA::Impl {

/// Smallest and largest of some values. Without any, the smallest is above the largest.
struct SExtent {
    float lo = std::numeric_limits<float>::infinity();
    float hi = -std::numeric_limits<float>::infinity();
};

/// Takes the values of a row in, NaN left out.
/// @param set instruction set of the kernel; all give the same numbers.
void Extend(SExtent& extent, const float* row, std::size_t count,
            EInstructionSet set = InstructionSetInUse());

/// Equal bins over [min, max].
struct SBinning {
    /// More have no kernel.
    static constexpr std::size_t MOST_BINS = 4096;

    float min;
    float max;        ///< above min
    std::size_t bins; ///< at most MOST_BINS
};

/// Writes the bin of each value of a row (HistogramBin); `binning.bins`, which is no bin, for NaN.
/// @param bins room for `count` numbers.
void BinsOfRow(const SBinning& binning, const float* row, std::size_t count, unsigned short* bins,
               EInstructionSet set = InstructionSetInUse());

} // namespace TEVRA::Impl
