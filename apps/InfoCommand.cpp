// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Commands.h"
#include "apps/Console.h"
#include "apps/ImageInput.h"
#include "apps/PrintableText.h"

#include "jobs/ReadingNotes.h"
#include "jobs/Texts.h"
#include "report/Json.h"
#include "volume/ImageConversion.h"

#include <CLI/App.hpp>
#include <nlohmann/json.hpp>

#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::apps {

namespace {

struct SInfoOptions {
    std::string image;
    std::optional<std::string> raw;
    bool json = false;
    bool allowGaps = false;
};

void print_row(const char* name, const std::string& value) {
    std::cout << std::left << std::setw(14) << name << PrintableText(value) << '\n';
}

std::vector<double> spacing_of(const volume::SImageInfo& info) {
    return {info.spacing->begin(), info.spacing->begin() + info.size.Dim()};
}

std::string spacing_text(const volume::SImageInfo& info) {
    if (!info.spacing) {
        return "none (" + info.spacingNote + ")";
    }
    std::string text;
    for (const double length : spacing_of(info)) {
        text += (text.empty() ? "" : " x ") + jobs::RoundedText(length);
    }
    return jobs::WithUnit(text, info.spacingUnit) + " (" + info.spacingNote + ")";
}

std::string values_text(const volume::SValueRange& values) {
    std::string text = jobs::RoundedText(values.lo) + " to " + jobs::RoundedText(values.hi);
    if (values.nanCount > 0) {
        text += ", and " + std::to_string(values.nanCount) + " not a number";
    }
    if (values.infiniteCount > 0) {
        text += ", and " + std::to_string(values.infiniteCount) + " infinite";
    }
    return text;
}

void print_text(const volume::SImageInfo& info, const volume::SValueRange& values, double largestRounding) {
    print_row("format", info.format);
    print_row("size", jobs::SizeText(jobs::ExtentsOf(info.size)) + " px");
    print_row("pixel type", info.storedType);
    print_row("spacing", spacing_text(info));
    print_row("values", values_text(values));
    if (!info.lossyCompression.empty()) {
        print_row("losses", "by " + info.lossyCompression);
    }
    if (!info.missingSlices.empty()) {
        print_row("missing", "slices with the numbers " + info.missingSlices);
    }
    if (largestRounding > 0.0) {
        print_row("rounding", "up to " + jobs::RoundedText(largestRounding, 2) + ", to 32-bit float");
    }
}

void print_json(const volume::SImageInfo& info, const volume::SValueRange& values, double largestRounding) {
    nlohmann::ordered_json json;
    json["format"] = info.format;
    json["size_px"] = jobs::ExtentsOf(info.size);
    json["pixel_type"] = info.storedType;
    json["spacing"] = nullptr;
    json["length_unit"] = nullptr;
    if (info.spacing) {
        json["spacing"] = spacing_of(info);
    }
    if (!info.spacingUnit.empty()) {
        json["length_unit"] = info.spacingUnit;
    }
    json["spacing_note"] = info.spacingNote;
    json["smallest_value"] = values.lo;
    json["largest_value"] = values.hi;
    json["nan_pixels"] = values.nanCount;
    json["infinite_pixels"] = values.infiniteCount;
    json["missing_slices"] = info.missingSlices.empty() ? nlohmann::ordered_json(nullptr)
                                                        : nlohmann::ordered_json(info.missingSlices);
    json["lossy_compression"] = info.lossyCompression.empty() ? nlohmann::ordered_json(nullptr)
                                                              : nlohmann::ordered_json(info.lossyCompression);
    json["largest_rounding"] = largestRounding;
    std::cout << report::ToText(json);
}

volume::SValueRange read_values(volume::IImageReader& reader, const SInfoOptions& options) {
    CConsole console(EVerbosity::normal); // its progress bar is gone before anything is printed
    if (!options.allowGaps) {
        WarnOfMissingSlices(options.image, reader.Info(), console);
    }
    WarnOfLosses(reader.Info(), console);
    const volume::SValueRange values = volume::ValueRange(reader);
    if (const auto note = jobs::RoundingNote(reader.Info(), reader.LargestRounding(), values);
        note && note->isSerious) {
        console.Warn(note->text);
    }
    return values;
}

void run(const SInfoOptions& options) {
    const auto reader = OpenInput(options.image, options.raw);
    const volume::SValueRange values = read_values(*reader, options);
    if (options.json) {
        print_json(reader->Info(), values, reader->LargestRounding());
    } else {
        print_text(reader->Info(), values, reader->LargestRounding());
    }
}

} // namespace

SCommand AddInfoCommand(CLI::App& program) {
    const auto options = std::make_shared<SInfoOptions>();
    CLI::App* const parser = program.add_subcommand(
        "info", "Say what an image file holds: format, size, pixel type, spacing, value range");
    parser
        ->add_option("IMAGE", options->image,
                     "Image file, folder of slices, or dataset of an HDF5 file (file.h5:/dataset)")
        ->required();
    parser->add_option("--raw", options->raw, RAW_OPTION_HELP)->type_name("X,Y,Z,TYPE");
    parser->add_flag("--allow-gaps", options->allowGaps, ALLOW_GAPS_OPTION_HELP);
    parser->add_flag("--json", options->json, "Print JSON instead of text");
    parser->footer(
        "Reads the whole file, so that a broken one shows. Spacing is the distance of neighbouring "
        "pixels along x, y and z.");
    return {parser, [options] { run(*options); }};
}

} // namespace TEVRA::apps
