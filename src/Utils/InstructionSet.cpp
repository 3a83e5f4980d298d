// SPDX-License-Identifier: BSD-3-Clause
#include "Utils/InstructionSet.h"

#include <array>
#include <cstdlib>

namespace TEVRA::Impl {
namespace {

constexpr std::array<std::string_view, 3> NAMES{"baseline", "avx2", "avx512"};

EInstructionSet choose() noexcept {
    const char* wanted =
        std::getenv("TEVRA_INSTRUCTION_SET"); // NOLINT(concurrency-mt-unsafe): never set here
    if (wanted != nullptr) {
        const std::optional<EInstructionSet> named = InstructionSetNamed(wanted);
        if (named && IsSupported(*named)) {
            return *named;
        }
    }
    EInstructionSet best = EInstructionSet::baseline;
    for (const EInstructionSet set : INSTRUCTION_SETS) {
        best = IsSupported(set) ? set : best;
    }
    return best;
}

} // namespace

std::string_view NameOf(EInstructionSet set) noexcept {
    return NAMES[static_cast<std::size_t>(set)];
}

std::optional<EInstructionSet> InstructionSetNamed(std::string_view name) noexcept {
    for (const EInstructionSet set : INSTRUCTION_SETS) {
        if (NameOf(set) == name) {
            return set;
        }
    }
    return std::nullopt;
}

bool IsSupported([[maybe_unused]] EInstructionSet set) noexcept {
#ifdef __x86_64__
    if (set == EInstructionSet::avx2) {
        return __builtin_cpu_supports("avx2") != 0;
    }
    if (set == EInstructionSet::avx512) {
        return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
               __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0;
    }
#endif
    return set == EInstructionSet::baseline;
}

EInstructionSet BestInstructionSet() noexcept {
    static const EInstructionSet best = choose();
    return best;
}

} // namespace TEVRA::Impl
