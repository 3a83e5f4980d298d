// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "LocalTensors/PlaneKernels.h"
#include "Numeric/InstructionSet.h"

namespace TEVRA::Impl {

inline const SPlaneKernels& PlaneKernelsOf(EInstructionSet set) {
    return LoopsFor<planes::baseline::PLANE_KERNELS, planes::avx2::PLANE_KERNELS,
                    planes::avx512::PLANE_KERNELS>(set);
}

} // namespace TEVRA::Impl
