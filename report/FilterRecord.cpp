// SPDX-License-Identifier: BSD-3-Clause
#include "report/FilterRecord.h"

#include "report/Json.h"

#include <nlohmann/json.hpp>

#include <array>

namespace TEVRA::report {

namespace {

using Json = nlohmann::ordered_json;

void add_corners(Json& json, const SPixelBox& box) {
    json["lower_corner_px"] = box.lower;
    json["upper_corner_px"] = box.upper;
}

Json box_json(const std::optional<SPixelBox>& box) {
    Json json;
    if (box) {
        add_corners(json, *box);
    }
    return json;
}

Json parameters_json(const SFilterRecord& record) {
    const SFilterParameters& parameters = record.parameters;
    Json json;
    json["major_width_px"] = parameters.majorWidth;
    json["minor_width_px"] = parameters.minorWidth;
    json["resolution"] = parameters.resolution;
    json["directions"] = record.directions;
    json["box"] = box_json(parameters.boxPx);
    json["rim_px"] = parameters.rimPx.empty() ? Json(nullptr) : Json(parameters.rimPx);
    json["mask"] = parameters.maskPath ? Json(*parameters.maskPath) : Json(nullptr);
    json["threads"] = parameters.threads;
    return json;
}

Json evaluated_json(const SFilterRecord::SEvaluated& evaluated) {
    Json json;
    add_corners(json, evaluated.boxPx);
    json["rim_px"] = evaluated.rimPx;
    json["pixels"] = evaluated.pixels;
    return json;
}

} // namespace

std::string TensorJson(const SBoxTensor& tensor) {
    constexpr std::array<const char*, 3> AXES{"x", "y", "z"};
    const std::size_t dim = tensor.boxPx.lower.size();
    Json json;
    add_corners(json, tensor.boxPx);
    json["pixels"] = tensor.pixels;
    auto component = tensor.components.begin();
    for (std::size_t row = 0; row < dim; ++row) {
        for (std::size_t col = row; col < dim; ++col) {
            json[std::string("a_") + AXES[row] + AXES[col]] = *component++;
        }
    }
    for (std::size_t i = 0; i < tensor.eigenvalues.size(); ++i) {
        json["lambda_" + std::to_string(i + 1)] = tensor.eigenvalues[i];
    }
    return ToText(json);
}

std::string HistogramJson(std::span<const SDirectionCount> directions) {
    Json json;
    for (std::size_t k = 0; k < directions.size(); ++k) {
        Json entry = directions[k].direction;
        entry.push_back(directions[k].pixels);
        json[std::to_string(k)] = entry;
    }
    return ToText(json);
}

std::string RunJson(const SFilterRecord& record) {
    Json json = RecordHead("filter", record.version, record.startTime);
    json["input"] = ToJson(record.input);
    json["parameters"] = parameters_json(record);
    json["background"] = {{"level", record.background.level}, {"source", record.background.source}};
    json["foreground"] = ToJson(record.foreground);
    json["evaluated"] = evaluated_json(record.evaluated);
    json["transform"] = {{"frame_px", record.transform.framePx}, {"size_px", record.transform.sizePx}};
    json["memory"] = {{"allowed_bytes", record.memory.allowedBytes},
                      {"expected_bytes", record.memory.expectedBytes}};
    json["seconds"] = {
        {"read", record.seconds.read}, {"filter", record.seconds.filter}, {"total", record.seconds.total}};
    json["files"] = FilesJson(record.files);
    json["file_checks"] = FileChecksJson(record.fileChecks);
    return ToText(json);
}

} // namespace TEVRA::report
