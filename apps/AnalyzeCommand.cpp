// SPDX-License-Identifier: BSD-3-Clause
#include "apps/AnalyzeBatch.h"
#include "apps/Arguments.h"
#include "apps/Commands.h"
#include "apps/Console.h"
#include "apps/Failure.h"
#include "apps/ImageInput.h"
#include "apps/PrintableText.h"
#include "apps/Program.h"
#include "apps/Ranks.h"

#include "Axes/AxisAngles.h"
#include "jobs/AnalyzeJob.h"
#include "jobs/NoForeground.h"
#include "jobs/Ranks.h"
#include "jobs/Texts.h"
#include "volume/FileIdentity.h"
#include "volume/ImageConversion.h"

#include <CLI/App.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <memory>
#include <numbers>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace TEVRA::apps {

namespace {

/// The options as given.
struct SAnalyzeOptions {
    std::vector<std::string> images;
    std::string fiberRadius;
    std::string outputFolder;
    std::string estimator = stream::DEFAULT_ESTIMATOR->name;
    std::optional<std::string> along;
    std::optional<std::string> gradientSigma;
    std::optional<std::string> window; // also the former name of greyWindow
    std::optional<std::string> border;
    std::optional<std::string> otsuFactor;
    std::optional<std::string> threshold;
    std::optional<std::string> subfield;
    std::optional<std::string> subfieldCount;
    std::optional<std::string> exports;
    std::optional<std::string> reference;
    std::optional<std::string> mask;
    std::optional<std::string> spacing;
    std::optional<std::string> greyWindow;
    std::optional<std::string> raw;
    std::optional<std::string> threads;
    std::optional<std::string> memory;
    std::optional<std::string> scratch;
    bool darkFibers = false;
    bool dryRun = false;
    bool resume = false;
    bool fourthOrder = false;
    std::optional<std::string> maps; ///< their format
    std::optional<std::string> stride;
    bool degrees = false;
    bool vectors = false;
    bool rgb = false;
    bool noReport = false;
    bool pictures = false;
    bool noPictures = false;
    bool allowGaps = false;
    bool quiet = false;
};

/// What the options say, each checked by itself.
struct SAnalyzeSettings {
    jobs::SLength fiberRadius;
    const stream::SEstimator* estimator;
    std::optional<jobs::SLength> along;
    std::optional<jobs::SLength> gradientSigma;
    std::optional<jobs::SLength> window;
    std::optional<jobs::SLength> border;
    std::optional<double> otsuFactor;
    std::optional<double> threshold;
    std::vector<long long> subfieldPx;    // as given: none, one for all axes, or one per axis
    std::vector<long long> subfieldCount; // likewise
    std::vector<std::string> exports;
    std::optional<std::array<double, 3>> reference;
    std::optional<jobs::SMapChoice> maps;
    std::optional<SGivenSpacing> spacing;
    std::optional<volume::SGreyWindow> greyWindow;
    int threads;
    std::size_t memoryBytes;
};

const stream::SEstimator* read_estimator(const std::string& name) {
    const stream::SEstimator* const estimator = stream::EstimatorNamed(name);
    if (estimator == nullptr) {
        std::string names;
        for (const stream::SEstimator* const one : stream::ESTIMATORS) {
            names += (names.empty() ? "" : ", ") + std::string(one->name);
        }
        throw CUsageError("--estimator: '" + name + "' is none of " + names);
    }
    return estimator;
}

std::optional<volume::SGreyWindow> read_grey_window(const SArgument& argument) {
    const std::vector<double> ends = ReadNumbers(argument);
    if (ends.size() != 2 || ends[0] >= ends[1]) {
        throw CUsageError(argument.name + ": '" + argument.text +
                          "' is not two grey values, the lower one first, as in 100,4000");
    }
    return volume::SGreyWindow{ends[0], ends[1]};
}

/// A length that may be 0, which needs no unit.
jobs::SLength read_length_or_zero(const SArgument& argument) {
    return argument.text == "0" ? jobs::SLength{0.0, ""} : ReadLengthOrPixels(argument);
}

/// Estimators that have what an option is about, as "line-voting or structure-tensor".
template <typename Has>
std::string estimators_with(const Has& has) {
    std::string names;
    for (const stream::SEstimator* const one : stream::ESTIMATORS) {
        if (has(*one)) {
            names += (names.empty() ? "" : " or ") + std::string(one->name);
        }
    }
    return names;
}

/// Options that mean nothing to the estimator.
void refuse_foreign_options(const SAnalyzeOptions& options, const stream::SEstimator& estimator) {
    const auto refuse = [&estimator](const std::string& option, const auto& has, const char* more = "") {
        if (!has(estimator)) {
            throw CUsageError(option + " goes with --estimator " + estimators_with(has) + ", not with " +
                              estimator.name + more);
        }
    };
    const auto averages = [](const stream::SEstimator& one) { return one.averagesAlong; };
    const auto hasWindow = [](const stream::SEstimator& one) { return one.hasWindow; };
    if (options.along) {
        refuse("--along", averages);
    }
    if (options.gradientSigma) {
        refuse("--gradient-sigma", hasWindow);
    }
    if (options.window) {
        refuse("--window", hasWindow, "; two grey values go with --grey-window");
    }
}

/// Lengths that take the place of the estimator's own.
void read_scales(const SAnalyzeOptions& options, SAnalyzeSettings& settings) {
    if (options.along) {
        settings.along = read_length_or_zero({"--along", *options.along});
    }
    if (options.gradientSigma) {
        settings.gradientSigma = ReadLengthOrPixels({"--gradient-sigma", *options.gradientSigma});
    }
    if (options.window) {
        settings.window = ReadLengthOrPixels({"--window", *options.window});
    }
    if (options.border) {
        settings.border = read_length_or_zero({"--border", *options.border});
    }
}

std::vector<long long> read_subfield(const std::optional<std::string>& text) {
    if (!text) {
        return {};
    }
    std::vector<long long> size = ReadWholeNumbers({"--subfield", *text});
    for (const long long extent : size) {
        if (extent < 1) {
            throw CUsageError(
                "--subfield: '" + *text +
                "' has sizes below 1 pixel; leave the option out to analyse the whole field only");
        }
    }
    return size;
}

std::vector<long long> read_subfield_count(const std::optional<std::string>& text) {
    if (!text) {
        return {};
    }
    std::vector<long long> count = ReadWholeNumbers({"--subfield-count", *text});
    if (*std::min_element(count.begin(), count.end()) < 1) {
        throw CUsageError("--subfield-count: '" + *text + "' has counts below 1");
    }
    return count;
}

/// Options that answer the same question.
void refuse_contradictions(const SAnalyzeOptions& options) {
    struct SPair {
        const char* one;
        const char* other;
        bool areGiven;
    };
    const bool mask = options.mask.has_value();
    const bool threshold = options.threshold.has_value();
    const bool factor = options.otsuFactor.has_value();
    for (const SPair& pair :
         {SPair{"--mask", "--otsu-factor", mask && factor}, SPair{"--mask", "--threshold", mask && threshold},
          SPair{"--threshold", "--otsu-factor", threshold && factor}}) {
        if (pair.areGiven) {
            throw CUsageError(std::string(pair.one) + " and " + pair.other +
                              " exclude each other: both say what is foreground; give one of them");
        }
    }
    if (options.subfield && options.subfieldCount) {
        throw CUsageError("--subfield and --subfield-count exclude each other: give the size of subfields or "
                          "their number");
    }
}

std::vector<std::string> map_formats() {
    std::vector<std::string> names;
    names.reserve(volume::SLICE_FORMATS.size());
    for (const volume::ESliceFormat format : volume::SLICE_FORMATS) {
        names.emplace_back(NameOf(format));
    }
    return names;
}

std::optional<jobs::SMapChoice> read_maps(const SAnalyzeOptions& options) {
    if (options.degrees && (!options.maps || options.vectors)) {
        throw CUsageError("--degrees goes with maps of angles only: give --maps, without --vectors");
    }
    if (options.stride && !options.maps && !options.vectors && !options.rgb) {
        throw CUsageError("--stride says which pixels maps have; give --maps, --vectors or --rgb, too");
    }
    if (!options.maps && !options.vectors && !options.rgb) {
        return std::nullopt;
    }
    jobs::SMapChoice choice;
    choice.angles = options.maps && !options.vectors;
    choice.vectors = options.vectors;
    choice.colors = options.rgb;
    if (options.maps) {
        const std::vector<std::string> names = ReadNames({"--maps", *options.maps}, map_formats());
        if (names.size() != 1) {
            throw CUsageError("--maps: '" + *options.maps + "' is not one format, as in tif");
        }
        choice.format = *volume::SliceFormatNamed(names.front());
    }
    choice.angleUnit = options.degrees ? jobs::EAngleUnit::degrees : jobs::EAngleUnit::radians;
    choice.stride = options.stride ? ReadWholeNumber({"--stride", *options.stride}, 1) : 1;
    return choice;
}

/// Two numbers after --window are a grey window, which had that name before.
SAnalyzeOptions with_former_names(SAnalyzeOptions options) {
    if (options.window && options.window->find(',') != std::string::npos) {
        if (options.greyWindow) {
            throw CUsageError(
                "--grey-window and --window with two grey values exclude each other: the former name "
                "means the same; give one of them");
        }
        options.greyWindow = std::exchange(options.window, std::nullopt);
    }
    return options;
}

SAnalyzeSettings read_settings(const SAnalyzeOptions& given, const stream::ICommunicator& ranks) {
    const SAnalyzeOptions options = with_former_names(given);
    refuse_contradictions(options);
    SAnalyzeSettings settings{};
    RequireName({"-o", options.outputFolder});
    RequireName({"--scratch", options.scratch.value_or(".")});
    settings.fiberRadius = ReadLengthOrPixels({"--fiber-radius", options.fiberRadius});
    settings.estimator = read_estimator(options.estimator);
    refuse_foreign_options(options, *settings.estimator);
    read_scales(options, settings);
    if (options.otsuFactor) {
        settings.otsuFactor = ReadPositiveNumber({"--otsu-factor", *options.otsuFactor});
    }
    if (options.threshold) {
        settings.threshold = ReadNumber({"--threshold", *options.threshold});
    }
    settings.subfieldPx = read_subfield(options.subfield);
    if (options.spacing) {
        settings.spacing = ReadSpacing({"--spacing", *options.spacing});
        if (!settings.spacing->unit.empty() && settings.fiberRadius.unit.empty()) {
            throw CUsageError("--fiber-radius: '" + options.fiberRadius +
                              "' has no unit, but --spacing has one; give both a unit, or none");
        }
    }
    settings.subfieldCount = read_subfield_count(options.subfieldCount);
    if (options.greyWindow) {
        settings.greyWindow = read_grey_window({"--grey-window", *options.greyWindow});
    }
    if (options.exports) {
        settings.exports = ReadNames({"--export", *options.exports}, report::ExportNames());
    }
    settings.maps = read_maps(options);
    if (options.reference) {
        settings.reference = ReadDirection({"--reference", *options.reference}, 2);
    }
    // Processes on one machine share what it has.
    const int sharers = ranks.SizeOnThisMachine();
    settings.threads = ReadThreads(options.threads);
    if (!options.threads) {
        settings.threads = std::max(1, settings.threads / sharers);
    }
    settings.memoryBytes = options.memory ? ReadBytes({"--memory", *options.memory})
                                          : stream::DefaultBudget() / static_cast<std::size_t>(sharers);
    return settings;
}

/// Sizes or counts as the library takes them: negative along axes that have none. Along z of a 2D image that
/// is also what the library's size check asks for.
std::array<long long, 3> per_axis(const char* option, const std::vector<long long>& given, int dim) {
    std::array<long long, 3> size = {-1, -1, -1};
    const auto axes = static_cast<std::size_t>(dim);
    if (given.size() == 1) {
        std::fill_n(size.begin(), axes, given.front());
        return size;
    }
    if (!given.empty() && given.size() != axes) {
        throw CUsageError(std::string(option) + " has " + std::to_string(given.size()) +
                          " numbers, but the image has " + std::to_string(dim) +
                          " axes; give one for all axes or one per axis");
    }
    std::copy(given.begin(), given.end(), size.begin());
    return size;
}

/// What to do where no pixel exceeds the threshold.
std::string threshold_advice(jobs::CNoForegroundError::EReason reason, bool isDark) {
    using enum jobs::CNoForegroundError::EReason;
    if (reason == constantImage || reason == emptyMask) {
        return "";
    }
    if (reason == threshold) {
        return "; give another --threshold, or none for an automatic one";
    }
    return isDark ? "; give a smaller --otsu-factor, a --threshold, or the fibers as --mask"
                  : "; give a smaller --otsu-factor, a --threshold, or the fibers as --mask (fibers must be "
                    "brighter than what is around them, or see --dark-fibers)";
}

/// The mean direction as it is printed: what rounds to 0 is 0, and of the two signs of an axis that one for which the
/// last component that is not 0 is positive, so that axes in the x-y plane have azimuths from 0 to 180 degrees.
std::array<double, 3> printed_direction(const Impl::STensorValues& values) {
    constexpr double HALF_A_THOUSANDTH = 0.0005;
    std::array<double, 3> axis = values.meanDirection;
    double sign = 1.0;
    for (double& component : axis) {
        component = std::abs(component) < HALF_A_THOUSANDTH ? 0.0 : component;
        sign = component == 0.0 ? sign : std::copysign(1.0, component);
    }
    for (double& component : axis) {
        component *= sign;
    }
    return axis;
}

std::string direction_text(const Impl::STensorValues& values) {
    const std::array<double, 3> axis = printed_direction(values);
    std::string text;
    for (std::size_t i = 0; i < values.tensor.dim; ++i) {
        text += (text.empty() ? "(" : ", ") + jobs::FixedText(axis[i], 3);
    }
    return text + ")";
}

/// As in "32.0 degrees off z, azimuth 140.0 degrees from x towards y".
std::string angles_text(const Impl::STensorValues& values) {
    constexpr double DEGREES = 180.0 / std::numbers::pi;
    const auto text = [](float angleRad) {
        return jobs::FixedText(DEGREES * static_cast<double>(angleRad), 1) + " degrees";
    };
    const std::array<double, 3> axis = printed_direction(values);
    if (values.tensor.dim == 2) {
        return text(Impl::AngleOfAxis({axis[0], axis[1]})) + " from x towards y";
    }
    const Impl::SAxisAngles angles = Impl::AnglesOfAxis(axis);
    return text(angles.colatitudeRad) + " off z" +
           (axis[0] == 0.0 && axis[1] == 0.0
                ? ""
                : ", azimuth " + text(angles.longitudeRad) + " from x towards y");
}

/// As in "xx 0.700, yy 0.300, xy 0.010".
std::string tensor_text(const Impl::STensorValues& values) {
    constexpr std::string_view AXES = "xyz";
    std::string diagonal;
    std::string others;
    for (std::size_t i = 0; i < values.tensor.dim; ++i) {
        for (std::size_t j = i; j < values.tensor.dim; ++j) {
            std::string& text = i == j ? diagonal : others;
            text += (text.empty() ? "" : ", ") + std::string{AXES[i], AXES[j]} + " " +
                    jobs::FixedText(values.tensor(i, j), 3);
        }
    }
    return diagonal + ", " + others;
}

/// One run of the command: from the files named to the files written.
class CAnalyzeRun {
  public:
    /// @param folder for the results. All but the names must outlive the object.
    CAnalyzeRun(const SAnalyzeOptions& options, const SAnalyzeSettings& settings, std::string image,
                std::string folder, stream::ICommunicator& ranks)
        : m_options(options), m_settings(settings), m_image(std::move(image)), m_folder(std::move(folder)),
          m_ranks(ranks),
          m_console(options.quiet || !ranks.IsFirst() ? EVerbosity::quiet : EVerbosity::normal) {}

