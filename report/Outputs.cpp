// SPDX-License-Identifier: BSD-3-Clause
#include "report/Outputs.h"

#include "report/FieldsVtu.h"
#include "report/HtmlReport.h"
#include "report/Json.h"
#include "report/Tables.h"
#include "report/TensorExports.h"
#include "report/pictures/Pictures.h"

#include "Subfields/ResultDocument.h"
#include "VexoBase/Cancellation.h"

#include <algorithm>

namespace TEVRA::report {

namespace {

std::string result_text(const SReport& report) {
    CPolls polls(FIELDS_BETWEEN_POLLS);
    return ResultJson(*Impl::ResultDocument(report.result, [&polls] { polls.Add(1); }));
}

std::string subfields_text(const SReport& report) {
    const SRunRecord::SParameters& parameters = report.record.parameters;
    return SubfieldsCsv(report.result, parameters.request.lengthUnit, parameters.reference);
}

std::string profiles_text(const SReport& report) {
    const SRunRecord::SParameters& parameters = report.record.parameters;
    return ProfilesCsv(report.result, parameters.request.lengthUnit, parameters.reference);
}

std::string fourth_order_text(const SReport& report) {
    return FourthOrderCsv(report.result);
}

std::string vtu_text(const SReport& report) {
    return FieldsVtu(report.result, report.record);
}

template <const STensorOrder& Order>
std::string tensors_text(const SReport& report) {
    return TensorsCsv(report.result, report.record, Order);
}

std::string report_text(const SReport& report) {
    return HtmlReport(report.result, report.record, report.pictures);
}

// Pictures are asked for by runs that keep what they show.
std::string sections_picture(const SReport& report) {
    return SectionsPng(report.result, report.record, *report.pictures);
}

std::string directions_picture(const SReport& report) {
    return DirectionsPng(report.result, *report.pictures);
}

std::string profiles_picture(const SReport& report) {
    return ProfilesPng(report.result, report.record, *report.pictures);
}

std::string run_text(const SReport& report) {
    return RunJson(report.record);
}

using enum EOutputCondition;

constexpr std::array OUTPUTS{
    SOutput{RESULT_FILE, "tensors, eigenvalues, mean directions", always, result_text},
    SOutput{SUBFIELDS_FILE, "one row per subfield", subfields, subfields_text},
    SOutput{PROFILES_FILE, "averages over slices", subfields, profiles_text},
    SOutput{FOURTH_ORDER_FILE, "their fourth-order tensors", fourthOrder, fourth_order_text},
    SOutput{REPORT_FILE, "all of it to look at, in a browser", EOutputCondition::report, report_text},
    SOutput{SECTIONS_PICTURE, "sections with directions as color", EOutputCondition::pictures,
            sections_picture},
    SOutput{DIRECTIONS_PICTURE, "their distribution", EOutputCondition::pictures, directions_picture},
    SOutput{PROFILES_PICTURE, "averages over slices", profilePictures, profiles_picture},
    SOutput{THETA_FILE, "angles of the axes", maps, nullptr},
    SOutput{PHI_FILE, "angles of the axes around z", mapsIn3d, nullptr},
    SOutput{AXES_FILE, "axes as unit vectors", vectors, nullptr},
    SOutput{CONFIDENCE_FILE, "how sure axes are, 0 to 1", confidence, nullptr},
    SOutput{COLORS_FILE, "directions as colors", colors, nullptr},
    SOutput{"tensors_plain.csv", "tensors as a11 a22 a33 a12 a13 a23", exported, tensors_text<PLAIN_ORDER>,
            PLAIN_ORDER.name},
    SOutput{"tensors_voigt.csv", "as a11 a22 a33 a23 a13 a12", exported, tensors_text<VOIGT_ORDER>,
            VOIGT_ORDER.name},
    SOutput{"tensors_abaqus.csv", "as a11 a22 a33 a12 a13 a23", exported, tensors_text<ABAQUS_ORDER>,
            ABAQUS_ORDER.name},
    SOutput{"tensors_moldflow.csv", "as a11 a22 a33 a12 a13 a23", exported, tensors_text<MOLDFLOW_ORDER>,
            MOLDFLOW_ORDER.name},
    SOutput{"fields.vtu", "fields for ParaView and other programs with VTK", exported, vtu_text, "vtk"},
    SOutput{RUN_RECORD_FILE, "input, parameters, threshold, foreground share", always, run_text},
};

constexpr std::array FILTER_OUTPUTS{
    SOutput{INDEX_FILE, "number of the direction, 255 for background"},
    SOutput{RESPONSE_FILE, "strongest filter answer"},
    SOutput{COLATITUDE_FILE, "radians, -1 for background; in 2D the angle from the x axis"},
    SOutput{LONGITUDE_FILE, "radians, -1 for background"},
    SOutput{HISTOGRAM_FILE, "per number: direction and pixel count"},
    SOutput{TENSOR_FILE, "the mean tensor"},
    SOutput{RUN_RECORD_FILE, "input, parameters, background, threshold"},
};

} // namespace

std::span<const SOutput> Outputs() {
    return OUTPUTS;
}

std::span<const SOutput> FilterOutputs() {
    return FILTER_OUTPUTS;
}

std::vector<std::string> ExportNames() {
    std::vector<std::string> names;
    for (const SOutput& output : OUTPUTS) {
        if (output.condition == exported) {
            names.emplace_back(output.exportName);
        }
    }
    return names;
}

std::string FileName(const SOutput& output, const SOutputWishes& wishes) {
    return std::string_view(output.file).ends_with(".mha") ? MapFileName(output.file, wishes) : output.file;
}

std::string MapFileName(const char* file, const SOutputWishes& wishes) {
    const std::string name = file;
    return name.substr(0, name.rfind('.') + 1) + wishes.mapEnding;
}

bool IsWanted(const SOutput& output, const SOutputWishes& wishes) {
    switch (output.condition) {
    case subfields:
        return wishes.subfields;
    case fourthOrder:
        return wishes.subfields && wishes.fourthOrder;
    case exported:
        return std::find(wishes.exports.begin(), wishes.exports.end(), output.exportName) !=
               wishes.exports.end();
    case EOutputCondition::report:
        return wishes.report && HasReportPage();
    case EOutputCondition::pictures:
        return wishes.pictures;
    case profilePictures:
        return wishes.pictures && wishes.subfields;
    case maps:
        return wishes.maps;
    case mapsIn3d:
        return wishes.maps && wishes.dim == 3;
    case confidence:
        return (wishes.maps || wishes.vectors) && wishes.confidence;
    case vectors:
        return wishes.vectors;
    case colors:
        return wishes.colors;
    case always:
        break;
    }
    return true;
}

bool ShowsPictures(const SOutput& output) {
    return output.condition == EOutputCondition::report || output.condition == EOutputCondition::pictures ||
           output.condition == profilePictures;
}

} // namespace TEVRA::report
