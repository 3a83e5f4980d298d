// SPDX-License-Identifier: BSD-3-Clause
#include "report/Tables.h"

#include <charconv>
#include <cmath>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace TEVRA::report {

namespace {

using Impl::SAnalysisResult;
using Impl::SFieldResult;
using Impl::SProfileSlice;
using Impl::STensorValues;

constexpr std::string_view AXES = "xyz";

std::string cell_text(double number) {
    if (std::isnan(number)) {
        return "NaN";
    }
    if (std::isinf(number)) {
        return number > 0 ? "Inf" : "-Inf";
    }
    char text[32]; // the longest shortest double has 24 characters
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

std::string cell_text(long long number) {
    return std::to_string(number);
}

std::string cell_text(const std::optional<double>& number) {
    return number ? cell_text(*number) : std::string();
}

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

/// A column: its header, and its cell of a row.
template <typename RowT>
struct SColumn {
    std::string header;
    std::function<std::string(const RowT& row)> cell;
};

template <typename RowT>
using Columns = std::vector<SColumn<RowT>>;

void append_line(std::string& table, const std::vector<std::string>& cells) {
    const char* separator = "";
    for (const std::string& cell : cells) {
        table += separator + quoted_where_needed(cell);
        separator = ",";
    }
    table += "\n";
}

template <typename RowT>
void append_headers(std::string& table, const Columns<RowT>& columns) {
    std::vector<std::string> headers;
    for (const SColumn<RowT>& column : columns) {
        headers.push_back(column.header);
    }
    append_line(table, headers);
}

template <typename RowT>
void append_row(std::string& table, const Columns<RowT>& columns, const RowT& row) {
    std::vector<std::string> cells;
    for (const SColumn<RowT>& column : columns) {
        cells.push_back(column.cell(row));
    }
    append_line(table, cells);
}

/// None where no fiber was measured: zeros would look like results.
const STensorValues* values_of(const SFieldResult& field) {
    return field.status == Impl::EFieldStatus::noForeground ? nullptr : &field.values;
}

const STensorValues* values_of(const SProfileSlice& slice) {
    return slice.values && slice.subfields > 0 ? &*slice.values : nullptr;
}

std::string with_unit(const std::string& name, const std::string& unit) {
    return unit.empty() ? name : name + "_" + unit;
}

/// A column of a number that the values of a row give; empty in rows without values.
template <typename RowT, typename NumberT>
SColumn<RowT> value_column(std::string header, NumberT number) {
    return {std::move(header), [number](const RowT& row) {
                const STensorValues* const values = values_of(row);
                return values == nullptr ? std::string() : cell_text(number(*values));
            }};
}

template <typename RowT>
void append_fourth_order_columns(Columns<RowT>& columns, const SAnalysisResult& result) {
    const auto dim = static_cast<std::size_t>(result.dim);
    for (std::size_t at = 0; at < result.field.values.tensor4.elements.size(); ++at) {
        const std::string component{AXES[at / (dim * dim * dim)], AXES[at / (dim * dim) % dim],
                                    AXES[at / dim % dim], AXES[at % dim]};
        columns.push_back(value_column<RowT>(
            "a_" + component, [at](const STensorValues& values) { return values.tensor4.elements[at]; }));
    }
}

/// The columns of what every field has.
template <typename RowT>
void append_field_columns(Columns<RowT>& columns, const SAnalysisResult& result) {
    const auto axes = static_cast<std::size_t>(result.dim);
    columns.push_back({"status", [](const RowT& row) { return std::string(StatusText(row.status)); }});
    for (std::size_t i = 0; i < axes; ++i) {
        for (std::size_t j = i; j < axes; ++j) {
            columns.push_back(
                value_column<RowT>(std::string("a_") + AXES[i] + AXES[j],
                                   [i, j](const STensorValues& values) { return values.tensor(i, j); }));
        }
    }
    for (std::size_t i = 0; i < axes; ++i) {
        columns.push_back(
            value_column<RowT>("lambda_" + std::to_string(i + 1),
                               [i](const STensorValues& values) { return values.eigenvalues[i]; }));
    }
    for (std::size_t i = 0; i < axes; ++i) {
        columns.push_back(
            value_column<RowT>(std::string("mean_") + AXES[i],
                               [i](const STensorValues& values) { return values.meanDirection[i]; }));
    }
    columns.push_back(
        value_column<RowT>("anisotropy", [](const STensorValues& values) { return values.anisotropy; }));
    columns.push_back({"difference_rad", [](const RowT& row) {
                           return values_of(row) == nullptr ? std::string() : cell_text(row.differenceRad);
                       }});
    append_fourth_order_columns(columns, result);
}

void append_corner_columns(Columns<SFieldResult>& columns, int dim) {
    for (int axis = 0; axis < dim; ++axis) {
        columns.push_back(
            {std::string(1, AXES[static_cast<std::size_t>(axis)]) + "0_px",
             [axis](const SFieldResult& field) { return cell_text(field.box.Point0()[axis]); }});
    }
    for (int axis = 0; axis < dim; ++axis) {
        columns.push_back(
            {std::string(1, AXES[static_cast<std::size_t>(axis)]) + "1_px",
             [axis](const SFieldResult& field) { return cell_text(field.box.Point1()[axis]); }});
    }
}

void append_centre_columns(Columns<SFieldResult>& columns, const SAnalysisResult& result,
                           const std::string& lengthUnit) {
    for (int axis = 0; axis < result.dim; ++axis) {
        const auto at = static_cast<std::size_t>(axis);
        const double spacing = result.parameters.spacing[at];
        columns.push_back({with_unit(std::string("center_") + AXES[at], lengthUnit),
                           [axis, spacing](const SFieldResult& field) {
                               const auto ends = static_cast<double>(field.box.Point0()[axis]) +
                                                 static_cast<double>(field.box.Point1()[axis]);
                               return cell_text(0.5 * ends * spacing);
                           }});
    }
}

} // namespace

std::string SubfieldsCsv(const SAnalysisResult& result, const std::string& lengthUnit) {
    if (!result.ListsSubfields()) {
        return {};
    }
    Columns<SFieldResult> columns{{"id", [](const SFieldResult& field) { return field.identifier; }}};
    append_corner_columns(columns, result.dim);
    append_centre_columns(columns, result, lengthUnit);
    columns.push_back(
        {"foreground_pixels", [](const SFieldResult& field) { return cell_text(field.foregroundPixels); }});
    columns.push_back({"foreground_fraction",
                       [](const SFieldResult& field) { return cell_text(field.foregroundFraction); }});
    columns.push_back(
        {"mean_confidence", [](const SFieldResult& field) { return cell_text(field.meanConfidence); }});
    columns.push_back(
        {"doubtful_fraction", [](const SFieldResult& field) { return cell_text(field.doubtfulFraction); }});
    append_field_columns(columns, result);
    std::string table;
    append_headers(table, columns);
    for (const SFieldResult& subfield : result.subfields) {
        append_row(table, columns, subfield);
    }
    return table;
}

std::string ProfilesCsv(const SAnalysisResult& result, const std::string& lengthUnit) {
    if (!result.ListsSubfields()) {
        return {};
    }
    char axisLetter = 'x';
    Columns<SProfileSlice> columns{
        {"axis", [&axisLetter](const SProfileSlice& /*slice*/) { return std::string(1, axisLetter); }},
        {"slice_px", [](const SProfileSlice& slice) { return cell_text(slice.slicePx); }},
        {with_unit("position", lengthUnit),
         [](const SProfileSlice& slice) { return cell_text(slice.position); }},
        {"number_of_subfields", [](const SProfileSlice& slice) { return cell_text(slice.subfields); }}};
    append_field_columns(columns, result);
    std::string table;
    append_headers(table, columns);
    for (std::size_t axis = 0; axis < result.profiles.size(); ++axis) {
        axisLetter = AXES[axis];
        for (const SProfileSlice& slice : result.profiles[axis]) {
            append_row(table, columns, slice);
        }
    }
    return table;
}

} // namespace TEVRA::report
