// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Subfields/AnalysisResult.h"
#include "zeklib2core/ValueMap.h"

#include <array>
#include <functional>
#include <memory>

namespace TEVRA::Impl {

/// Keys of the result document. Paths are written with "/", as in "Evaluated area/x0".
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
/// By axis.
inline constexpr std::array<const char*, 3> AXES{"x", "y", "z"};
inline constexpr std::array<const char*, 3> LOWER_CORNERS{"x0", "y0", "z0"};
inline constexpr std::array<const char*, 3> UPPER_CORNERS{"x1", "y1", "z1"};
inline constexpr std::array<const char*, 3> DIRECTIONS{"x-Direction", "y-Direction", "z-Direction"};
/// By row and column.
inline constexpr std::array<std::array<const char*, 3>, 3> COMPONENTS{
    {{"xx", "xy", "xz"}, {"yx", "yy", "yz"}, {"zx", "zy", "zz"}}};
} // namespace Key

/// The result as a value tree: for each map below, the keys in the order in which they are set there.
/// @param afterSubfield called after each subfield, of which there may be very many; what it throws passes through.
std::unique_ptr<CValueMap> ResultDocument(const SAnalysisResult& result,
                                          const std::function<void()>& afterSubfield = {});

/// A value with the text.
CValue* NewText(const char* text);

/// The block of values that the document reports for one field.
std::unique_ptr<CValueMap> FieldMap(const STensorValues& values, EFieldStatus status);

/// The name of a profile's entry, as in "slice 005": the slice zero-filled to as many digits as the last one
/// has.
std::string SliceName(long long slicePx, long long lastSlicePx);

/// Adds the "Evaluated area" block to a field's map. @throws CException if the map is null.
void AddSubfieldLimits(CValueMap* map, const CBox& box, int dim);

} // namespace TEVRA::Impl
