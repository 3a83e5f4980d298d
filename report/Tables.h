// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Subfields/AnalysisResult.h"

#include <array>
#include <optional>
#include <string>

namespace TEVRA::report {

/// A direction that mean directions are held against: a unit vector; the third component is 0 in 2D.
using Reference = std::array<double, 3>;

/// A subfield's identifier in a form that needs no quoting: "s005_105" of "(005,105)".
std::string SubfieldId(const Impl::SFieldResult& subfield);

/// Whether a field has foreground to be measured: the zeros of one without would look like results.
bool HasValues(const Impl::SFieldResult& field);

/// Rows of tables that are written between two questions to the calling thread's monitor whether to go on: some
/// milliseconds. Whatever here goes through all subfields asks. @throws CCancelled if not.
inline constexpr long long FIELDS_BETWEEN_POLLS = 1024;

/// The centre of a field as lengths from the outer edge of the image's first pixel: that of pixels 0 to 9 of
/// spacing 1 is 5.
std::array<double, 3> CentreOf(const Impl::SFieldResult& field, const Impl::SAnalysisResult& result);
/// As in "center_x_mm"; "center_x" where the unit has no name.
std::string CentreHeader(int axis, const std::string& lengthUnit);

/// The listed subfields of a result as a table, one row each, x fastest; empty if it lists none.
///
/// Columns (those of z in 3D only):
/// - `id`: as SubfieldId;
/// - `x0_px`, `y0_px`, `z0_px`, `x1_px`, `y1_px`, `z1_px`: its corners in pixels, the upper ones exclusive;
/// - `center_x_UNIT`, ...: as CentreOf;
/// - `foreground_pixels`, `foreground_fraction`: pixels with an axis, and their share of the subfield;
/// - `mean_confidence`, `doubtful_fraction`: how sure its axes are on average, and the share of those below
///   Impl::DOUBTFUL_CONFIDENCE; empty where the estimator does not say;
/// - `status`: "ok", or what is wrong with the values;
/// - `a_xx`, `a_xy`, `a_xz`, `a_yy`, `a_yz`, `a_zz`: orientation tensor;
/// - `lambda_1`, `lambda_2`, `lambda_3`: its eigenvalues, largest first;
/// - `mean_x`, `mean_y`, `mean_z`: mean direction, a unit vector whose sign means nothing;
/// - `anisotropy`: 1 - smallest / largest eigenvalue;
/// - `difference_rad`: angle between this and the whole field's mean direction, [0, pi/2];
/// - `woodcock_shape`, `woodcock_strength`: as Impl::ShapeAndStrength, in 3D;
/// - `reference_angle_deg`: angle between the mean direction and the reference as axes, [0, 90], if there is one.
///
/// A header line, then rows as Csv.h tells. Values of a subfield without foreground (from `a_xx` on) are empty
/// cells.
/// @param lengthUnit unit of the result's lengths, as in "mm" or "px"; may be empty.
std::string SubfieldsCsv(const Impl::SAnalysisResult& result, const std::string& lengthUnit,
                         const std::optional<Reference>& reference = {});

/// The fourth-order tensors of the listed subfields, one row each as in SubfieldsCsv: `id`, and the components
/// with ascending indices, `a_xxxx`, `a_xxxy`, ..., 15 in 3D and 5 in 2D. The others are equal to these.
std::string FourthOrderCsv(const Impl::SAnalysisResult& result);

/// The averaged profiles of a result as a table, one row per axis and slice; empty if it lists no subfields.
///
/// Columns: `axis` ("x", "y" or "z"); `slice_px`, the slice's lower corner along the axis; `position_UNIT`,
/// the same as a length (`position` where the unit has no name); `number_of_subfields` that the averages are
/// made of; then `status` and the rest as in SubfieldsCsv, empty in slices without valid subfields; and the
/// components of FourthOrderCsv, if they were asked for.
/// @param lengthUnit unit of the result's lengths, as in "mm" or "px"; may be empty.
std::string ProfilesCsv(const Impl::SAnalysisResult& result, const std::string& lengthUnit,
                        const std::optional<Reference>& reference = {});

} // namespace TEVRA::report