    void Run() {
        std::unique_ptr<volume::IImageReader> image;
        std::unique_ptr<volume::IImageReader> mask;
        std::optional<jobs::CAnalyzeJob> job;
        jobs::DoTogether(m_ranks, [&] {
            image = OpenInput(m_image, m_options.raw);
            RefuseResultsAmongSlices(m_image, m_folder);
            if (!m_options.allowGaps && m_ranks.IsFirst()) {
                WarnOfMissingSlices(m_image, image->Info(), m_console);
            }
            jobs::SAnalyzeTask task = task_of(*image);
            if (m_options.mask) {
                mask = OpenMask(*m_options.mask, image->Info().size);
                task.input.mask = mask.get();
            }
            job.emplace(task, m_ranks);
            say_radius(*job, image->Info());
            say_warnings(*job); // before the layout is checked: a broken spacing may be why it does not fit
        });
        job->Plan(m_options.dryRun ? jobs::CAnalyzeJob::EPurpose::estimate
                                   : jobs::CAnalyzeJob::EPurpose::run);
        say_memory(*job);
        say_subfields(job->Record().parameters);
        say_grey_values(image->Info());
        say_earlier(job->Earlier());
        say_warnings(*job);
        if (m_options.dryRun) {
            return;
        }
        try {
            job->Run();
        } catch (const jobs::CNoForegroundError& failure) {
            const bool isDark = job->Record().parameters.request.contrast == Impl::EFiberContrast::dark;
            jobs::FailTogether(m_ranks,
                               CWorkError(failure.what() + threshold_advice(failure.Reason(), isDark)));
        }
        say_warnings(*job);
        if (m_ranks.IsFirst()) {
            SayRounding(
                jobs::RoundingNote(image->Info(), job->Record().input.largestRounding, job->Result().range),
                m_console);
        }
        job->Save();
        if (m_ranks.IsFirst()) {
            say_result(*job);
            m_result = job->Result().analysis;
        }
    }

