// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/RunRecord.h"
#include "report/Sections.h"

#include "Subfields/AnalysisResult.h"

#include <string>

namespace TEVRA::report {

// Pictures for slides, without a browser: PNG files with legends, in the colors of the report.

/// The middle section across each axis (2D: the image) with the direction of fibers as color over the grey values.
std::string SectionsPng(const Impl::SAnalysisResult& result, const SRunRecord& record,
                        const SPictureData& pictures);

/// The pole figure, in 2D the rose of directions.
std::string DirectionsPng(const Impl::SAnalysisResult& result, const SPictureData& pictures);

/// Tensor components of the subfields, averaged slice by slice, along each axis. For a result that lists subfields.
std::string ProfilesPng(const Impl::SAnalysisResult& result, const SRunRecord& record,
                        const SPictureData& pictures);

} // namespace TEVRA::report
