// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "FilterOrientations/HessianOrientations.h"
#include "Numeric/Matrix.h"
#include "zeklib2core/ValueMap.h"

#include <memory>
#include <string>
#include <vector>

namespace TEVRA::Impl {

/// Keys and texts of the result document. Paths are written with "/", as in "Evaluated area/x0".
namespace Key {
inline constexpr const char* FIELD = "Field";
inline constexpr const char* SUBFIELDS = "Subfields";
inline constexpr const char* PROFILES = "Averaged Profile";
inline constexpr const char* BORDER = "Border";
inline constexpr const char* OTSU_FACTOR = "Otsu factor";
inline constexpr const char* FIBER_RADIUS = "Fiber radius";
inline constexpr const char* SUBFIELD_SIZE = "Subfield size";
inline constexpr const char* TENSOR = "Orientation tensor";
inline constexpr const char* TENSOR4 = "Fourth order Orientation tensor";
inline constexpr const char* EIGENVALUES = "Eigenvalues of the orientation tensor";
inline constexpr const char* MEAN_DIRECTION = "Mean fiber direction";
inline constexpr const char* ANISOTROPY = "Anisotropy value";
inline constexpr const char* STATUS = "Status";
inline constexpr const char* AREA = "Evaluated area";
inline constexpr const char* DIFFERENCE = "Difference to global direction";
inline constexpr const char* NUMBER_OF_SUBFIELDS = "Number of subfields";
inline constexpr const char* SLICE_POSITION = "slice position";
inline constexpr const char* PARAMETERS = "parameters";
} // namespace Key

inline constexpr const char* STATUS_OK = "ok";
inline constexpr const char* STATUS_LOW_FRACTION = "Low fiber volume fraction, results may be inaccurate.";
inline constexpr const char* STATUS_NO_FOREGROUND = "No foreground pixels in this subfield.";
inline constexpr const char* STATUS_NO_SUBFIELDS = "no valid subfields";

/// The share of foreground pixels below which a field's status warns.
inline constexpr double LOW_FRACTION = 0.01;

/// Letters of the axes, for keys.
const char* AxisLetter(std::size_t axis);

/// A value with the text.
CValue* NewText(const char* text);

/// The block of values that the document reports for one field.
///
/// @param sums d x d, sum of the second-order tensors of the field's foreground pixels.
/// @param count number of these pixels; the tensor is divided by it unless it is 0 or below.
/// @param fraction share of foreground among the field's pixels.
/// @param sums4 the matching fourth-order sum, null for none.
std::unique_ptr<CValueMap> FieldValues(const CMatrix<double>& sums, long long count, double fraction,
                                       const CTensorRank4* sums4);

/// The tensor that a field's block holds, as a d x d matrix; d = 3 if it has a "zz" component, else 2.
CMatrix<double> TensorOf(const CValueMap& field);

/// A direction map's components in the order x, y and, only where the map holds it, z.
std::vector<double> DirectionOf(const CValueMap& direction);

/// Adds to a field's block the angle in radians, in [0, pi/2], between its mean direction and another one.
void AddDifference(CValueMap& field, const std::vector<double>& direction);

} // namespace TEVRA::Impl
