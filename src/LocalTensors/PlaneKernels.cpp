// SPDX-License-Identifier: BSD-3-Clause
#include "LocalTensors/PlaneKernels.h"

namespace TEVRA::Impl {

namespace planes {
namespace baseline {
extern const SPlaneKernels PLANE_KERNELS;
}
#ifdef TEVRA_WIDE_X86
namespace avx2 {
extern const SPlaneKernels PLANE_KERNELS;
}
namespace avx512 {
extern const SPlaneKernels PLANE_KERNELS;
}
#endif
} // namespace planes

const SPlaneKernels& PlaneKernelsOf([[maybe_unused]] EInstructionSet set) {
#ifdef TEVRA_WIDE_X86
    if (set == EInstructionSet::avx2) {
        return planes::avx2::PLANE_KERNELS;
    }
    if (set == EInstructionSet::avx512) {
        return planes::avx512::PLANE_KERNELS;
    }
#endif
    return planes::baseline::PLANE_KERNELS;
}

} // namespace TEVRA::Impl
