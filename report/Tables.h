// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Subfields/AnalysisResult.h"

#include <string>

namespace TEVRA::report {

/// The listed subfields of a result as a table, one row each, x fastest; empty if it lists none.
///
/// Columns (those of z in 3D only):
/// - `id`: the subfield's identifier;
/// - `x0_px`, `y0_px`, `z0_px`, `x1_px`, `y1_px`, `z1_px`: its corners in pixels, the upper ones exclusive;
/// - `center_x_UNIT`, ...: its centre as a length (`center_x` where the unit has no name), from the outer edge of
///   the image's first pixel: that of pixels 0 to 9 of spacing 1 is 5;
/// - `foreground_pixels`, `foreground_fraction`: pixels with an axis, and their share of the subfield;
/// - `mean_confidence`, `doubtful_fraction`: how sure its axes are on average, and the share of those below
///   Impl::DOUBTFUL_CONFIDENCE; empty where the estimator does not say;
/// - `status`: "ok", or what is wrong with the values;
/// - `a_xx`, `a_xy`, `a_xz`, `a_yy`, `a_yz`, `a_zz`: orientation tensor;
/// - `lambda_1`, `lambda_2`, `lambda_3`: its eigenvalues, largest first;
/// - `mean_x`, `mean_y`, `mean_z`: mean direction, a unit vector whose sign means nothing;
/// - `anisotropy`: 1 - smallest / largest eigenvalue;
/// - `difference_rad`: angle between this and the whole field's mean direction, [0, pi/2];
/// - `a_xxxx`, `a_xxxy`, ...: fourth-order tensor, the last index fastest, if it was asked for.
///
/// Comma-separated with a header line; cells with commas, quotes or line breaks are quoted as in RFC 4180,
/// line ends are LF, which command line tools handle better than that text's CR LF. Numbers read back as the
/// same doubles; NaN and Inf stand for themselves; a value that there is not is an empty cell.
///
/// Values of a subfield without foreground (from `a_xx` on) are empty cells.
/// @param lengthUnit unit of the result's lengths, as in "mm" or "px"; may be empty.
std::string SubfieldsCsv(const Impl::SAnalysisResult& result, const std::string& lengthUnit);

/// The averaged profiles of a result as a table, one row per axis and slice; empty if it lists no subfields.
///
/// Columns: `axis` ("x", "y" or "z"); `slice_px`, the slice's lower corner along the axis; `position_UNIT`,
/// the same as a length (`position` where the unit has no name); `number_of_subfields` that the averages are
/// made of; then `status` and the rest as in SubfieldsCsv, empty in slices without valid subfields.
/// @param lengthUnit unit of the result's lengths, as in "mm" or "px"; may be empty.
std::string ProfilesCsv(const Impl::SAnalysisResult& result, const std::string& lengthUnit);

} // namespace TEVRA::report
