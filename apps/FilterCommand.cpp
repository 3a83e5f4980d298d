// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"
#include "apps/Commands.h"
#include "apps/Console.h"
#include "apps/Failure.h"
#include "apps/ImageInput.h"
#include "apps/Program.h"

#include "jobs/FilterJob.h"
#include "jobs/Texts.h"
#include "jobs/TransformSizes.h"
#include "report/Outputs.h"
#include "stream/MemoryPlan.h"
#include "stream/ScratchStore.h"

#include <CLI/App.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::apps {

namespace {

struct SFilterOptions {
    std::string image;
    std::string major;
    std::string minor;
    std::string resolution;
    std::string outputFolder;
    std::optional<std::string> mask;
    std::optional<std::string> box;
    std::optional<std::string> rim;
    std::optional<std::string> raw;
    std::optional<std::string> threads;
    std::optional<std::string> memory;
    bool dryRun = false;
    bool allowGaps = false;
    bool quiet = false;
};

bool is_equal_spacing(const std::array<double, 3>& spacing, int dim) {
    constexpr double TOLERANCE = 1e-4; // headers hold rounded numbers
    return std::all_of(spacing.begin(), spacing.begin() + dim, [&spacing](double length) {
        return std::abs(length - spacing[0]) <= TOLERANCE * spacing[0];
    });
}

/// A width of the filters in pixels.
double width_px(const SArgument& argument, const volume::SImageInfo& info) {
    const jobs::SLength given = ReadLengthOrPixels(argument);
    double widthPx = given.value;
    if (!given.unit.empty() && given.unit != "px") {
        const char* const obstacle = !info.spacing              ? "the image states no spacing"
                                     : info.spacingUnit.empty() ? "the image states a spacing without unit"
                                     : !is_equal_spacing(*info.spacing, info.size.Dim())
                                         ? "the image's pixels are no cubes"
                                         : nullptr;
        if (obstacle != nullptr) {
            throw CWorkError(argument.name + ": '" + argument.text + "' has a unit, but " + obstacle +
                             "; give the width in pixels, as a number alone");
        }
        widthPx = jobs::LengthIn(info.spacingUnit, given) / (*info.spacing)[0];
    }
    if (widthPx > jobs::LARGEST_FILTER_WIDTH) {
        throw CUsageError(argument.name + ": '" + argument.text +
                          "' is too wide; give at most 1000 pixels, a standard deviation of 318");
    }
    return widthPx;
}

std::optional<report::SPixelBox> read_box(const std::optional<std::string>& text, int dim) {
    if (!text) {
        return std::nullopt;
    }
    const std::vector<long long> corners = ReadWholeNumbers({"--box", *text});
    if (corners.size() != 2 * static_cast<std::size_t>(dim)) {
        throw CUsageError("--box: '" + *text + "' has " + std::to_string(corners.size()) +
                          " numbers; give two corners, " + (dim == 3 ? "x0,y0,z0,x1,y1,z1" : "x0,y0,x1,y1"));
    }
    const auto middle = corners.begin() + dim;
    for (int axis = 0; axis < dim; ++axis) {
        if (corners.begin()[axis] == middle[axis]) {
            throw CUsageError("--box: '" + *text + "' is empty along " + "xyz"[axis] +
                              ": the second corner is not included");
        }
    }
    return report::SPixelBox{{corners.begin(), middle}, {middle, corners.end()}};
}

report::SFilterParameters read_parameters(const SFilterOptions& options) {
    report::SFilterParameters parameters;
    parameters.resolution = options.resolution;
    if (options.rim) {
        parameters.rimPx = ReadWholeNumbers({"--rim", *options.rim});
    }
    parameters.maskPath = options.mask;
    parameters.threads = ReadThreads(options.threads);
    return parameters;
}

/// The failure in terms of the options.
CUsageError usage_error(const jobs::CFilterParameterError& failure, const SFilterOptions& options) {
    using EParameter = jobs::CFilterParameterError::EParameter;
    const std::string reason = failure.what();
    switch (failure.Parameter()) {
    case EParameter::widths:
        return CUsageError("--major, --minor: " + reason);
    case EParameter::resolution:
        return CUsageError("--resolution: " + reason);
    case EParameter::box:
        return CUsageError("--box: '" + options.box.value_or("") + "': " + reason);
    case EParameter::rim:
        break;
    }
    return CUsageError("--rim" + (options.rim ? ": '" + *options.rim + "'" : std::string()) + ": " + reason);
}

/// Filters know pixels only: where those are no cubes, angles are not those of the material.
void warn_unless_equal(const std::array<double, 3>& spacing, int dim, CConsole& console) {
    if (!is_equal_spacing(spacing, dim)) {
        console.Warn("the spacing of the pixels is not equal along all axes; angles are those between rows, "
                     "columns and slices of pixels");
    }
}

/// As far as the filters reach beyond the image, angles are not to be trusted.
void warn_of_rim(const jobs::SEvaluatedPixels& evaluated, CConsole& console) {
    constexpr std::array<char, 3> AXES{'x', 'y', 'z'};
    std::string axes;
    for (const int axis : evaluated.axesTooThin) {
        axes += (axes.empty() ? "" : ", ") + std::string(1, AXES[static_cast<std::size_t>(axis)]);
    }
    if (!axes.empty()) {
        console.Warn("along " + axes +
                     " the filters reach beyond the image from every pixel: no rim is left out of tensor and "
                     "histogram there; narrower filters suit, or --rim");
    }
    if (evaluated.isBoxClipped) {
        console.Warn("the box reaches into the rim of " + jobs::SizeText(evaluated.rimPx) +
                     " px that is left out; --rim 0 counts it, too");
    }
}

std::string memory_text(const report::SFilterRecord& record) {
    return "memory: up to " + stream::BytesText(record.memory.expectedBytes) + " of " +
           stream::BytesText(record.memory.allowedBytes) + " allowed; " +
           jobs::SizeText(record.transform.sizePx) + " px are transformed, a frame of " +
           std::to_string(record.transform.framePx) + " px on every side included";
}

void say_result(const report::SFilterRecord& record, const std::string& folder, CConsole& console) {
    const report::SRunForeground& foreground = record.foreground;
    const double share = static_cast<double>(foreground.pixels) / static_cast<double>(foreground.ofPixels);
    console.Say("background " + jobs::RoundedText(record.background.level, 4) + ", foreground " +
                jobs::RoundedText(100.0 * share, 3) + " %" +
                (foreground.threshold ? ", from " + jobs::RoundedText(*foreground.threshold, 4) + " on"
                                      : " (from the mask)"));
    if (record.evaluated.pixels == 0) {
        console.Warn("the box holds no foreground pixel; its tensor is 0");
    }
    std::string names = report::RUN_RECORD_FILE;
    for (const std::string& name : record.files) {
        names += " " + name;
    }
    console.Say(std::to_string(record.evaluated.pixels) + " pixels in the tensor; wrote into '" + folder +
                "': " + names);
}

/// "index.mha (number of the direction), ...".
std::string outputs_text() {
    std::string text;
    for (const report::SOutput& output : report::FilterOutputs()) {
        text += (text.empty() ? "" : ", ") + std::string(output.file) + " (" + output.content + ")";
    }
    return text;
}

void run(const SFilterOptions& options) {
    RequireName({"-o", options.outputFolder});
    const SArgument major{"--major", options.major};
    const SArgument minor{"--minor", options.minor};
    ReadLengthOrPixels(major); // a text that is no length is refused before the image is read
    ReadLengthOrPixels(minor);
    report::SFilterParameters parameters = read_parameters(options);
    const std::size_t memoryBytes =
        options.memory ? ReadBytes({"--memory", *options.memory}) : stream::DefaultBudget();
    CConsole console(options.quiet ? EVerbosity::quiet : EVerbosity::normal);
    const auto image = OpenInput(options.image, options.raw);
    RefuseResultsAmongSlices(options.image, options.outputFolder);
    if (!options.allowGaps) {
        WarnOfMissingSlices(options.image, image->Info(), console);
    }
    WarnOfLosses(image->Info(), console);
    const CSize& size = image->Info().size;
    parameters.majorWidth = width_px(major, image->Info());
    parameters.minorWidth = width_px(minor, image->Info());
    parameters.boxPx = read_box(options.box, size.Dim());
    const auto mask = options.mask ? OpenMask(*options.mask, size) : nullptr;
    jobs::CFilterJob job({.image = *image,
                          .mask = mask.get(),
                          .parameters = parameters,
                          .outputFolder = options.outputFolder,
                          .memoryBytes = memoryBytes,
                          .imagePath = options.image,
                          .programVersion = ProgramVersion()});
    try {
        job.Plan(options.dryRun ? jobs::CFilterJob::EPurpose::estimate : jobs::CFilterJob::EPurpose::run);
    } catch (const jobs::CFilterParameterError& failure) {
        throw usage_error(failure, options);
    }
    if (const auto note = jobs::SlowTransformNote(size, parameters.majorWidth, parameters.minorWidth)) {
        console.Say(*note);
    }
    const auto warn = [&] {
        if (image->Info().spacing) {
            warn_unless_equal(*image->Info().spacing, size.Dim(), console);
        }
        warn_of_rim(job.Evaluated(), console);
    };
    if (options.dryRun) {
        warn();
        std::cout << memory_text(job.Record()) << std::endl;
        return;
    }
    console.Say(memory_text(job.Record()));
    job.Run();
    SayRounding(job.Rounding(), console);
    job.Save();
    warn();
    say_result(job.Record(), options.outputFolder, console);
    SayEarlierFiles(job.Files(), console);
}

} // namespace

