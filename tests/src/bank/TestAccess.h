// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterOrientations/EstimationBeta.h"

#include <array>

namespace TEVRA {

/// The private members of the filter bank and the beta estimate whose edge cases no public operation reaches.
struct CTestAccess {
    struct SPrincipalAxis {
        std::array<double, 3> axis;
        CEstimationBeta::EDistributionType type;
    };

    /// The axis is all 9 where it was not written.
    static SPrincipalAxis PrincipalAxis(std::vector<double> x, std::vector<double> y, std::vector<double> z,
                                        CEstimationBeta::EDistributionType type, bool typeGiven) {
        SPrincipalAxis result{{9.0, 9.0, 9.0}, type};
        CEstimationBeta(nullptr, nullptr)
            .principalAxis(x.data(), y.data(), z.data(), &result.type, result.axis.data(),
                           static_cast<int>(x.size()), typeGiven);
        return result;
    }
    static int IndexOfSmallest(double a, double b, double c) {
        return CEstimationBeta(nullptr, nullptr).indMin(a, b, c);
    }
    static int IndexOfLargest(double a, double b, double c) {
        return CEstimationBeta(nullptr, nullptr).indMax(a, b, c);
    }
};

} // namespace TEVRA
