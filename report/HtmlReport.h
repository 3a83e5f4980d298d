// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/RunRecord.h"
#include "report/Sections.h"

#include "Subfields/AnalysisResult.h"

#include <cstddef>
#include <string>

namespace TEVRA::report {

/// Rows of a table that a report holds at most; of longer ones it says which file has them.
inline constexpr std::size_t MOST_REPORTED_ROWS = 5000;

/// Whether this build has the page that reports are made of; without Node.js it has none.
bool HasReportPage();

/// Result and record as the page's script reads them: docs/report.md lists the keys. Nothing in it depends on threads,
/// processes, memory or the time of the run.
/// @param pictures null if nothing was kept of the image.
std::string ReportJson(const Impl::SAnalysisResult& result, const SRunRecord& record,
                       const SPictureData* pictures);

/// The same, written so that it may stand in a script element of a page: without "<", ">" and "&".
std::string ForScriptElement(const std::string& json);

/// One page, which needs no other file and no network. @throws std::logic_error without HasReportPage.
std::string HtmlReport(const Impl::SAnalysisResult& result, const SRunRecord& record,
                       const SPictureData* pictures);

} // namespace TEVRA::report