    /// Of the first process, after `Run`.
    const Impl::SAnalysisResult& Result() const noexcept { return m_result; }

  private:
    /// What is to be done, from the options and the image's header.
    jobs::SAnalyzeTask task_of(volume::IImageReader& image) {
        const int dim = image.Info().size.Dim();
        const SPixelSpacing spacing = SpacingOf(image.Info(), m_settings.spacing);
        jobs::SAnalyzeTask task{.input = {image, nullptr, m_settings.greyWindow, m_settings.estimator}};
        const jobs::SImageLengths lengths{spacing.unit,
                                          std::span(spacing.length).first(static_cast<std::size_t>(dim))};
        task.request.fiberRadius =
            jobs::LengthInUnitOfImage(m_settings.fiberRadius, "the fiber radius", lengths);
        task.request.spacing = spacing.length;
        task.request.lengthUnit = spacing.unit;
        const auto length = [&lengths](const std::optional<jobs::SLength>& given, const char* name) {
            return given ? std::optional(jobs::LengthInUnitOfImage(*given, name, lengths)) : std::nullopt;
        };
        task.request.along = length(m_settings.along, "the length along fibers");
        task.request.gradientSigma = length(m_settings.gradientSigma, "the width of gradients");
        task.request.windowSigma = length(m_settings.window, "the window");
        task.request.border = length(m_settings.border, "the border");
        task.request.otsuFactor = m_settings.otsuFactor;
        task.request.threshold = m_settings.threshold;
        task.request.contrast =
            m_options.darkFibers ? Impl::EFiberContrast::dark : Impl::EFiberContrast::bright;
        task.request.subfieldPx = per_axis("--subfield", m_settings.subfieldPx, dim);
        if (!m_settings.subfieldCount.empty()) {
            task.request.subfieldCount = per_axis("--subfield-count", m_settings.subfieldCount, dim);
        }
        task.request.withFourthOrder = m_options.fourthOrder;
        task.withMaps = m_settings.maps.has_value();
        task.maps = m_settings.maps.value_or(jobs::SMapChoice{});
        task.withReport = !m_options.noReport;
        task.withPictures = m_options.pictures || !(m_options.noReport || m_options.noPictures);
        task.exports = m_settings.exports;
        task.reference = reference_in(dim);
        task.outputFolder = m_folder;
        task.scratchFolder = m_options.scratch;
        task.resumes = m_options.resume;
        task.threads = m_settings.threads;
        task.memoryBytes = m_settings.memoryBytes;
        task.imagePath = m_image;
        task.maskPath = m_options.mask;
        if (spacing.origin != report::ESpacingOrigin::none) {
            task.spacing = spacing.length;
        }
        task.spacingOrigin = spacing.origin;
        task.programVersion = ProgramVersion();
        task.imageIdentity =
            volume::FileIdentity(image) + "as " + m_image + "; raw " + m_options.raw.value_or("-");
        return task;
    }

