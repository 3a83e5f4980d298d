// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/FilterKernels.h"

namespace TEVRA::Impl {

namespace FilterLoops {
namespace baseline {
extern const SFilterKernels KERNELS;
}
namespace avx2 {
extern const SFilterKernels KERNELS;
}
namespace avx512 {
extern const SFilterKernels KERNELS;
}
} // namespace FilterLoops

const SFilterKernels& FilterKernels(EInstructionSet set) noexcept {
    return LoopsFor<FilterLoops::baseline::KERNELS, FilterLoops::avx2::KERNELS, FilterLoops::avx512::KERNELS>(
        set);
}

} // namespace TEVRA::Impl
