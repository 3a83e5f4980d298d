// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Subfields/SubfieldLayout.h"
#include "Subfields/Tensors.h"
#include "zeklib2image/Box.h"

#include <array>
#include <optional>
#include <string>

namespace TEVRA::Impl {

/// What an orientation tensor tells. Vectors have as many components as the tensor's dimension; the rest is
/// 0.
struct STensorValues {
    STensor2 tensor;
    STensor4 tensor4;                      ///< empty if not asked for
    std::array<double, 3> eigenvalues{};   ///< largest first
    std::array<double, 3> meanDirection{}; ///< unit eigenvector of the largest one, of either sign
    double anisotropy = 0.0;               ///< 1 - smallest / largest eigenvalue; 0 if all are 0
};

/// @param sums of the outer products of `count` axes; the tensors are divided by the count unless it is 0 or
///        below. @param sums4 the matching fourth-order sums, or empty.
STensorValues EvaluateTensor(const STensor2& sums, long long count, const STensor4& sums4);

/// What there is to say about a field's values.
enum class EFieldStatus {
    ok,
    lowFraction,  ///< so few foreground pixels that the values may be inaccurate
    noForeground, ///< no foreground pixel at all
    noSubfields   ///< an average of no subfields
};

/// As the result document and tables say it.
const char* StatusText(EFieldStatus status);

/// The status of a share of foreground pixels: below 1 % is too low.
EFieldStatus StatusOfFraction(double fraction);

/// One field: the whole evaluated area or a subfield.
struct SFieldResult {
    CBox box{0, 0, 0, 0, 0, 0}; ///< in pixels; the upper corner is exclusive
    TileIndex index{};          ///< of the subfield along x, y, z
    std::string identifier;     ///< as in "(005,105)"; of subfields only
    long long pixels = 0;
    long long foregroundPixels = 0; ///< those with an axis
    double foregroundFraction = 0.0;
    /// How sure the axes are on average, in [0, 1]; none where there are none, or the estimator does not know.
    std::optional<double> meanConfidence{};
    /// The share of axes below DOUBTFUL_CONFIDENCE, of estimators whose confidence is absolute.
    std::optional<double> doubtfulFraction{};
    STensorValues values;
    EFieldStatus status = EFieldStatus::ok;
    double differenceRad = 0.0; ///< of subfields: angle to the whole field's mean direction, [0, pi/2]
};

/// The angle between two mean directions as axes, in radians, in [0, pi/2].
/// @param own, other unit vectors. @param count of their components.
double DifferenceOfDirections(const double* own, const double* other, std::size_t count);

} // namespace TEVRA::Impl
