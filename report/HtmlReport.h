// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/RunRecord.h"
#include "report/Sections.h"

#include "Subfields/AnalysisResult.h"
#include "Utils/TaskRunner.h"

#include <cstddef>
#include <string>
#include <vector>

namespace TEVRA::report {

/// Rows of a table that a report holds at most; of longer ones it says which file has them.
inline constexpr std::size_t MOST_REPORTED_ROWS = 5000;

/// Whether this build has the page that reports are made of; without Node.js it has none.
bool HasReportPage();

/// The planes of each section as reports hold them: compressed, then as text (base64). That takes longest of all that
/// makes a report, so sections are tasks.
std::vector<std::string> PackedSections(const SSections& sections, BytePacker pack, ITaskRunner& runner);

/// Result and record as the page's script reads them: docs/report.md lists the keys. Nothing in it depends on threads,
/// processes, memory or the time of the run.
/// @param pictures null if nothing was kept of the image; else complete.
std::string ReportJson(const Impl::SAnalysisResult& result, const SRunRecord& record,
                       const SPictureData* pictures);

/// The same, written so that it may stand in a script element of a page: without "<", ">" and "&".
std::string ForScriptElement(const std::string& json);

/// One page, which needs no other file and no network. @throws std::logic_error without HasReportPage.
std::string HtmlReport(const Impl::SAnalysisResult& result, const SRunRecord& record,
                       const SPictureData* pictures);

} // namespace TEVRA::report
