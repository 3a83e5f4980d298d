// SPDX-License-Identifier: BSD-3-Clause
#include "report/Tables.h"

#include "report/Csv.h"

#include "Subfields/TensorDecomposition.h"
#include "VexoBase/Cancellation.h"

#include <algorithm>
#include <functional>
#include <numbers>
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

/// A column: its header, and its cell of a row.
template <typename RowT>
struct SColumn {
    std::string header;
    std::function<std::string(const RowT& row)> cell;
};

template <typename RowT>
using Columns = std::vector<SColumn<RowT>>;

template <typename RowT>
void append_headers(std::string& table, const Columns<RowT>& columns) {
    std::vector<std::string> headers;
    for (const SColumn<RowT>& column : columns) {
        headers.push_back(column.header);
    }
    AppendCsvRow(table, headers);
}

template <typename RowT>
void append_row(std::string& table, const Columns<RowT>& columns, const RowT& row) {
    std::vector<std::string> cells;
    for (const SColumn<RowT>& column : columns) {
        cells.push_back(column.cell(row));
    }
    AppendCsvRow(table, cells);
}

/// None where no fiber was measured: zeros would look like results.
const STensorValues* values_of(const SFieldResult& field) {
    return HasValues(field) ? &field.values : nullptr;
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
                return values == nullptr ? std::string() : CellText(number(*values));
            }};
}

/// The components whose indices ascend: the others are the same numbers.
template <typename RowT>
void append_fourth_order_columns(Columns<RowT>& columns, const SAnalysisResult& result) {
    const auto dim = static_cast<std::size_t>(result.dim);
    for (std::size_t at = 0; at < result.field.values.tensor4.elements.size(); ++at) {
        const std::array<std::size_t, 4> indices{at / (dim * dim * dim), at / (dim * dim) % dim,
                                                 at / dim % dim, at % dim};
        if (!std::is_sorted(indices.begin(), indices.end())) {
            continue;
        }
        std::string header = "a_";
        for (const std::size_t index : indices) {
            header += AXES[index];
        }
        columns.push_back(value_column<RowT>(
            header, [at](const STensorValues& values) { return values.tensor4.elements[at]; }));
    }
}

/// The angle between the mean direction and a reference as axes.
template <typename RowT>
SColumn<RowT> reference_column(const Reference& reference, int dim) {
    const auto axes = static_cast<std::size_t>(dim);
    return value_column<RowT>("reference_angle_deg", [reference, axes](const STensorValues& values) {
        constexpr double DEGREES = 180.0 / std::numbers::pi;
        return DEGREES * Impl::DifferenceOfDirections(values.meanDirection.data(), reference.data(), axes);
    });
}

/// The columns of what every field has.
template <typename RowT>
void append_field_columns(Columns<RowT>& columns, const SAnalysisResult& result,
                          const std::optional<Reference>& reference) {
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
                           return values_of(row) == nullptr ? std::string() : CellText(row.differenceRad);
                       }});
    if (result.dim == 3) {
        columns.push_back(value_column<RowT>("woodcock_shape", [](const STensorValues& values) {
            return Impl::ShapeAndStrength(values.eigenvalues).shape;
        }));
        columns.push_back(value_column<RowT>("woodcock_strength", [](const STensorValues& values) {
            return Impl::ShapeAndStrength(values.eigenvalues).strength;
        }));
    }
    if (reference) {
        columns.push_back(reference_column<RowT>(*reference, result.dim));
    }
}

void append_corner_columns(Columns<SFieldResult>& columns, int dim) {
    for (int axis = 0; axis < dim; ++axis) {
        columns.push_back({std::string(1, AXES[static_cast<std::size_t>(axis)]) + "0_px",
                           [axis](const SFieldResult& field) { return CellText(field.box.Point0()[axis]); }});
    }
    for (int axis = 0; axis < dim; ++axis) {
        columns.push_back({std::string(1, AXES[static_cast<std::size_t>(axis)]) + "1_px",
                           [axis](const SFieldResult& field) { return CellText(field.box.Point1()[axis]); }});
    }
}

