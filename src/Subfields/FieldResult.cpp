// SPDX-License-Identifier: BSD-3-Clause
#include "Subfields/FieldResult.h"

#include "Subfields/TensorDecomposition.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace TEVRA::Impl {
namespace {

/// The share of foreground pixels below which a field's status warns.
constexpr double LOW_FRACTION = 0.01;

CMatrix<double> matrix_of(const STensor2& tensor) {
    CMatrix<double> matrix(tensor.dim, tensor.dim);
    for (std::size_t i = 0; i < tensor.dim; ++i) {
        for (std::size_t j = 0; j < tensor.dim; ++j) {
            matrix(i, j) = tensor(i, j);
        }
    }
    return matrix;
}

double anisotropy(double largest, double smallest) {
    return std::abs(largest) > std::numeric_limits<double>::epsilon() ? 1.0 - smallest / largest : 0.0;
}

} // namespace

STensorValues EvaluateTensor(const STensor2& sums, long long count, const STensor4& sums4) {
    STensorValues values;
    values.tensor = sums;
    values.tensor4 = sums4;
    if (count > 0) {
        values.tensor /= static_cast<double>(count);
        values.tensor4 /= static_cast<double>(count);
    }
    const STensorDecomposition decomposition = DecomposeTensor(matrix_of(values.tensor));
    for (std::size_t i = 0; i < sums.dim; ++i) {
        values.meanDirection[i] = decomposition.eigenvectors(i, 0);
        values.eigenvalues[i] = decomposition.eigenvalues(i, 0);
    }
    values.anisotropy = anisotropy(values.eigenvalues[0], values.eigenvalues[sums.dim - 1]);
    return values;
}

const char* StatusText(EFieldStatus status) {
    switch (status) {
    case EFieldStatus::ok:
        break;
    case EFieldStatus::lowFraction:
        return "Low fiber volume fraction, results may be inaccurate.";
    case EFieldStatus::noForeground:
        return "No foreground pixels in this subfield.";
    case EFieldStatus::noSubfields:
        return "no valid subfields";
    }
    return "ok";
}

EFieldStatus StatusOfFraction(double fraction) {
    return fraction < LOW_FRACTION ? EFieldStatus::lowFraction : EFieldStatus::ok;
}

double DifferenceOfDirections(const double* own, const double* other, std::size_t count) {
    double cosine = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        cosine += own[i] * other[i];
    }
    const double angle = std::acos(std::clamp(cosine, -1.0, 1.0));
    return std::min(angle, std::numbers::pi - angle);
}

} // namespace TEVRA::Impl
