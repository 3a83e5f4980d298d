// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Numeric/InstructionSet.h"
#include "VexoFilter/RecursiveGaussian.h"
#include "VexoFilter/SampledGaussian.h"

#include <cstddef>

namespace TEVRA::Impl {

/// The inner loops of the filters, compiled for one instruction set. All give the same bits.
struct SFilterKernels {
    /// Takes each line's state through the walk and leaves it in the planes.
    void (*walk)(const SRecursiveGaussian& filter, const SRecursionPlanes& states,
                 const SRecursionWalk& walk);
    void (*startAnticausal)(const SRecursiveGaussian& filter, const SRecursionPlanes& states,
                            const float* last, std::size_t lines);
    /// As WeightedSum.
    void (*weightedSum)(const SSampledGaussian& kernel, const float* const* rows, float* out,
                        std::size_t count);
    /// As SecondDifference, FirstDifference and MixedDifference of lines.
    void (*secondDifference)(const float* left, const float* here, const float* right, float* out,
                             std::size_t count);
    void (*firstDifference)(const float* left, const float* right, float* out, std::size_t count);
    void (*mixedDifference)(const float* const (&corners)[4], float* out, std::size_t count);
    /// Sample j of rows[i] becomes sample i of row j of `out`; and the way back.
    void (*toColumns)(const float* const* rows, std::size_t count, std::size_t length,
                      const SRows<float>& out);
    void (*toRows)(const SRows<const float>& in, float* const* rows, std::size_t count, std::size_t length);
};

/// The kernels for an instruction set that this processor supports.
const SFilterKernels& FilterKernels(EInstructionSet set = InstructionSetInUse()) noexcept;

} // namespace TEVRA::Impl