    std::optional<std::array<double, 3>> reference_in(int dim) const {
        const auto& reference = m_settings.reference;
        if (reference && dim == 2 && (*reference)[2] != 0.0) {
            throw CUsageError("--reference: '" + *m_options.reference +
                              "' leads out of the plane of a 2D image; give X,Y");
        }
        if (reference && dim == 3 &&
            std::count(m_options.reference->begin(), m_options.reference->end(), ',') < 2) {
            throw CUsageError("--reference: '" + *m_options.reference +
                              "' has 2 numbers, but the image has 3 axes; give X,Y,Z");
        }
        return reference;
    }

    void say_radius(const jobs::CAnalyzeJob& job, const volume::SImageInfo& info) {
        const Impl::SAnalysisRequest& request = job.Record().parameters.request;
        const int dim = info.size.Dim();
        const SPixelSpacing spacing = SpacingOf(info, m_settings.spacing);
        m_console.Say(
            "fiber radius " + jobs::RadiusText(request, dim) + "; spacing " +
            (spacing.origin == report::ESpacingOrigin::none ? "none" : stream::SpacingText(request, dim)) +
            " (" + spacing.note + ")");
    }

    void say_grey_values(const volume::SImageInfo& info) {
        if (const auto& window = m_settings.greyWindow) {
            m_console.Say("grey values brought to 8 bit: " + jobs::RoundedText(window->lo) + " becomes 0, " +
                          jobs::RoundedText(window->hi) + " becomes 255 (--grey-window)");
        } else if (info.pixelType != volume::EPixelType::u8) {
            m_console.Say(
                (info.isRounded ? "grey values in 32-bit floats (" : "grey values in their own precision (") +
                info.storedType + ")");
        }
    }

