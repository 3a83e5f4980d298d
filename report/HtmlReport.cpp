// SPDX-License-Identifier: BSD-3-Clause
#include "report/HtmlReport.h"

#include "report/Base64.h"
#include "report/Json.h"
#include "report/Tables.h"
#include "report/web/Page.h"

#include "Axes/DirectionGrid.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string_view>

namespace TEVRA::report {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view AXES = "xyz";
constexpr int FORMAT = 1; ///< of the document, for the page's script

Json field_json(const Impl::SFieldResult& field) {
    const Impl::STensorValues& values = field.values;
    const std::size_t axes = values.tensor.dim;
    Json json;
    json["foreground_pixels"] = field.foregroundPixels;
    json["foreground_fraction"] = field.foregroundFraction;
    json["status"] = Impl::StatusText(field.status);
    for (std::size_t i = 0; i < axes; ++i) {
        for (std::size_t j = i; j < axes; ++j) {
            json[std::string("a_") + AXES[i] + AXES[j]] = values.tensor(i, j);
        }
    }
    for (std::size_t i = 0; i < axes; ++i) {
        json["lambda_" + std::to_string(i + 1)] = values.eigenvalues[i];
    }
    for (std::size_t i = 0; i < axes; ++i) {
        json[std::string("mean_") + AXES[i]] = values.meanDirection[i];
    }
    json["anisotropy"] = values.anisotropy;
    if (field.meanConfidence) {
        json["mean_confidence"] = *field.meanConfidence;
    }
    if (field.doubtfulFraction) {
        json["doubtful_fraction"] = *field.doubtfulFraction;
    }
    Json box = Json::array();
    for (std::size_t i = 0; i < axes; ++i) {
        const auto axis = static_cast<int>(i);
        box.push_back({field.box.Point0()[axis], field.box.Point1()[axis]});
    }
    json["box_px"] = box;
    return json;
}

/// Tables are those of the files, as text: the script reads them as any program would.
void add_tables(Json& json, const Impl::SAnalysisResult& result, const SRunRecord::SParameters& parameters) {
    std::size_t slices = 0;
    for (const auto& profile : result.profiles) {
        slices += profile.size();
    }
    const bool fits = result.subfields.size() <= MOST_REPORTED_ROWS;
    const bool profilesFit = slices <= MOST_REPORTED_ROWS;
    json["subfields"]["count"] = result.subfields.size();
    json["subfields"]["csv"] = nullptr;
    json["profiles"]["count"] = slices;
    json["profiles"]["csv"] = nullptr;
    if (!result.ListsSubfields()) {
        return;
    }
    const std::string& lengthUnit = parameters.request.lengthUnit;
    if (fits) {
        json["subfields"]["csv"] = SubfieldsCsv(result, lengthUnit, parameters.reference);
    }
    if (profilesFit) {
        json["profiles"]["csv"] = ProfilesCsv(result, lengthUnit, parameters.reference);
    }
}

Json histogram_json(const Impl::SAnalysisResult& result) {
    if (!result.smoothedHistogram) {
        return nullptr;
    }
    constexpr std::size_t MOST_BINS = 256;
    const Impl::SGreyHistogram& all = *result.smoothedHistogram;
    const std::size_t joined = (all.counts.size() + MOST_BINS - 1) / MOST_BINS;
    std::vector<unsigned long long> counts;
    for (std::size_t bin = 0; bin < all.counts.size(); ++bin) {
        if (bin % joined == 0) {
            counts.push_back(0);
        }
        counts.back() += all.counts[bin];
    }
    const double binWidth = (all.hi - all.lo) / static_cast<double>(all.counts.size());
    Json json;
    json["lo"] = all.lo;
    json["bin_width"] = binWidth * static_cast<double>(joined);
    json["counts"] = counts;
    return json;
}

/// Four digits are more than a picture shows.
double rounded(double value) {
    constexpr double DIGITS = 1e4;
    return std::isfinite(value) ? std::round(value * DIGITS) / DIGITS : value;
}

Json directions_json(const SPictureData& pictures, int dim) {
    Json json;
    json["counts"] = nullptr;
    json["density"] = nullptr;
    if (dim == 2) {
        json["counts"] = pictures.directions;
        return json;
    }
    Json values = Json::array();
    for (const float value : pictures.density.values) {
        values.push_back(std::isnan(value) ? Json(nullptr) : Json(rounded(static_cast<double>(value))));
    }
    json["density"] = values;
    json["nodes"] = SDirectionDensity::NODES;
    return json;
}

std::string packed_planes(const SSection& section, BytePacker pack) {
    std::vector<std::byte> planes;
    const auto append = [&planes](const std::vector<std::uint8_t>& plane) {
        const auto bytes = std::as_bytes(std::span(plane));
        planes.insert(planes.end(), bytes.begin(), bytes.end());
    };
    append(section.grey);
    for (const std::vector<std::uint8_t>& channel : section.color) {
        append(channel);
    }
    append(section.coverage);
    append(section.confidence);
    const std::string packed = pack(planes);
    return Base64(std::as_bytes(std::span(packed)));
}

/// Adds a member to the text of an object. @param value as JSON.
void add_member(std::string& object, std::string_view key, std::string_view value) {
    object.pop_back();
    object.append(",\"").append(key).append("\":").append(value).append("}");
}

/// The planes are megabytes of letters that need no quoting: written as they are, past the JSON library.
std::string sections_text(const SPictureData& pictures) {
    std::string images = "[";
    for (std::size_t at = 0; at < pictures.sections.sections.size(); ++at) {
        const SSection& section = pictures.sections.sections[at];
        Json json;
        json["axis"] = std::string(1, AXES[section.axis]);
        json["slice_px"] = section.slicePx;
        json["size"] = section.size;
        json["has_confidence"] = !section.confidence.empty();
        std::string image = ToLine(json);
        add_member(image, "planes", '"' + pictures.packedSections.at(at) + '"');
        images.append(at > 0 ? "," : "").append(image);
    }
    Json json;
    json["block_px"] = pictures.sections.blockPx;
    json["grey_range"] = pictures.sections.greyRange;
    std::string text = ToLine(json);
    add_member(text, "images", images + ']');
    return text;
}

/// The colors of angles from 0 to 179 degrees.
Json angle_colors() {
    Json colors = Json::array();
    for (std::size_t degree = 0; degree < Impl::CAngleGrid::CELLS; ++degree) {
        const Impl::SColor color = Impl::ColorOfAngle(static_cast<double>(degree) / 180.0 * std::numbers::pi);
        colors.push_back({color.red, color.green, color.blue});
    }
    return colors;
}

/// The record without what differs between runs that give the same results.
Json record_json(const SRunRecord& record) {
    Json json = Json::parse(RunJson(record));
    for (const char* key : {"start_time", "memory", "seconds", "idle_seconds", "file_checks"}) {
        json.erase(key);
    }
    json["parameters"].erase("threads");
    json["parameters"].erase("processes");
    return json;
}

std::string with_replaced(std::string_view text, std::string_view part, std::string_view replacement) {
    const std::size_t at = text.find(part);
    if (at == std::string_view::npos) {
        throw std::logic_error("the page of reports has no place for data");
    }
    std::string changed;
    changed.reserve(text.size() + replacement.size());
    changed.append(text.substr(0, at)).append(replacement).append(text.substr(at + part.size()));
    return changed;
}

} // namespace

