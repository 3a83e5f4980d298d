// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#ifdef __x86_64__
#include <cpuid.h>
#endif

/// Instruction sets that inner loops are compiled for (`tevra_add_wide_sources`), which of them is in use, and
/// the choice of a table of loops by it. Shared by the host's filters and the library's kernels.
namespace TEVRA::Impl {

/// All give the same bits; they differ in speed only.
enum class EInstructionSet {
    baseline, ///< What every processor of the platform has.
    avx2,     ///< With the conversions F16C, as every processor that has it.
    avx512    ///< The subsets F, DQ, BW and VL.
};

/// Every set by ascending speed, whether or not this processor has it.
inline constexpr std::array INSTRUCTION_SETS{EInstructionSet::baseline, EInstructionSet::avx2,
                                             EInstructionSet::avx512};

/// Whether there are loops for more than the baseline on this platform.
#ifdef __x86_64__
inline constexpr bool HAS_WIDE_LOOPS = true;
#else
inline constexpr bool HAS_WIDE_LOOPS = false;
#endif

/// "baseline", "avx2", "avx512".
constexpr std::string_view NameOf(EInstructionSet set) noexcept {
    constexpr std::array<std::string_view, INSTRUCTION_SETS.size()> NAMES{"baseline", "avx2", "avx512"};
    return NAMES[static_cast<std::size_t>(set)];
}

/// The set of that name, if there is one.
constexpr std::optional<EInstructionSet> InstructionSetNamed(std::string_view name) noexcept {
    for (const EInstructionSet set : INSTRUCTION_SETS) {
        if (NameOf(set) == name) {
            return set;
        }
    }
    return std::nullopt;
}

#ifdef __x86_64__
/// Whether the processor has the conversions F16C, for which not every compiler has a name to ask by.
inline bool ConvertsHalfFloats() noexcept {
    unsigned eax = 0;
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
    return __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_F16C) != 0;
}
#endif

/// Whether loops for the set were built and this processor runs them.
inline bool IsSupported(EInstructionSet set) noexcept {
#ifdef __x86_64__
    if (set == EInstructionSet::avx2) {
        return __builtin_cpu_supports("avx2") != 0 && ConvertsHalfFloats();
    }
    if (set == EInstructionSet::avx512) {
        return ConvertsHalfFloats() && __builtin_cpu_supports("avx512f") != 0 &&
               __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
               __builtin_cpu_supports("avx512vl") != 0;
    }
#endif
    return set == EInstructionSet::baseline;
}

/// The fastest set that this processor supports.
inline EInstructionSet BestInstructionSet() noexcept {
    EInstructionSet best = EInstructionSet::baseline;
    for (const EInstructionSet set : INSTRUCTION_SETS) {
        best = IsSupported(set) ? set : best;
    }
    return best;
}

/// Where the choice is kept: one for the process, as the number of threads is. Results never depend on it.
inline std::atomic<EInstructionSet>& ChosenInstructionSet() noexcept {
    static std::atomic<EInstructionSet> chosen{BestInstructionSet()};
    return chosen;
}

/// The set that loops use unless a caller names one: the best one, or what the application has chosen.
inline EInstructionSet InstructionSetInUse() noexcept {
    return ChosenInstructionSet().load(std::memory_order_relaxed);
}

/// Chooses for the whole process; loops that run at that time may use either set.
/// @throws std::invalid_argument if this processor does not support the set; nothing is changed then.
inline void UseInstructionSet(EInstructionSet set) {
    if (!IsSupported(set)) {
        throw std::invalid_argument("this processor does not have the instruction set '" +
                                    std::string(NameOf(set)) + "', at best '" +
                                    std::string(NameOf(BestInstructionSet())) + "'");
    }
    ChosenInstructionSet().store(set, std::memory_order_relaxed);
}

/// The same by name. @throws std::invalid_argument also for a name that no set has; the text tells those that
/// there are.
inline void UseInstructionSet(std::string_view name) {
    const std::optional<EInstructionSet> set = InstructionSetNamed(name);
    if (!set) {
        std::string known;
        for (const EInstructionSet one : INSTRUCTION_SETS) {
            known += (known.empty() ? "" : ", ") + std::string(NameOf(one));
        }
        throw std::invalid_argument("'" + std::string(name) + "' is no instruction set; there are " + known);
    }
    UseInstructionSet(*set);
}

/// The loops for a set, of tables that are compiled once per set: `const STable& KERNELS` in namespaces of the
/// sets' names, say. Those of wide sets need not be defined on a platform that has none.
template <const auto& Baseline, const auto& Avx2, const auto& Avx512>
const auto& LoopsFor([[maybe_unused]] EInstructionSet set) noexcept {
    if constexpr (HAS_WIDE_LOOPS) {
        if (set == EInstructionSet::avx2) {
            return Avx2;
        }
        if (set == EInstructionSet::avx512) {
            return Avx512;
        }
    }
    return Baseline;
}

} // namespace TEVRA::Impl
