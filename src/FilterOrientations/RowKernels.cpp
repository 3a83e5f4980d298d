// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/RowKernels.h"

namespace TEVRA::Impl {

void ForegroundOfRow(const float* smoothed, std::size_t count, double threshold, unsigned char* foreground,
                     EInstructionSet /*set*/) {
    for (std::size_t x = 0; x < count; ++x) {
        foreground[x] = static_cast<double>(smoothed[x]) > threshold ? 1 : 0;
    }
}

template <std::size_t Dim>
std::size_t AxesOfRow(const HessianRows<Dim>& hessian, const unsigned char* foreground, std::size_t count,
                      EEigenvalue which, const StAngleRow& angles, EInstructionSet /*set*/) {
    CHessianAxis<Dim> kernel(which);
    std::array<double, Dim> axis{};
    std::size_t found = 0;
    for (std::size_t x = 0; x < count; ++x) {
        angles.theta[x] = Dim == 3 ? NO_COLATITUDE : NO_ANGLE;
        if constexpr (Dim == 3) {
            angles.phi[x] = NO_ANGLE;
        }
        if (foreground[x] == 0) {
            continue;
        }
        std::size_t entry = 0;
        for (std::size_t row = 0; row < Dim; ++row) {
            for (std::size_t col = row; col < Dim; ++col) {
                kernel.Set(row, col, static_cast<double>(hessian[entry++][x]));
            }
        }
        if (!kernel.Compute(axis)) {
            continue;
        }
        ++found;
        if constexpr (Dim == 3) {
            const StAxisAngles both = AnglesOfAxis(axis);
            angles.theta[x] = both.colatitudeRad;
            angles.phi[x] = both.longitudeRad;
        } else {
            angles.theta[x] = AngleOfAxis(axis);
        }
    }
    return found;
}

template <std::size_t Dim>
void AddRow(CSecondOrderSums<Dim>& second, CFourthOrderSums<Dim>* fourth, const StConstAngleRow& angles,
            std::size_t count, EInstructionSet /*set*/) {
    for (std::size_t x = 0; x < count; ++x) {
        if (!(angles.theta[x] >= 0.0F)) {
            continue;
        }
        std::array<double, Dim> axis{};
        if constexpr (Dim == 3) {
            axis = AxisOfAngles(angles.theta[x], angles.phi[x]);
        } else {
            axis = AxisOfAngle(angles.theta[x]);
        }
        second.Add(axis);
        if (fourth != nullptr) {
            fourth->Add(axis);
        }
    }
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
