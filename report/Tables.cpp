// SPDX-License-Identifier: BSD-3-Clause
#include "report/Tables.h"

#include "zeklib2core/ValueLeaf.h"

#include <charconv>
#include <cmath>
#include <string_view>
#include <vector>

namespace TEVRA::report {

namespace {

constexpr std::string_view AXES = "xyz";

std::string number_text(double number) {
    if (std::isnan(number)) {
        return "NaN";
    }
    if (std::isinf(number)) {
        return number > 0 ? "Inf" : "-Inf";
    }
    char text[32]; // the longest shortest double has 24 characters
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

std::string cell_text(const CValue* value) {
    if (value == nullptr) {
        return {};
    }
    switch (value->GenericType()) {
    case CValue::eDouble:
        return number_text(value->Double());
    case CValue::eLong:
        return std::to_string(value->Long());
    case CValue::eString:
        return value->String().Text();
    default:
        return {};
    }
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

void append_row(std::string& table, const std::vector<std::string>& cells) {
    const char* separator = "";
    for (const std::string& cell : cells) {
        table += separator + quoted_where_needed(cell);
        separator = ",";
    }
    table += "\n";
}

/// A column: its header, and the path of its values from the row's map.
struct SColumn {
    std::string header;
    std::vector<CValue_Key> path;
};

/// Walks a path key by key: identifiers such as "(005,105)" are no paths, and index keys have no place in
/// one.
const CValue* value_at(const CValueMap& map, const std::vector<CValue_Key>& path) {
    const CValue* value = &map;
    for (const CValue_Key& key : path) {
        if (value->GenericType() != CValue::eMap) {
            return nullptr;
        }
        value = value->Map().Entry(key);
        if (value == nullptr) {
            return nullptr;
        }
    }
    return value;
}

void append_cells(std::vector<std::string>& cells, const CValueMap& row,
                  const std::vector<SColumn>& columns) {
    for (const SColumn& column : columns) {
        cells.push_back(cell_text(value_at(row, column.path)));
    }
}

void append_headers(std::vector<std::string>& cells, const std::vector<SColumn>& columns) {
    for (const SColumn& column : columns) {
        cells.push_back(column.header);
    }
}

int dimension_of(const CValueMap& document) {
    return document.HasEntry("Field/Mean fiber direction/z") ? 3 : 2;
}

std::vector<SColumn> corner_columns(int dim) {
    std::vector<SColumn> columns;
    for (const char end : {'0', '1'}) {
        for (const char axis : AXES.substr(0, dim)) {
            const std::string corner = {axis, end};
            columns.push_back({corner + "_px", {"Evaluated area", corner.c_str()}});
        }
    }
    return columns;
}

void append_fourth_order_columns(std::vector<SColumn>& columns, const CValueMap& document) {
    const CValue* const tensor = document.Entry("Field/Fourth order Orientation tensor");
    if (tensor == nullptr) {
        return;
    }
    for (const CValue_Key& key : tensor->Map().Keys()) {
        columns.push_back({"a_" + key.Name(), {"Fourth order Orientation tensor", key}});
    }
}

std::vector<SColumn> field_columns(const CValueMap& document) {
    const std::string_view axes = AXES.substr(0, dimension_of(document));
    std::vector<SColumn> columns = {{"status", {"Status"}}};
    for (std::size_t i = 0; i < axes.size(); ++i) {
        for (std::size_t j = i; j < axes.size(); ++j) {
            const std::string component = {axes[i], axes[j]};
            columns.push_back({"a_" + component, {"Orientation tensor", component.c_str()}});
        }
    }
    for (int i = 0; i < static_cast<int>(axes.size()); ++i) {
        columns.push_back({"lambda_" + std::to_string(i + 1), {"Eigenvalues of the orientation tensor", i}});
    }
    for (const char axis : axes) {
        const std::string component(1, axis);
        columns.push_back({"mean_" + component, {"Mean fiber direction", component.c_str()}});
    }
    columns.push_back({"anisotropy", {"Anisotropy value"}});
    columns.push_back({"difference_rad", {"Difference to global direction"}});
    append_fourth_order_columns(columns, document);
    return columns;
}

/// The slice's coordinate, the number at the end of a key such as "slice 005".
std::string slice_coordinate(const std::string& key) {
    const std::size_t digits = key.find_last_of(' ') + 1;
    const std::size_t first = key.find_first_not_of('0', digits);
    return first == std::string::npos ? "0" : key.substr(first);
}

} // namespace

std::string SubfieldsCsv(const CValueMap& document) {
    const CValue* const subfields = document.Entry("Subfields");
    if (subfields == nullptr) {
        return {};
    }
    std::vector<SColumn> columns = corner_columns(dimension_of(document));
    const std::vector<SColumn> field = field_columns(document);
    columns.insert(columns.end(), field.begin(), field.end());

    std::string table;
    std::vector<std::string> cells = {"id"};
    append_headers(cells, columns);
    append_row(table, cells);
    const CValueMap& entries = subfields->Map();
    for (auto entry = entries.begin(); !(entry == entries.end()); ++entry) {
        if (entry.Value()->GenericType() != CValue::eMap) {
            continue; // "Subfield size"
        }
        cells = {entry.Key().ToString()};
        append_cells(cells, entry.Value()->Map(), columns);
        append_row(table, cells);
    }
    return table;
}

std::string ProfilesCsv(const CValueMap& document, const std::string& lengthUnit) {
    const CValue* const profiles = document.Entry("Averaged Profile");
    if (profiles == nullptr) {
        return {};
    }
    std::vector<SColumn> columns = {
        {lengthUnit.empty() ? "position" : "position_" + lengthUnit, {"slice position"}},
        {"number_of_subfields", {"Number of subfields"}}};
    const std::vector<SColumn> field = field_columns(document);
    columns.insert(columns.end(), field.begin(), field.end());

    std::string table;
    std::vector<std::string> cells = {"axis", "slice_px"};
    append_headers(cells, columns);
    append_row(table, cells);
    for (const char axis : AXES) {
        const std::string name = std::string(1, axis) + "-Direction";
        const CValue* const slices = profiles->Map().Entry(name.c_str());
        if (slices == nullptr) {
            continue; // z in 2D
        }
        for (auto slice = slices->Map().begin(); !(slice == slices->Map().end()); ++slice) {
            cells = {std::string(1, axis), slice_coordinate(slice.Key().ToString())};
            append_cells(cells, slice.Value()->Map(), columns);
            append_row(table, cells);
        }
    }
    return table;
}

} // namespace TEVRA::report
