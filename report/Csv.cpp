// SPDX-License-Identifier: BSD-3-Clause
#include "report/Csv.h"

#include <charconv>
#include <cmath>

namespace TEVRA::report {

namespace {

std::string quoted_where_needed(const std::string& cell) {
    if (cell.find_first_of(",\"\r\n") == std::string::npos) {
        return cell;
    }
    std::string quoted = "\"";
    for (const char c : cell) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    return quoted + '"';
}

} // namespace

std::string CellText(double number) {
    if (std::isnan(number)) {
        return "NaN";
    }
    if (std::isinf(number)) {
        return number > 0 ? "Inf" : "-Inf";
    }
    char text[32]; // the longest shortest double has 24 characters
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

std::string CellText(long long number) {
    return std::to_string(number);
}

std::string CellText(const std::optional<double>& number) {
    return number ? CellText(*number) : std::string();
}

void AppendCsvRow(std::string& table, const std::vector<std::string>& cells) {
    const char* separator = "";
    for (const std::string& cell : cells) {
        table += separator + quoted_where_needed(cell);
        separator = ",";
    }
    table += "\n";
}

} // namespace TEVRA::report
