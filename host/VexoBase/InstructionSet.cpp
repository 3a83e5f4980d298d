// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/InstructionSet.h"

#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <string_view>

namespace TEVRA {
namespace {

/// The best first.
constexpr std::array SETS{EnInstructionSet::avx512, EnInstructionSet::avx2, EnInstructionSet::baseline};

EnInstructionSet chosen_by_default() {
    const char* const wish = std::getenv("TEVRA_INSTRUCTION_SET"); // NOLINT(concurrency-mt-unsafe): read only
    for (const EnInstructionSet set : SETS) {
        if (wish != nullptr && std::string_view(wish) == CInstructionSet::Name(set) &&
            CInstructionSet::IsSupported(set)) {
            return set;
        }
    }
    for (const EnInstructionSet set : SETS) {
        if (CInstructionSet::IsSupported(set)) {
            return set;
        }
    }
    return EnInstructionSet::baseline;
}

std::atomic<EnInstructionSet>& in_use() {
    static std::atomic<EnInstructionSet> s_inUse{chosen_by_default()};
    return s_inUse;
}

} // namespace

bool CInstructionSet::IsSupported(EnInstructionSet set) noexcept {
#if defined(__x86_64__)
    switch (set) {
    case EnInstructionSet::avx512:
        return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
               __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0;
    case EnInstructionSet::avx2:
        return __builtin_cpu_supports("avx2") != 0;
    default:
        return true;
    }
#else
    return set == EnInstructionSet::baseline;
#endif
}

EnInstructionSet CInstructionSet::InUse() noexcept {
    return in_use().load(std::memory_order_relaxed);
}

void CInstructionSet::Use(EnInstructionSet set) {
    if (!IsSupported(set)) {
        const CString message =
            CString("This processor does not have the instruction set '%1'.", CString::eEncodingUtf8)
                .Arg(Name(set));
        throw CExBadParam(
            TEVRA_LOCATION("host/VexoBase/InstructionSet", "TEVRA::CInstructionSet::Use", __LINE__),
            message.c_str());
    }
    in_use().store(set, std::memory_order_relaxed);
}

const char* CInstructionSet::Name(EnInstructionSet set) noexcept {
    switch (set) {
    case EnInstructionSet::avx512:
        return "avx512";
    case EnInstructionSet::avx2:
        return "avx2";
    default:
        return "baseline";
    }
}

} // namespace TEVRA
