// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/RunRecord.h"

#include "Subfields/AnalysisResult.h"

#include <string>

namespace TEVRA::report {

/// The fields as an unstructured grid of VTK (XML, numbers in base64): one cell per listed subfield, or one for
/// the whole field where none are listed; a hexahedron, in 2D a quadrilateral at z = 0, with the subfield's
/// corners as lengths from the outer edge of the image's first pixel. Corners that touch are one point.
///
/// Cell data (NaN where there is no foreground):
/// - `orientation_tensor`: xx, xy, xz, yx, yy, yz, zx, zy, zz; those of z are 0 in 2D;
/// - `eigenvalues`: 3, largest first; `mean_axis`: x, y, z, a unit vector whose sign means nothing;
/// - `anisotropy`; `difference_rad`: as in SubfieldsCsv (0 for the whole field);
/// - `foreground_pixels`, `foreground_fraction`;
/// - `mean_confidence`, `doubtful_fraction`: NaN where the estimator does not know;
/// - `status`: 0 ok, 1 low foreground fraction, 2 no foreground;
/// - `lower_px`, `upper_px`: corners in pixels, the upper ones exclusive.
///
/// Field data: `field_tensor`, `field_eigenvalues`, `field_mean_axis` of the whole field, and the texts
/// `length_unit`, `conventions`, `source`.
std::string FieldsVtu(const Impl::SAnalysisResult& result, const SRunRecord& record);

} // namespace TEVRA::report
