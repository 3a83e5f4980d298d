// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>
#include <string_view>

namespace TEVRA::Impl {

/// Instruction sets that the kernels are compiled for. All give the same bits; they differ in speed only.
enum class EInstructionSet {
    baseline, ///< What every processor of the platform has.
    avx2,
    avx512 ///< The subsets F, DQ, BW and VL.
};

/// Every set by ascending speed, whether or not this processor has it.
inline constexpr EInstructionSet INSTRUCTION_SETS[] = {EInstructionSet::baseline, EInstructionSet::avx2,
                                                       EInstructionSet::avx512};

/// "baseline", "avx2", "avx512".
std::string_view NameOf(EInstructionSet set) noexcept;

/// The set of that name, if there is one.
std::optional<EInstructionSet> InstructionSetNamed(std::string_view name) noexcept;

/// Whether kernels for the set were built and this processor runs them.
bool IsSupported(EInstructionSet set) noexcept;

/// The set that kernels use unless a caller names one: the fastest that is supported, or the one that the
/// environment variable TEVRA_INSTRUCTION_SET names, if it is supported. Decided once per process.
EInstructionSet BestInstructionSet() noexcept;

} // namespace TEVRA::Impl
