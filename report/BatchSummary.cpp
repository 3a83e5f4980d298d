// SPDX-License-Identifier: BSD-3-Clause
#include "report/BatchSummary.h"

#include "report/Csv.h"
#include "report/Tables.h"

#include <string_view>
#include <vector>

namespace TEVRA::report {

namespace {

constexpr std::string_view AXES = "xyz";

std::vector<std::string> headers() {
    std::vector<std::string> names{
        "image", "folder", "error", "foreground_fraction", "mean_confidence", "doubtful_fraction", "status"};
    for (std::size_t i = 0; i < AXES.size(); ++i) {
        for (std::size_t j = i; j < AXES.size(); ++j) {
            names.push_back(std::string("a_") + AXES[i] + AXES[j]);
        }
    }
    for (const char* const number : {"1", "2", "3"}) {
        names.push_back(std::string("lambda_") + number);
    }
    for (const char axis : AXES) {
        names.push_back(std::string("mean_") + axis);
    }
    names.emplace_back("anisotropy");
    return names;
}

std::vector<std::string> row(const SBatchEntry& entry) {
    std::vector<std::string> cells{entry.image, entry.folder, entry.error};
    if (!entry.field) {
        cells.resize(headers().size());
        return cells;
    }
    const Impl::SFieldResult& field = *entry.field;
    cells.insert(cells.end(), {CellText(field.foregroundFraction), CellText(field.meanConfidence),
                               CellText(field.doubtfulFraction), StatusText(field.status)});
    const auto add = [&](bool isThere, double number) {
        cells.push_back(isThere && HasValues(field) ? CellText(number) : std::string());
    };
    const auto dim = static_cast<std::size_t>(entry.dim);
    for (std::size_t i = 0; i < AXES.size(); ++i) {
        for (std::size_t j = i; j < AXES.size(); ++j) {
            const bool isThere = j < dim;
            add(isThere, isThere ? field.values.tensor(i, j) : 0.0);
        }
    }
    for (std::size_t i = 0; i < AXES.size(); ++i) {
        add(i < dim, field.values.eigenvalues[i]);
    }
    for (std::size_t i = 0; i < AXES.size(); ++i) {
        add(i < dim, field.values.meanDirection[i]);
    }
    add(true, field.values.anisotropy);
    return cells;
}

} // namespace

std::string BatchSummaryCsv(std::span<const SBatchEntry> entries) {
    std::string table;
    AppendCsvRow(table, headers());
    for (const SBatchEntry& entry : entries) {
        AppendCsvRow(table, row(entry));
    }
    return table;
}

} // namespace TEVRA::report