    void say_earlier(stream::CCheckpoint::EState state) {
        if (state == stream::CCheckpoint::EState::reusable) {
            m_console.Say("going on with the smoothed slices of an earlier run");
        } else if (state == stream::CCheckpoint::EState::other) {
            m_console.Warn("the earlier run in '" + m_folder +
                           "' was of another image, radius, window, number of processes or version, or its "
                           "files are incomplete; starting over");
        }
    }

    /// On standard output where that is all there is to do.
    void say_memory(const jobs::CAnalyzeJob& job) {
        const std::string text = memory_text(job.Memory(), job.ScratchFolder());
        if (!m_options.dryRun) {
            m_console.Say(text);
        } else if (m_ranks.IsFirst()) {
            std::cout << PrintableText(text) << std::endl;
        }
    }

    static std::string memory_text(const stream::SMemoryPlan& plan, const std::string& scratchFolder) {
        const std::string scratch = stream::BytesText(plan.scratchBytes);
        return "memory: up to " + stream::BytesText(plan.peakBytes) + " of " +
               stream::BytesText(plan.budgetBytes) + " allowed; scratch: " + scratch +
               (plan.scratchKind == stream::SScratchPlace::EKind::memory
                    ? " of it"
                    : " in a temporary file in '" + scratchFolder + "'");
    }

    /// What subfields of one size leave out.
    void say_subfields(const report::SRunRecord::SParameters& parameters) {
        std::string text;
        for (std::size_t axis = 0; axis < parameters.beyondSubfieldsPx.size(); ++axis) {
            const long long pixels = parameters.beyondSubfieldsPx[axis];
            if (pixels > 0) {
                text += (text.empty() ? "the last " : ", ") + std::to_string(pixels) +
                        (axis == 2 ? " slices" : " px") + " along " + "xyz"[axis];
            }
        }
        if (!text.empty()) {
            m_console.Say("in no subfield, only in the whole field: " + text +
                          " before the border (--subfield-count divides all of it)");
        }
    }

    /// Those that have not been said.
    void say_warnings(const jobs::CAnalyzeJob& job) {
        for (; m_ranks.IsFirst() && m_warningsSaid < job.Warnings().size(); ++m_warningsSaid) {
            const jobs::SWarning& warning = job.Warnings()[m_warningsSaid];
            m_console.Warn(jobs::WarningText(warning, job.Record().parameters.request) +
                           advice(warning.kind));
        }
    }

