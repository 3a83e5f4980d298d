// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace TEVRA::report {

// Tables as text: comma-separated, quoted as in RFC 4180 where a cell asks for it, line ends LF, which command
// line tools handle better than that text's CR LF.

/// The shortest text that reads back as the same double; NaN, Inf and -Inf stand for themselves.
std::string CellText(double number);
std::string CellText(long long number);
/// Empty if there is none.
std::string CellText(const std::optional<double>& number);

/// Appends a row. Cells with commas, quotes or line breaks are quoted.
void AppendCsvRow(std::string& table, const std::vector<std::string>& cells);

} // namespace TEVRA::report
