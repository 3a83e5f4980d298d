// SPDX-License-Identifier: BSD-3-Clause
#include "report/RunRecord.h"

#include "report/Json.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace TEVRA::report {

namespace {

using Json = nlohmann::ordered_json;

template <typename T>
Json value_or_null(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

Json subfield_json(const SRunRecord& record) {
    const std::array<long long, 3>& size = record.parameters.request.subfieldPx;
    if (size[0] < 0) {
        return nullptr;
    }
    return Json(std::vector<long long>(size.begin(), size.begin() + record.input.sizePx.size()));
}

Json count_json(const SRunRecord& record) {
    const auto& count = record.parameters.request.subfieldCount;
    return count ? Json(std::vector<long long>(count->begin(), count->begin() + record.input.sizePx.size()))
                 : Json(nullptr);
}

Json foreground_json(const SRunForeground& foreground) {
    Json json = ToJson(foreground);
    switch (ForegroundShare(foreground)) {
    case EForegroundShare::tiny:
        json["plausibility"] = "tiny";
        break;
    case EForegroundShare::huge:
        json["plausibility"] = "huge";
        break;
    case EForegroundShare::plausible:
        json["plausibility"] = "plausible";
        break;
    }
    return json;
}

Json scales_json(const std::vector<SRunRecord::SParameters::SScale>& scales) {
    Json json = Json::object();
    for (const SRunRecord::SParameters::SScale& scale : scales) {
        json[scale.name] = scale.length;
    }
    return json;
}

Json parameters_json(const SRunRecord& record) {
    const SRunRecord::SParameters& parameters = record.parameters;
    const Impl::SAnalysisRequest& request = parameters.request;
    Json json;
    json["estimator"] = request.estimator;
    json["fiber_radius"] = request.fiberRadius;
    json["fiber_radius_px"] = request.FiberRadiusPx();
    json["scales"] = scales_json(parameters.scales);
    json["border"] = value_or_null(request.border);
    json["border_px"] = parameters.borderPx;
    json["otsu_factor"] = value_or_null(request.otsuFactor);
    json["threshold"] = value_or_null(request.threshold);
    json["dark_fibers"] = request.contrast == Impl::EFiberContrast::dark;
    json["mask"] = value_or_null(parameters.maskPath);
    json["subfield_px"] = subfield_json(record);
    json["subfield_count"] = count_json(record);
    json["beyond_subfields_px"] =
        parameters.beyondSubfieldsPx.empty() ? Json(nullptr) : Json(parameters.beyondSubfieldsPx);
    json["reference"] =
        parameters.reference
            ? Json(std::vector<double>(parameters.reference->begin(),
                                       parameters.reference->begin() + record.input.sizePx.size()))
            : Json(nullptr);
    json["fourth_order"] = request.withFourthOrder;
    json["threads"] = parameters.threads;
    json["processes"] = parameters.processes;
    json["summary"] = parameters.summary;
    return json;
}

Json confidence_json(const std::optional<SRunRecord::SConfidence>& confidence) {
    if (!confidence) {
        return nullptr;
    }
    Json json;
    json["mean"] = confidence->mean;
    json["doubtful_fraction"] = value_or_null(confidence->doubtfulFraction);
    json["lowest_subfield"] = confidence->lowestSubfieldMean ? Json{{"id", confidence->lowestSubfield},
                                                                    {"mean", *confidence->lowestSubfieldMean}}
                                                             : Json(nullptr);
    return json;
}

Json warnings_json(const std::vector<SRunRecord::SWarning>& warnings) {
    Json json = Json::array();
    for (const SRunRecord::SWarning& warning : warnings) {
        json.push_back(
            {{"kind", warning.kind}, {"value", value_or_null(warning.value)}, {"text", warning.text}});
    }
    return json;
}

Json maps_json(const SRunRecord& record) {
    if (!record.maps) {
        return nullptr;
    }
    const SRunRecord::SMaps& maps = *record.maps;
    Json json;
    json["format"] = maps.format;
    json["angle_unit"] = maps.angleUnit;
    json["stride"] = maps.stride;
    json["size_px"] = maps.sizePx;
    json["spacing"] = maps.spacing.empty() ? Json(nullptr) : Json(maps.spacing);
    json["length_unit"] = record.input.lengthUnit.empty() ? Json(nullptr) : Json(record.input.lengthUnit);
    json["first_centre"] = maps.firstCentre;
    if (maps.sizePx.size() == 3) {
        json["no_colatitude"] = maps.noColatitude;
    }
    json["no_angle"] = maps.noAngle;
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

std::optional<SRunRecord::SConfidence> ConfidenceOf(const Impl::SAnalysisResult& result) {
    if (!result.field.meanConfidence) {
        return std::nullopt;
    }
    SRunRecord::SConfidence confidence{*result.field.meanConfidence, result.field.doubtfulFraction};
    for (const Impl::SFieldResult& subfield : result.subfields) {
        if (subfield.meanConfidence.value_or(2.0) < confidence.lowestSubfieldMean.value_or(2.0)) {
            confidence.lowestSubfieldMean = subfield.meanConfidence;
            confidence.lowestSubfield = subfield.identifier;
        }
    }
    return confidence;
}

EForegroundShare ForegroundShare(const SRunForeground& foreground) {
    const double share = static_cast<double>(foreground.pixels) / static_cast<double>(foreground.ofPixels);
    if (!foreground.threshold) {
        return EForegroundShare::plausible;
    }
    return share < TINY_FOREGROUND_SHARE   ? EForegroundShare::tiny
           : share > HUGE_FOREGROUND_SHARE ? EForegroundShare::huge
                                           : EForegroundShare::plausible;
}

std::string SourceText(const SRunRecord& record) {
    std::string text = "tevra " + record.version + "; image " + record.input.path;
    if (const auto& check = record.input.check) {
        text += " (" + std::to_string(check->bytes) + " bytes, checksum " + check->checksum + " of " +
                check->checksumOf + ")";
    }
    text += "; estimator " + record.parameters.request.estimator + "; run.json has all parameters";
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
    return text;
}

std::string RunJson(const SRunRecord& record) {
    Json json = RecordHead("analyze", record.version, record.startTime);
    json["input"] = ToJson(record.input);
    json["parameters"] = parameters_json(record);
    json["foreground"] = foreground_json(record.foreground);
    json["confidence"] = confidence_json(record.confidence);
    json["warnings"] = warnings_json(record.warnings);
    json["maps"] = maps_json(record);
    json["memory"] = memory_json(record.memory);
    json["seconds"] = seconds_json(record);
    if (!record.idleSeconds.empty()) {
        json["idle_seconds"] = record.idleSeconds;
    }
    json["files"] = FilesJson(record.files);
    json["file_checks"] = FileChecksJson(record.fileChecks);
    return ToText(json);
}

} // namespace TEVRA::report
