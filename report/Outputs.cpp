// SPDX-License-Identifier: BSD-3-Clause
#include "report/Outputs.h"

#include "report/Json.h"
#include "report/Tables.h"

#include "Subfields/ResultDocument.h"

namespace TEVRA::report {

namespace {

std::string result_text(const SReport& report) {
    return ResultJson(*Impl::ResultDocument(report.result));
}

std::string subfields_text(const SReport& report) {
    return SubfieldsCsv(report.result, report.record.parameters.request.lengthUnit);
}

std::string profiles_text(const SReport& report) {
    return ProfilesCsv(report.result, report.record.parameters.request.lengthUnit);
}

std::string run_text(const SReport& report) {
    return RunJson(report.record);
}

using enum EOutputCondition;

constexpr std::array OUTPUTS{
    SOutput{RESULT_FILE, "tensors, eigenvalues, mean directions", always, result_text},
    SOutput{SUBFIELDS_FILE, "one row per subfield", subfields, subfields_text},
    SOutput{PROFILES_FILE, "averages over slices", subfields, profiles_text},
    SOutput{THETA_FILE, "angles of the axes", maps, nullptr},
    SOutput{PHI_FILE, "angles of the axes around z", mapsIn3d, nullptr},
    SOutput{RUN_RECORD_FILE, "input, parameters, threshold, foreground share", always, run_text},
};

} // namespace

std::span<const SOutput> Outputs() {
    return OUTPUTS;
}

bool IsWanted(const SOutput& output, const SOutputWishes& wishes) {
    switch (output.condition) {
    case subfields:
        return wishes.subfields;
    case maps:
        return wishes.maps;
    case mapsIn3d:
        return wishes.maps && wishes.dim == 3;
    case always:
        break;
    }
    return true;
}

} // namespace TEVRA::report