void append_centre_columns(Columns<SFieldResult>& columns, const SAnalysisResult& result,
                           const std::string& lengthUnit) {
    for (int axis = 0; axis < result.dim; ++axis) {
        columns.push_back({CentreHeader(axis, lengthUnit), [axis, &result](const SFieldResult& field) {
                               return CellText(CentreOf(field, result)[static_cast<std::size_t>(axis)]);
                           }});
    }
}

SColumn<SFieldResult> id_column() {
    return {"id", [](const SFieldResult& field) { return SubfieldId(field); }};
}

std::string table_of_subfields(const SAnalysisResult& result, const Columns<SFieldResult>& columns) {
    std::string table;
    append_headers(table, columns);
    CPolls polls(FIELDS_BETWEEN_POLLS);
    for (const SFieldResult& subfield : result.subfields) {
        append_row(table, columns, subfield);
        polls.Add(1);
    }
    return table;
}

} // namespace

bool HasValues(const SFieldResult& field) {
    return field.status != Impl::EFieldStatus::noForeground;
}

std::array<double, 3> CentreOf(const SFieldResult& field, const SAnalysisResult& result) {
    std::array<double, 3> centre{};
    for (int axis = 0; axis < result.dim; ++axis) {
        const auto ends =
            static_cast<double>(field.box.Point0()[axis]) + static_cast<double>(field.box.Point1()[axis]);
        const auto at = static_cast<std::size_t>(axis);
        centre[at] = 0.5 * ends * result.parameters.spacing[at];
    }
    return centre;
}

std::string CentreHeader(int axis, const std::string& lengthUnit) {
    return with_unit(std::string("center_") + AXES[static_cast<std::size_t>(axis)], lengthUnit);
}

std::string SubfieldId(const SFieldResult& subfield) {
    std::string id = "s";
    for (const char c : subfield.identifier) {
        if (c != '(' && c != ')') {
            id += c == ',' ? '_' : c;
        }
    }
    return id;
}

std::string SubfieldsCsv(const SAnalysisResult& result, const std::string& lengthUnit,
                         const std::optional<Reference>& reference) {
    if (!result.ListsSubfields()) {
        return {};
    }
    Columns<SFieldResult> columns{id_column()};
    append_corner_columns(columns, result.dim);
    append_centre_columns(columns, result, lengthUnit);
    columns.push_back(
        {"foreground_pixels", [](const SFieldResult& field) { return CellText(field.foregroundPixels); }});
    columns.push_back({"foreground_fraction",
                       [](const SFieldResult& field) { return CellText(field.foregroundFraction); }});
    columns.push_back(
        {"mean_confidence", [](const SFieldResult& field) { return CellText(field.meanConfidence); }});
    columns.push_back(
        {"doubtful_fraction", [](const SFieldResult& field) { return CellText(field.doubtfulFraction); }});
    append_field_columns(columns, result, reference);
    return table_of_subfields(result, columns);
}

std::string FourthOrderCsv(const SAnalysisResult& result) {
    if (!result.ListsSubfields()) {
        return {};
    }
    Columns<SFieldResult> columns{id_column()};
    append_fourth_order_columns(columns, result);
    return table_of_subfields(result, columns);
}

std::string ProfilesCsv(const SAnalysisResult& result, const std::string& lengthUnit,
                        const std::optional<Reference>& reference) {
    if (!result.ListsSubfields()) {
        return {};
    }
    char axisLetter = 'x';
    Columns<SProfileSlice> columns{
        {"axis", [&axisLetter](const SProfileSlice& /*slice*/) { return std::string(1, axisLetter); }},
        {"slice_px", [](const SProfileSlice& slice) { return CellText(slice.slicePx); }},
        {with_unit("position", lengthUnit),
         [](const SProfileSlice& slice) { return CellText(slice.position); }},
        {"number_of_subfields", [](const SProfileSlice& slice) { return CellText(slice.subfields); }},
        {"mean_confidence", [](const SProfileSlice& slice) { return CellText(slice.meanConfidence); }}};
    append_field_columns(columns, result, reference);
    append_fourth_order_columns(columns, result);
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
