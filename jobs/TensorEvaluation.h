// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace TEVRA::jobs {

/// What is known of an orientation tensor, and what speaks against its being one.
struct STensorEvaluation {
    std::vector<double> eigenvalues;     ///< absolute values, largest first
    std::vector<double> meanOrientation; ///< unit vector whose largest component is positive
    std::optional<double> shape;         ///< 3D only; ln(l1/l2) / ln(l2/l3), may be infinite or NaN
    std::optional<double> strength;      ///< 3D only; ln(l1/l3), may be infinite or NaN
    double trace = 1.0;
    bool hasWrongTrace = false; ///< farther from 1 than components typed with three digits are
    bool hasNegativeEigenvalue = false;
};

/// Why components are no tensor to evaluate; empty if they are one. They are the upper triangle, row by row:
/// xx, xy, xz, yy, yz, zz or, in the plane, xx, xy, yy.
std::string WrongComponents(const std::vector<double>& components);

/// @throws CWorkError with the reason for wrong components.
STensorEvaluation EvaluateTensor(const std::vector<double>& components);

} // namespace TEVRA::jobs
