// SPDX-License-Identifier: BSD-3-Clause
#include "report/RunParts.h"

#include <nlohmann/json.hpp>

namespace TEVRA::report {

namespace {

using Json = nlohmann::ordered_json;

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

Json spacing_json(const SRunInput& input) {
    if (!input.spacing) {
        return nullptr;
    }
    return Json(std::vector<double>(input.spacing->begin(), input.spacing->begin() + input.sizePx.size()));
}

} // namespace

Json RecordHead(const std::string& command, const std::string& version, const std::string& startTime) {
    Json json;
    json["program"] = "tevra";
    json["version"] = version;
    json["command"] = command;
    json["start_time"] = startTime;
    return json;
}

Json ToJson(const SRunInput& input) {
    Json json;
    json["path"] = input.path;
    json["bytes"] = input.check ? Json(input.check->bytes) : Json(nullptr);
    json["checksum"] = input.check ? Json(input.check->checksum) : Json(nullptr);
    json["checksum_of"] = input.check ? Json(input.check->checksumOf) : Json(nullptr);
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
    if (!input.missingSlices.empty()) {
        json["missing_slices"] = input.missingSlices;
    }
    if (input.largestRounding > 0.0) {
        json["largest_rounding"] = input.largestRounding;
    }
    return json;
}

Json ToJson(const SRunForeground& foreground) {
    Json json;
    json["threshold"] = foreground.threshold ? Json(*foreground.threshold) : Json(nullptr);
    json["pixels"] = foreground.pixels;
    json["share"] = static_cast<double>(foreground.pixels) / static_cast<double>(foreground.ofPixels);
    return json;
}

Json FilesJson(const std::vector<std::string>& files) {
    return files;
}

Json FileChecksJson(const std::vector<SFileCheck>& files) {
    Json json = Json::object();
    for (const SFileCheck& file : files) {
        json[file.name] = {{"bytes", file.bytes}, {"checksum", file.checksum}};
    }
    return json;
}

} // namespace TEVRA::report