SCommand AddFilterCommand(CLI::App& program) {
    const auto options = std::make_shared<SFilterOptions>();
    CLI::App* const parser = program.add_subcommand(
        "filter",
        "Find fiber axes by a bank of oriented filters: the best of 18, 50 or 98 directions per pixel");
    parser
        ->add_option(
            "IMAGE", options->image,
            "Grey-value image, 2D or 3D, with fibers brighter than what is around them (formats: see "
            "'tevra analyze --help')")
        ->required();
    parser
        ->add_option("--major", options->major,
                     "Width of the filters along their direction: pi times the standard deviation, in pixels "
                     "or with a unit, as in 15um")
        ->required()
        ->type_name("A");
    parser
        ->add_option("--minor", options->minor,
                     "Width across, likewise; about twice the fiber radius in pixels suits, and two to three "
                     "times as much along")
        ->required()
        ->type_name("B");
    parser
        ->add_option("--resolution", options->resolution,
                     "Number of directions: coarse (18), medium (50) or fine (98)")
        ->required()
        ->type_name("NAME");
    parser->add_option("-o,--output", options->outputFolder, "Folder for the results, made if needed")
        ->required()
        ->type_name("DIR");
    parser->add_option("--mask", options->mask, MASK_OPTION_HELP)->type_name("FILE");
    parser
        ->add_option("--box", options->box,
                     "Pixels of tensor and histogram: two corners x0,y0[,z0],x1,y1[,z1], the second one not "
                     "included. Default: the whole image. The rim is left out of either")
        ->type_name("CORNERS");
    parser
        ->add_option("--rim", options->rim,
                     "Pixels that tensor and histogram leave out at every side of the image: N, or X,Y[,Z]. "
                     "Default: as far as the filters reach, 2/pi times the width along")
        ->type_name("N");
    parser->add_option("--raw", options->raw, RAW_OPTION_HELP)->type_name("X,Y,Z,TYPE");
    parser->add_flag("--allow-gaps", options->allowGaps, ALLOW_GAPS_OPTION_HELP);
    parser->add_option("--threads", options->threads, THREADS_OPTION_HELP)->type_name("N");
    parser
        ->add_option(
            "--memory", options->memory,
            "Most memory to use, as in 512M or 1.5G; more is refused before any work. Default: half of "
            "the machine's")
        ->type_name("SIZE");
    parser->add_flag("--dry-run", options->dryRun, "Only print how much memory the filters will need");
    parser->add_flag("--quiet", options->quiet, "Print nothing but warnings and errors");
    parser->footer(
        "The image is continued by the level of its background where filters reach beyond it.\n\nResults: " +
        outputs_text() +
        ".\n\nExample: tevra filter fibers.tif --major 12 --minor 5 --resolution medium -o results");
    return {parser, [options] { run(*options); }};
}

} // namespace TEVRA::apps
