// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/FilterKernels.h"

namespace TEVRA::Impl {

namespace FilterLoops {
namespace baseline {
extern const SFilterKernels KERNELS;
}
#ifdef TEVRA_WIDE_X86
namespace avx2 {
extern const SFilterKernels KERNELS;
}
namespace avx512 {
extern const SFilterKernels KERNELS;
}
#endif
} // namespace FilterLoops

const SFilterKernels& FilterKernels([[maybe_unused]] EnInstructionSet set) noexcept {
#ifdef TEVRA_WIDE_X86
    if (set == EnInstructionSet::avx512) {
        return FilterLoops::avx512::KERNELS;
    }
    if (set == EnInstructionSet::avx2) {
        return FilterLoops::avx2::KERNELS;
    }
#endif
    return FilterLoops::baseline::KERNELS;
}

const SFilterKernels& FilterKernels() noexcept {
    return FilterKernels(CInstructionSet::InUse());
}

} // namespace TEVRA::Impl
