// SPDX-License-Identifier: BSD-3-Clause
#include "report/RunRecord.h"

#include "report/Json.h"

#include <nlohmann/json.hpp>

namespace TEVRA::report {

namespace {

using Json = nlohmann::ordered_json;

template <typename T>
Json value_or_null(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

const char* name_of(ESpacingOrigin origin) {
    switch (origin) {
    case ESpacingOrigin::header:
        return "header";
    case ESpacingOrigin::option:
        return "option";
    case ESpacingOrigin::none:
        break;
    }
    return "none";
}

Json spacing_json(const SRunRecord::SInput& input) {
    if (!input.spacing) {
        return nullptr;
    }
    return Json(std::vector<double>(input.spacing->begin(), input.spacing->begin() + input.sizePx.size()));
}

Json input_json(const SRunRecord::SInput& input) {
    Json json;
    json["path"] = input.path;
    json["format"] = input.format;
    json["size_px"] = input.sizePx;
    json["pixel_type"] = input.storedType;
    json["spacing"] = spacing_json(input);
    json["length_unit"] = input.lengthUnit.empty() ? Json(nullptr) : Json(input.lengthUnit);
    json["spacing_origin"] = name_of(input.spacingOrigin);
    json["converted_to_8_bit"] = input.greyWindow.has_value();
    json["grey_window"] = input.greyWindow ? Json{input.greyWindow->lo, input.greyWindow->hi} : Json(nullptr);
    json["nan_pixels"] = input.nanPixels;
    json["infinite_pixels"] = input.infinitePixels;
    return json;
}

Json parameters_json(const SRunRecord::SParameters& parameters) {
    Json json;
    json["fiber_radius"] = parameters.fiberRadius;
    json["fiber_radius_px"] = parameters.fiberRadiusPx;
    json["otsu_factor"] = parameters.maskPath ? Json(nullptr) : Json(parameters.otsuFactor);
    json["mask"] = value_or_null(parameters.maskPath);
    json["subfield_px"] = parameters.subfieldPx.empty() ? Json(nullptr) : Json(parameters.subfieldPx);
    json["fourth_order"] = parameters.fourthOrder;
    json["threads"] = parameters.threads;
    json["processes"] = parameters.processes;
    json["summary"] = parameters.summary;
    return json;
}

Json foreground_json(const SRunRecord::SForeground& foreground) {
    Json json;
    json["threshold"] = value_or_null(foreground.threshold);
    json["pixels"] = foreground.pixels;
    json["share"] = static_cast<double>(foreground.pixels) / static_cast<double>(foreground.ofPixels);
    return json;
}

Json memory_json(const SRunRecord::SMemory& memory) {
    Json json;
    json["allowed_bytes"] = memory.allowedBytes;
    json["expected_bytes"] = memory.expectedBytes;
    json["scratch_bytes"] = memory.scratchBytes;
    json["scratch_place"] = memory.scratchPlace;
    return json;
}

Json seconds_json(const SRunRecord& record) {
    Json json;
    for (const SRunRecord::SPass& pass : record.passes) {
        json[pass.name] = pass.seconds;
    }
    json["analyze"] = record.analyzeSeconds;
    json["total"] = record.totalSeconds;
    return json;
}

} // namespace

std::string RunJson(const SRunRecord& record) {
    Json json;
    json["program"] = "tevra";
    json["version"] = record.version;
    json["command"] = "analyze";
    json["start_time"] = record.startTime;
    json["input"] = input_json(record.input);
    json["parameters"] = parameters_json(record.parameters);
    json["foreground"] = foreground_json(record.foreground);
    json["memory"] = memory_json(record.memory);
    json["seconds"] = seconds_json(record);
    if (!record.idleSeconds.empty()) {
        json["idle_seconds"] = record.idleSeconds;
    }
    json["files"] = record.files;
    return ToText(json);
}

} // namespace TEVRA::report