    /// What to do, in options.
    std::string advice(jobs::EWarning kind) const {
        switch (kind) {
        case jobs::EWarning::tinyForeground:
        case jobs::EWarning::hugeForeground:
            return std::string("; if that is not so, try ") +
                   (m_options.threshold                      ? "another"
                    : kind == jobs::EWarning::tinyForeground ? "a smaller --otsu-factor, a"
                                                             : "a larger --otsu-factor, a") +
                   " --threshold or a --mask" +
                   (m_options.darkFibers
                        ? ""
                        : ", or --dark-fibers if the fibers are darker than what is around them");
        case jobs::EWarning::unresolvedFibers:
            return std::string("; check ") + (m_options.raw ? "--raw and " : "") +
                   "--fiber-radius, or take --estimator structure-tensor for what is not resolved: tows, "
                   "fine "
                   "textures";
        case jobs::EWarning::brokenSpacing:
            return "; give the right one as --spacing";
        case jobs::EWarning::thickPixels:
            return "; take --estimator structure-tensor, or an image with thinner pixels";
        case jobs::EWarning::smallRadius:
        case jobs::EWarning::largeRadius:
        case jobs::EWarning::lossyPixels:
        case jobs::EWarning::nanPixels:
        case jobs::EWarning::infinitePixels:
        case jobs::EWarning::vagueDirection:
            break;
        }
        return {};
    }

    void say_result(const jobs::CAnalyzeJob& job) {
        const Impl::SFieldResult& field = job.Result().analysis.field;
        const report::SRunRecord::SForeground& foreground = job.Record().foreground;
        const double share =
            static_cast<double>(foreground.pixels) / static_cast<double>(foreground.ofPixels);
        m_console.Say("foreground " + jobs::RoundedText(100.0 * share, 3) + " % of the image" +
                      (foreground.threshold
                           ? std::string(m_options.darkFibers ? ", darker" : ", brighter") + " than " +
                                 jobs::RoundedText(*foreground.threshold) + " when smoothed"
                           : ", as the mask says"));
        m_console.Say("mean direction " + direction_text(field.values) + ": " + angles_text(field.values) +
                      "; anisotropy " + jobs::RoundedText(field.values.anisotropy, 3) +
                      ", status: " + Impl::StatusText(field.status));
        m_console.Say("tensor " + tensor_text(field.values));
        say_confidence(field);
        std::string names = report::RUN_RECORD_FILE;
        for (const std::string& name : job.Files().Names()) {
            names += " " + name;
        }
        m_console.Say("wrote into '" + m_folder + "': " + names);
        say_report(job);
        SayEarlierFiles(job.Files(), m_console);
    }

    /// Where to look, or why there is nothing.
    void say_report(const jobs::CAnalyzeJob& job) {
        if (job.Files().Has(report::REPORT_FILE)) {
            m_console.Say("to look at in a browser: " +
                          (job.Files().Folder() / report::REPORT_FILE).string());
        } else if (!m_options.noReport) {
            m_console.Say("report.html was left out: this tevra was built without Node.js; install it (18 or "
                          "newer, with npm) and build again, or leave it out with --no-report");
        }
    }

    /// Of estimators that know it.
    void say_confidence(const Impl::SFieldResult& field) {
        if (field.meanConfidence) {
            m_console.Say("mean confidence of axes " + jobs::RoundedText(*field.meanConfidence, 3) +
                          (field.doubtfulFraction
                               ? "; doubtful (below " + jobs::RoundedText(Impl::DOUBTFUL_CONFIDENCE) +
                                     "): " + jobs::RoundedText(100.0 * *field.doubtfulFraction, 3) + " %"
                               : ""));
        }
    }

