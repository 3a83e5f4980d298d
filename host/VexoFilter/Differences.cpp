// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/Differences.h"

#include "VexoFilter/FilterKernels.h"

namespace TEVRA::Impl {

void SecondDifference(std::span<const float> left, std::span<const float> here, std::span<const float> right,
                      std::span<float> out) {
    FilterKernels().secondDifference(left.data(), here.data(), right.data(), out.data(), out.size());
}

void FirstDifference(std::span<const float> left, std::span<const float> right, std::span<float> out) {
    FilterKernels().firstDifference(left.data(), right.data(), out.data(), out.size());
}

} // namespace TEVRA::Impl
