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

Json subfield_json(const SRunRecord& record) {
    const std::array<long long, 3>& size = record.parameters.request.subfieldPx;
    if (!record.parameters.request.HasSubfields()) {
        return nullptr;
    }
    return Json(std::vector<long long>(size.begin(), size.begin() + record.input.sizePx.size()));
}

Json parameters_json(const SRunRecord& record) {
    const SRunRecord::SParameters& parameters = record.parameters;
    const Impl::SAnalysisRequest& request = parameters.request;
    Json json;
    json["fiber_radius"] = request.fiberRadius;
    json["fiber_radius_px"] = request.FiberRadiusPx();
    json["otsu_factor"] = parameters.maskPath ? Json(nullptr) : Json(request.otsuFactor);
    json["mask"] = value_or_null(parameters.maskPath);
    json["subfield_px"] = subfield_json(record);
    json["fourth_order"] = request.withFourthOrder;
    json["threads"] = parameters.threads;
    json["processes"] = parameters.processes;
    json["summary"] = parameters.summary;
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
    Json json = RecordHead("analyze", record.version, record.startTime);
    json["input"] = ToJson(record.input);
    json["parameters"] = parameters_json(record);
    json["foreground"] = ToJson(record.foreground);
    json["memory"] = memory_json(record.memory);
    json["seconds"] = seconds_json(record);
    if (!record.idleSeconds.empty()) {
        json["idle_seconds"] = record.idleSeconds;
    }
    json["files"] = FilesJson(record.files);
    return ToText(json);
}

} // namespace TEVRA::report
