// SPDX-License-Identifier: BSD-3-Clause
#include "report/TensorExports.h"

#include "report/Csv.h"
#include "report/Tables.h"

#include "VexoBase/Cancellation.h"

#include <vector>

namespace TEVRA::report {

namespace {

std::string name_of(const SComponent& component) {
    return "a" + std::to_string(component.row) + std::to_string(component.col);
}

std::vector<SComponent> components_of(const STensorOrder& order, int dim) {
    std::vector<SComponent> components;
    for (const SComponent& component : order.components) {
        if (component.row <= dim && component.col <= dim) {
            components.push_back(component);
        }
    }
    return components;
}

std::string head(const SRunRecord& record, const STensorOrder& order,
                 const std::vector<SComponent>& components) {
    std::string text = "# orientation tensors a2, the mean outer product of the unit axes, trace 1; order " +
                       std::string(order.name) + ":";
    for (const SComponent& component : components) {
        text += " " + name_of(component);
    }
    text += "; 1 is x, 2 is y, 3 is z of the image\n"
            "# off-diagonal (shear) components are not doubled: a12 is the component itself\n";
    if (*order.note != '\0') {
        text += "# " + std::string(order.note) + "\n";
    }
    const std::string& unit = record.parameters.request.lengthUnit;
    text += "# lengths in " + (unit.empty() ? "the unit of the image's spacing" : unit) +
            ", from the outer edge of the image's first pixel\n# " + SourceText(record) + "\n";
    return text;
}

std::vector<std::string> row(const std::string& id, const Impl::SFieldResult& field,
                             const Impl::SAnalysisResult& result, const std::vector<SComponent>& components) {
    std::vector<std::string> cells{id};
    for (int axis = 0; axis < result.dim; ++axis) {
        cells.push_back(CellText(CentreOf(field, result)[static_cast<std::size_t>(axis)]));
    }
    cells.push_back(CellText(field.foregroundFraction));
    for (const SComponent& component : components) {
        cells.push_back(HasValues(field)
                            ? CellText(field.values.tensor(static_cast<std::size_t>(component.row - 1),
                                                           static_cast<std::size_t>(component.col - 1)))
                            : "");
    }
    return cells;
}

} // namespace

std::string TensorsCsv(const Impl::SAnalysisResult& result, const SRunRecord& record,
                       const STensorOrder& order) {
    const std::vector<SComponent> components = components_of(order, result.dim);
    std::string table = head(record, order, components);
    std::vector<std::string> headers{"id"};
    for (int axis = 0; axis < result.dim; ++axis) {
        headers.push_back(CentreHeader(axis, record.parameters.request.lengthUnit));
    }
    headers.emplace_back("foreground_fraction");
    for (const SComponent& component : components) {
        headers.push_back(name_of(component));
    }
    AppendCsvRow(table, headers);
    AppendCsvRow(table, row("field", result.field, result, components));
    CPolls polls(FIELDS_BETWEEN_POLLS);
    for (const Impl::SFieldResult& subfield : result.subfields) {
        AppendCsvRow(table, row(SubfieldId(subfield), subfield, result, components));
        polls.Add(1);
    }
    return table;
}

} // namespace TEVRA::report
