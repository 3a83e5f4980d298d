// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/RowKernels.h"

#include "FilterOrientations/SegmentKernels.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace TEVRA::Impl {
namespace {

const StSegmentKernels& kernels_of([[maybe_unused]] EInstructionSet set) {
#ifdef TEVRA_WIDE_X86
    if (set == EInstructionSet::avx2) {
        return segments::avx2::SEGMENT_KERNELS;
    }
    if (set == EInstructionSet::avx512) {
        return segments::avx512::SEGMENT_KERNELS;
    }
#endif
    return segments::baseline::SEGMENT_KERNELS;
}

/// Calls `operation(first, count)` for every segment of a row.
template <typename OperationT>
void for_each_segment(std::size_t count, const OperationT& operation) {
    for (std::size_t first = 0; first < count; first += SEGMENT_PIXELS) {
        operation(first, std::min(SEGMENT_PIXELS, count - first));
    }
}

/// Hands Hessians that have no closed form to the decomposition. @return how many have no axis in the end.
template <std::size_t Dim>
std::size_t decompose(const StAxesOfSegment& segment, std::size_t count) {
    if (count == 0) {
        return 0;
    }
    CHessianAxis<Dim> kernel(segment.isSmallest ? EEigenvalue::smallest : EEigenvalue::largest);
    std::size_t failures = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t x = segment.failed[i];
        std::size_t entry = 0;
        for (std::size_t row = 0; row < Dim; ++row) {
            for (std::size_t col = row; col < Dim; ++col) {
                kernel.Set(row, col, static_cast<double>(segment.hessian[entry++][x]));
            }
        }
        std::array<double, Dim> axis{};
        const bool isFound = kernel.Decompose(axis);
        failures += isFound ? 0 : 1;
        if constexpr (Dim == 3) {
            const StAxisAngles angles = isFound ? AnglesOfAxis(axis) : StAxisAngles{NO_COLATITUDE, NO_ANGLE};
            segment.theta[x] = angles.colatitudeRad;
            segment.phi[x] = angles.longitudeRad;
        } else {
            segment.theta[x] = isFound ? AngleOfAxis(axis) : NO_ANGLE;
        }
    }
    return failures;
}

/// The largest single-precision number that is not above `threshold`: the same ones are above both.
float rounded_down(double threshold) {
    const auto nearest = static_cast<float>(threshold);
    return static_cast<double>(nearest) > threshold
               ? std::nextafter(nearest, -std::numeric_limits<float>::infinity())
               : nearest;
}

} // namespace

void ForegroundOfRow(const float* smoothed, std::size_t count, double threshold, unsigned char* foreground,
                     EInstructionSet set) {
    kernels_of(set).exceeding(smoothed, count, rounded_down(threshold), foreground);
}

template <std::size_t Dim>
std::size_t AxesOfRow(const HessianRows<Dim>& hessian, const unsigned char* foreground, std::size_t count,
                      EEigenvalue which, const StAngleRow& angles, EInstructionSet set) {
    const auto kernel = kernels_of(set).axes[Dim - 2];
    std::size_t found = 0;
    std::array<unsigned short, SEGMENT_PIXELS> failed{};
    for_each_segment(count, [&](std::size_t first, std::size_t length) {
        StAxesOfSegment segment{};
        for (std::size_t entry = 0; entry < hessian.size(); ++entry) {
            segment.hessian[entry] = hessian[entry] + first;
        }
        segment.foreground = foreground + first;
        segment.count = length;
        segment.isSmallest = which == EEigenvalue::smallest;
        segment.theta = angles.theta + first;
        segment.phi = Dim == 3 ? angles.phi + first : nullptr;
        segment.failed = failed.data();
        const StAxesFound axes = kernel(segment);
        found += axes.foreground - decompose<Dim>(segment, axes.failed);
    });
    return found;
}

template <std::size_t Dim>
void AddRow(CSecondOrderSums<Dim>& second, CFourthOrderSums<Dim>* fourth, const StConstAngleRow& angles,
            std::size_t count, EInstructionSet set) {
    const auto kernel = kernels_of(set).sums[Dim - 2];
    typename CSecondOrderSums<Dim>::Sums secondSums{};
    typename CFourthOrderSums<Dim>::Sums fourthSums{};
    for_each_segment(count, [&](std::size_t first, std::size_t length) {
        const std::size_t axes =
            kernel({angles.theta + first, Dim == 3 ? angles.phi + first : nullptr, length, secondSums.data(),
                    fourth != nullptr ? fourthSums.data() : nullptr});
        if (axes == 0) {
            return;
        }
        second.Add(secondSums, static_cast<long long>(axes));
        if (fourth != nullptr) {
            fourth->Add(fourthSums);
        }
    });
}

template std::size_t AxesOfRow<2>(const HessianRows<2>&, const unsigned char*, std::size_t, EEigenvalue,
                                  const StAngleRow&, EInstructionSet);
template std::size_t AxesOfRow<3>(const HessianRows<3>&, const unsigned char*, std::size_t, EEigenvalue,
                                  const StAngleRow&, EInstructionSet);
template void AddRow<2>(CSecondOrderSums<2>&, CFourthOrderSums<2>*, const StConstAngleRow&, std::size_t,
                        EInstructionSet);
template void AddRow<3>(CSecondOrderSums<3>&, CFourthOrderSums<3>*, const StConstAngleRow&, std::size_t,
                        EInstructionSet);

} // namespace TEVRA::Impl
