// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Subfields/FieldResult.h"

#include <optional>
#include <span>
#include <string>

namespace TEVRA::report {

/// What became of one image of several.
struct SBatchEntry {
    std::string image;  ///< as it was named
    std::string folder; ///< of its results, within that of all
    std::string error;  ///< why there are none; empty if there are
    int dim = 3;
    std::optional<Impl::SFieldResult> field{}; ///< the whole one; none without results
};

/// The whole fields of several images as a table, one row each in their order.
///
/// Columns: `image`; `folder`; `error`, empty if there is none; `foreground_fraction`, of the evaluated area;
/// `mean_confidence` and `doubtful_fraction`; `status`; `a_xx` to `anisotropy` as in SubfieldsCsv. Those of z are
/// empty for images in the plane. A header line and rows as Csv.h tells.
std::string BatchSummaryCsv(std::span<const SBatchEntry> entries);

} // namespace TEVRA::report
