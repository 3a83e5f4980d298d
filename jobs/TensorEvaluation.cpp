// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/TensorEvaluation.h"

#include "FilterOrientations/OrientationTensor.h"
#include "Numeric/Matrix.h"
#include "jobs/Failure.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace TEVRA::jobs {

namespace {

// Components are often typed with three digits; a trace off by no more than their rounding is no mistake.
constexpr double TRACE_TOLERANCE = 0.005;
constexpr double LARGEST_COMPONENT = 1e100;             // beyond it, squares overflow
constexpr double NEGATIVE_EIGENVALUE_TOLERANCE = 0.001; // of the trace, for the same reason

CMatrix<double> tensor_of(const std::vector<double>& components) {
    const std::size_t dim = components.size() == 3 ? 2 : 3;
    CMatrix<double> tensor(dim, dim);
    auto next = components.begin();
    for (std::size_t row = 0; row < dim; ++row) {
        for (std::size_t col = row; col < dim; ++col) {
            tensor(row, col) = tensor(col, row) = *next++;
        }
    }
    return tensor;
}

double trace_of(const CMatrix<double>& tensor) {
    double trace = 0.0;
    for (std::size_t i = 0; i < tensor.Rows(); ++i) {
        trace += tensor(i, i);
    }
    return trace;
}

double minor_2x2(const CMatrix<double>& a, std::size_t i, std::size_t j) {
    return a(i, i) * a(j, j) - a(i, j) * a(i, j);
}

double determinant_3x3(const CMatrix<double>& a) {
    return a(0, 0) * minor_2x2(a, 1, 2) - a(0, 1) * (a(0, 1) * a(2, 2) - a(0, 2) * a(1, 2)) +
           a(0, 2) * (a(0, 1) * a(1, 2) - a(0, 2) * a(1, 1));
}

/// A symmetric matrix has no negative eigenvalue exactly when none of its principal minors is negative.
bool has_negative_eigenvalue(CMatrix<double> tensor, double tolerance) {
    const std::size_t dim = tensor.Rows();
    for (std::size_t i = 0; i < dim; ++i) {
        tensor(i, i) += tolerance;
    }
    for (std::size_t i = 0; i < dim; ++i) {
        if (tensor(i, i) < 0.0) {
            return true;
        }
        for (std::size_t j = 0; j < i; ++j) {
            if (minor_2x2(tensor, j, i) < 0.0) {
                return true;
            }
        }
    }
    return dim == 3 && determinant_3x3(tensor) < 0.0;
}

/// A direction and its opposite are one orientation: the largest component is made positive.
void fix_sign(std::vector<double>& direction) {
    const auto largest = std::max_element(direction.begin(), direction.end(),
                                          [](double a, double b) { return std::abs(a) < std::abs(b); });
    const double sign = *largest < 0.0 ? -1.0 : 1.0;
    for (double& component : direction) {
        component = component == 0.0 ? 0.0 : sign * component; // and no -0
    }
}

std::vector<double> elements_of(const CMatrix<double>& column) {
    std::vector<double> elements;
    for (std::size_t i = 0; i < column.Rows(); ++i) {
        elements.push_back(column(i, 0));
    }
    return elements;
}

} // namespace

std::string WrongComponents(const std::vector<double>& components) {
    if (components.size() != 3 && components.size() != 6) {
        return "has " + std::to_string(components.size()) +
               " components; give XX,XY,XZ,YY,YZ,ZZ or, in 2D, XX,XY,YY";
    }
    const bool isSmall = std::all_of(components.begin(), components.end(), [](double component) {
        return std::abs(component) <= LARGEST_COMPONENT; // false for NaN
    });
    return isSmall ? ""
                   : "has components too large to evaluate; those of an orientation tensor lie between -1 "
                     "and 1";
}

STensorEvaluation EvaluateTensor(const std::vector<double>& components) {
    const std::string wrong = WrongComponents(components);
    if (!wrong.empty()) {
        throw CWorkError("the tensor " + wrong);
    }
    const CMatrix<double> tensor = tensor_of(components);
    STensorEvaluation result;
    result.trace = trace_of(tensor);
    result.hasWrongTrace = std::abs(result.trace - 1.0) > TRACE_TOLERANCE;
    result.hasNegativeEigenvalue =
        has_negative_eigenvalue(tensor, NEGATIVE_EIGENVALUE_TOLERANCE * std::abs(result.trace));
    CMatrix<double> column(tensor.Rows(), 1);
    COrientationTensor::Eigenvalues(column, tensor);
    result.eigenvalues = elements_of(column);
    COrientationTensor::MeanOrientation(column, tensor);
    result.meanOrientation = elements_of(column);
    fix_sign(result.meanOrientation);
    if (tensor.Rows() == 3) {
        COrientationTensor::OrientationParameters(result.shape.emplace(), result.strength.emplace(), tensor);
    }
    return result;
}

} // namespace TEVRA::jobs