    const SAnalyzeOptions& m_options;
    const SAnalyzeSettings& m_settings;
    std::string m_image;
    std::string m_folder;
    stream::ICommunicator& m_ranks;
    CConsole m_console;
    Impl::SAnalysisResult m_result;
    std::size_t m_warningsSaid = 0;
};

/// One image into the folder, or several into folders in it.
void analyze(const SAnalyzeOptions& options, stream::ICommunicator& ranks) {
    const SAnalyzeSettings settings = read_settings(options, ranks);
    if (options.images.size() == 1 || options.dryRun) {
        for (const std::string& image : options.images) {
            CAnalyzeRun(options, settings, image, options.outputFolder, ranks).Run();
        }
        return;
    }
    std::size_t number = 0;
    const auto analyze_one = [&](report::SBatchEntry& entry, const std::string& folder) {
        if (ranks.IsFirst() && !options.quiet) {
            CConsole(EVerbosity::normal)
                .Say("image " + std::to_string(++number) + " of " + std::to_string(options.images.size()) +
                     ": " + entry.image);
        }
        CAnalyzeRun run(options, settings, entry.image, folder, ranks);
        run.Run();
        entry.dim = run.Result().dim;
        entry.field = run.Result().field;
    };
    AnalyzeAll(options.images, options.outputFolder, ranks, analyze_one);
}

const char* option_of(report::EOutputCondition condition) {
    switch (condition) {
    case report::EOutputCondition::subfields:
        return ", with --subfield or --subfield-count also ";
    case report::EOutputCondition::fourthOrder:
        return ", with --fourth-order besides ";
    case report::EOutputCondition::exported:
        return ", with --export also ";
    case report::EOutputCondition::report:
        return ", without --no-report also ";
    case report::EOutputCondition::pictures:
        return ", without --no-report or --no-pictures also ";
    case report::EOutputCondition::profilePictures:
        return ", and with subfields ";
    case report::EOutputCondition::maps:
        return ", with --maps also ";
    case report::EOutputCondition::mapsIn3d:
        return ", with --maps in 3D also ";
    case report::EOutputCondition::vectors:
        return ", with --vectors also ";
    case report::EOutputCondition::colors:
        return ", with --rgb also ";
    case report::EOutputCondition::confidence:
        return ", with --maps also, unless by the Hessian, ";
    case report::EOutputCondition::always:
        break;
    }
    return ", ";
}

/// "Results: result.json (tensors), ...".
std::string outputs_text() {
    std::string text = "Results: ";
    std::optional<report::EOutputCondition> before;
    const auto add = [&](const report::SOutput& output) {
        if (before) {
            text += *before == output.condition ? ", " : option_of(output.condition);
        }
        before = output.condition;
        text += std::string(output.file) + " (" + output.content + ")";
    };
    const std::span<const report::SOutput> outputs = report::Outputs();
    for (const bool always : {true, false}) {
        for (const report::SOutput& output : outputs) {
            if ((output.condition == report::EOutputCondition::always) == always) {
                add(output);
            }
        }
    }
    return text + ". They appear together once all is done.";
}

/// Headings of the help for what has no place among the few that most runs need.
void group_options(CLI::App& parser) {
    struct SGroup {
        const char* heading;
        std::vector<const char*> options;
    };
    for (const SGroup& group :
         {SGroup{"Options of axes", {"--estimator", "--along", "--gradient-sigma", "--window", "--border"}},
          SGroup{"Options of the foreground", {"--otsu-factor", "--threshold", "--dark-fibers", "--mask"}},
          SGroup{"Options of the image", {"--grey-window", "--raw", "--allow-gaps"}},
          SGroup{"Options of what is written",
                 {"--fourth-order", "--export", "--reference", "--maps", "--degrees", "--vectors", "--rgb",
                  "--stride", "--no-report", "--pictures", "--no-pictures"}},
          SGroup{"Options of the run",
                 {"--threads", "--memory", "--scratch", "--resume", "--dry-run", "--quiet"}}}) {
        for (const char* const name : group.options) {
            parser.get_option(name)->group(group.heading);
        }
    }
}

} // namespace