bool HasReportPage() {
    return !web::Page().empty();
}

std::vector<std::string> PackedSections(const SSections& sections, BytePacker pack, ITaskRunner& runner) {
    std::vector<std::string> packed(sections.sections.size());
    runner.Run(static_cast<long long>(packed.size()), [&](long long at) {
        packed[static_cast<std::size_t>(at)] =
            packed_planes(sections.sections[static_cast<std::size_t>(at)], pack);
    });
    return packed;
}

std::string ReportJson(const Impl::SAnalysisResult& result, const SRunRecord& record,
                       const SPictureData* pictures) {
    Json json;
    json["format"] = FORMAT;
    json["dim"] = result.dim;
    const std::string& unit = record.parameters.request.lengthUnit;
    json["length_unit"] = unit;
    json["spacing"] = std::vector<double>(result.parameters.spacing.begin(),
                                          result.parameters.spacing.begin() + result.dim);
    json["border_px"] = result.borderPx;
    json["record"] = record_json(record);
    json["field"] = field_json(result.field);
    add_tables(json, result, record.parameters);
    json["histogram"] = histogram_json(result);
    json["directions"] = pictures != nullptr ? directions_json(*pictures, result.dim) : Json(nullptr);
    json["angle_colors"] = result.dim == 2 ? angle_colors() : Json(nullptr);
    std::string text = ToLine(json);
    add_member(text, "sections", pictures != nullptr ? sections_text(*pictures) : "null");
    return text;
}

std::string ForScriptElement(const std::string& json) {
    // These stand in strings only, where their numbers mean the same.
    std::string text;
    text.reserve(json.size());
    for (const char letter : json) {
        switch (letter) {
        case '<':
            text += "\\u003c";
            break;
        case '>':
            text += "\\u003e";
            break;
        case '&':
            text += "\\u0026";
            break;
        default:
            text += letter;
        }
    }
    return text;
}

std::string HtmlReport(const Impl::SAnalysisResult& result, const SRunRecord& record,
                       const SPictureData* pictures) {
    return with_replaced(web::Page(), web::DATA_PLACE,
                         ForScriptElement(ReportJson(result, record, pictures)));
}

} // namespace TEVRA::report