SCommand AddAnalyzeCommand(CLI::App& program) {
    const auto options = std::make_shared<SAnalyzeOptions>();
    CLI::App* const parser = program.add_subcommand(
        "analyze",
        "Measure fiber orientation field by field: orientation tensors of the whole image and of its "
        "subfields");
    parser
        ->add_option(
            "IMAGE", options->images,
            "Grey-value image, 2D or 3D, with fibers brighter than what is around them (or see "
            "--dark-fibers): TIFF, a folder of "
            "TIFF or PNG slices, MetaImage, NRRD, NIfTI, HDF5 (file.h5:/dataset), raw (see --raw). "
            "Of several, each gets a folder of its own in that for the results, and summary.csv there "
            "holds the whole fields of all; one that fails does not stop the others")
        ->required();
    parser
        ->add_option(
            "--fiber-radius", options->fiberRadius,
            "Radius of the fibers, with a unit, as in 2.5um or 3px, or in that of the image's spacing; "
            "in pixels if the image has none. "
            "It sets the scale of the analysis and the border that is left out. One too small by a "
            "fifth costs "
            "next to nothing, one too large half a degree and more; 2 to 10 pixels are best")
        ->required()
        ->type_name("R");
    parser
        ->add_option(
            "--estimator", options->estimator,
            "How axes are found. line-voting: pixels on bright lines vote, for resolved fibers, separate and "
            "dense (default); structure-tensor: for fibers that are not resolved, as in tows; hessian: "
            "second "
            "derivatives of the smoothed image, for separate fibers only")
        ->type_name("NAME");
    parser
        ->add_option(
            "--along", options->along,
            "With line-voting and structure-tensor: average along the axis with this standard deviation, in "
            "the unit of the radius; 0 for strongly curved fibers (default: the fiber radius; "
            "structure-tensor: 0)")
        ->type_name("L");
    parser
        ->add_option(
            "--gradient-sigma", options->gradientSigma,
            "With structure-tensor: standard deviation of the Gaussian whose gradients are taken, in "
            "the unit of the radius. Default: a third of the radius, or one pixel if that is more")
        ->type_name("S");
    parser
        ->add_option("--window", options->window,
                     "With structure-tensor: standard deviation of the window that gathers products of "
                     "gradients, in the unit of the radius. Default: the fiber radius. Two numbers are taken "
                     "as --grey-window, whose name this was")
        ->type_name("S");
    parser
        ->add_option("--border", options->border,
                     "Length that is left out at every edge of the image, in the unit of the radius; 0 for "
                     "none. Default: two fiber radii; hessian: one")
        ->type_name("L");
    parser
        ->add_option("-o,--output", options->outputFolder,
                     "Folder for the results, made if it does not exist. Results of an earlier run in it are "
                     "replaced; other files of their names are not")
        ->required()
        ->type_name("DIR");
    parser
        ->add_option(
            "--subfield", options->subfield,
            "Analyse subfields of this size, too, in pixels: N, or X,Y in 2D and X,Y,Z in 3D. Default: "
            "the whole field only")
        ->type_name("SIZE");
    parser
        ->add_option("--spacing", options->spacing,
                     "Distance of neighbouring pixels, with a unit, as in 0.5um, or in that of the fiber "
                     "radius: S, or X,Y[,Z], which must be equal with hessian only. Overrides the spacing in "
                     "the image file")
        ->type_name("S");
    parser
        ->add_option(
            "--otsu-factor", options->otsuFactor,
            "Foreground is what is brighter than this factor times Otsu's automatic threshold of the "
            "smoothed image. Default: " +
                jobs::RoundedText(stream::DEFAULT_ESTIMATOR->otsuFactor) +
                "; hessian: " + jobs::RoundedText(stream::HESSIAN.otsuFactor))
        ->type_name("F");
    parser
        ->add_option(
            "--subfield-count", options->subfieldCount,
            "Divide the whole evaluated area into so many subfields instead: N along all axes, or X,Y "
            "in 2D and X,Y,Z in 3D. Their sizes may differ by one pixel")
        ->type_name("N");
    parser
        ->add_option(
            "--threshold", options->threshold,
            "Foreground is what is brighter than this grey value of the image in the smoothed image, "
            "in place of the automatic threshold")
        ->type_name("VALUE");
    parser->add_flag(
        "--dark-fibers", options->darkFibers,
        "Fibers are darker than what is around them: the image is turned over, and foreground is "
        "what is darker than the threshold");
    parser->add_option("--mask", options->mask, MASK_OPTION_HELP)->type_name("FILE");
    parser
        ->add_option(
            "--grey-window", options->greyWindow,
            "Bring the image to 8 bit, these grey values becoming 0 and 255. Default: every image is "
            "analysed in its own precision")
        ->type_name("LO,HI");
    parser->add_option("--raw", options->raw, RAW_OPTION_HELP)->type_name("X,Y,Z,TYPE");
    parser->add_flag("--allow-gaps", options->allowGaps, ALLOW_GAPS_OPTION_HELP);
    parser->add_flag("--fourth-order", options->fourthOrder, "Report fourth-order orientation tensors, too");
    parser
        ->add_option(
            "--export", options->exports,
            "Write tensors for other programs, too, one or more of these, separated by commas: plain, "
            "voigt, abaqus, moldflow: tables with the components in that order, none doubled; vtk: "
            "fields.vtu for ParaView")
        ->type_name("NAMES");
    parser
        ->add_option("--reference", options->reference,
                     "Direction that mean directions are held against in subfields.csv and profiles.csv; its "
                     "length does not matter")
        ->type_name("X,Y[,Z]");
    parser
        ->add_option(
            "--maps", options->maps,
            "Write the fiber axis of every foreground pixel: theta and, in 3D, phi, in radians; and how "
            "sure it is, unless by the Hessian: confidence. Formats: mha, nrrd, npy (NumPy), tif "
            "(ImageJ), vti (ParaView); mha if none is named")
        ->type_name("[FORMAT]");
    parser->add_flag("--degrees", options->degrees, "Write the angles of --maps in degrees");
    parser->add_flag("--vectors", options->vectors,
                     "Write axes as unit vectors x, y, z in place of angles, in the format of --maps");
    parser->add_flag(
        "--rgb", options->rgb,
        "Write directions as colors, in the format of --maps: red |x|, green |y|, blue |z|, in 2D a "
        "circle of colors; the greyer the less sure");
    parser->add_option("--stride", options->stride, "Write every Nth pixel of maps along every axis only")
        ->type_name("N");
    parser->add_flag("--no-report", options->noReport,
                     "Write no report.html, and no pictures unless with --pictures");
    CLI::Option* const pictures =
        parser->add_flag("--pictures", options->pictures,
                         "Write pictures for slides also with --no-report: sections.png, directions.png, "
                         "with subfields profiles.png");
    parser->add_flag("--no-pictures", options->noPictures, "Write no pictures")->excludes(pictures);
    parser->add_option("--threads", options->threads, THREADS_OPTION_HELP)->type_name("N");
    parser
        ->add_option(
            "--memory", options->memory,
            "Most memory to use, as in 512M or 1.5G; results do not depend on it. Default: half of the "
            "machine's")
        ->type_name("SIZE");
    parser
        ->add_option(
            "--scratch", options->scratch,
            "Folder for a temporary file of smoothed slices, four bytes per pixel, if the memory does "
            "not suffice for them. Default: that of the results")
        ->type_name("DIR");
    parser->add_flag("--resume", options->resume,
                     "Keep the smoothed slices in a file until the results are written, and go on with those "
                     "of an earlier run with this option that was killed");
    parser->add_flag("--dry-run", options->dryRun,
                     "Only print how much memory and scratch room the analysis will need");
    parser->add_flag("--quiet", options->quiet, "Print nothing but warnings and errors");
    group_options(*parser);
    parser->footer(outputs_text() +
                   "\n\nExample: tevra analyze fibers.tif --fiber-radius 3 --subfield 64 -o results");
    return {parser,
            [options] { DoAsRanks([&options](stream::ICommunicator& ranks) { analyze(*options, ranks); }); }};
}

} // namespace TEVRA::apps
