// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Analysis.h"
#include "apps/Arguments.h"
#include "apps/Commands.h"
#include "apps/Console.h"
#include "apps/Failure.h"
#include "apps/ImageInput.h"
#include "apps/Interruption.h"
#include "apps/Program.h"
#include "apps/Ranks.h"

#include "jobs/MapFiles.h"
#include "jobs/MessageNames.h"
#include "jobs/Ranks.h"
#include "jobs/ResultFiles.h"
#include "report/Json.h"
#include "report/RunRecord.h"
#include "report/Tables.h"
#include "stream/StreamingAnalysis.h"
#include "volume/Failure.h"
#include "volume/ImageConversion.h"
#include "volume/MetaImageWriter.h"

#include <CLI/App.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace TEVRA::apps {

namespace {

/// The options as given.
struct SAnalyzeOptions {
    std::string image;
    std::string fiberRadius;
    std::string outputFolder;
    std::string otsuFactor = "1.25";
    std::optional<std::string> subfield;
    std::optional<std::string> mask;
    std::optional<std::string> spacing;
    std::optional<std::string> window;
    std::optional<std::string> raw;
    std::optional<std::string> threads;
    std::optional<std::string> memory;
    std::optional<std::string> scratch;
    bool dryRun = false;
    bool resume = false;
    bool fourthOrder = false;
    bool maps = false;
    bool quiet = false;
};

/// What the options say, each checked by itself.
struct SAnalyzeSettings {
    double fiberRadius;
    double otsuFactor;
    std::vector<long long> subfieldPx; // as given: none, one for all axes, or one per axis
    std::optional<std::vector<double>> spacing;
    std::optional<volume::SGreyWindow> window;
    int threads;
    std::size_t memoryBytes;
};

std::optional<volume::SGreyWindow> read_window(const std::optional<std::string>& text) {
    if (!text) {
        return std::nullopt;
    }
    const std::vector<double> ends = ReadNumbers({"--window", *text});
    if (ends.size() != 2 || ends[0] >= ends[1]) {
        throw CUsageError("--window: '" + *text +
                          "' is not two grey values, the lower one first, as in 100,4000");
    }
    return volume::SGreyWindow{ends[0], ends[1]};
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

std::optional<std::vector<double>> read_spacing(const std::optional<std::string>& text) {
    if (!text) {
        return std::nullopt;
    }
    const std::vector<double> spacing = ReadNumbers({"--spacing", *text});
    for (const double length : spacing) {
        if (length <= 0.0) {
            throw CUsageError("--spacing: '" + *text + "' has lengths that are not greater than 0");
        }
    }
    return spacing;
}

SAnalyzeSettings read_settings(const SAnalyzeOptions& options, const stream::ICommunicator& ranks) {
    SAnalyzeSettings settings{};
    settings.fiberRadius = ReadPositiveNumber({"--fiber-radius", options.fiberRadius});
    settings.otsuFactor = ReadPositiveNumber({"--otsu-factor", options.otsuFactor});
    settings.subfieldPx = read_subfield(options.subfield);
    settings.spacing = read_spacing(options.spacing);
    settings.window = read_window(options.window);
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

std::vector<long long> subfield_per_axis(const std::vector<long long>& given, int dim) {
    const auto axes = static_cast<std::size_t>(dim);
    if (given.size() == 1) {
        return std::vector<long long>(axes, given.front());
    }
    if (!given.empty() && given.size() != axes) {
        throw CUsageError("--subfield has " + std::to_string(given.size()) + " sizes, but the image has " +
                          std::to_string(dim) + " axes; give one size for all axes or one per axis");
    }
    return given;
}

/// A word that stands for a folder, by its full path: the FNV-1a hash.
std::string name_of_folder(const std::string& folder) {
    std::error_code error;
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char letter : (std::filesystem::absolute(folder, error) / "").lexically_normal().string()) {
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001b3U;
    }
    std::ostringstream name;
    name << std::hex << hash;
    return name.str();
}

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string utc_now() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

std::vector<std::string> result_names(const SAnalyzeOptions& options, int dim) {
    std::vector<std::string> names = {jobs::CResultFiles::RESULT};
    if (options.subfield) {
        names.insert(names.end(), {jobs::CResultFiles::SUBFIELDS, jobs::CResultFiles::PROFILES});
    }
    if (options.maps) {
        names.emplace_back(jobs::CResultFiles::THETA);
    }
    if (options.maps && dim == 3) {
        names.emplace_back(jobs::CResultFiles::PHI);
    }
    return names;
}

std::string direction_text(const CValueMap& direction) {
    std::string text;
    for (auto component = direction.begin(); !(component == direction.end()); ++component) {
        text += (text.empty() ? "(" : ", ") + jobs::RoundedText(component.Value()->Double(), 3);
    }
    return text + ")";
}

/// One run of the command: from the files named to the files written.
class CAnalyzeRun {
  public:
    CAnalyzeRun(const SAnalyzeOptions& options, stream::ICommunicator& ranks)
        : m_options(options), m_settings(read_settings(options, ranks)), m_ranks(ranks),
          m_console(options.quiet || !ranks.IsFirst() ? EVerbosity::quiet : EVerbosity::normal) {}

    void Run() {
        const Clock::time_point start = Clock::now();
        m_record.version = ProgramVersion();
        m_record.startTime = utc_now();
        // All cut their work alike.
        const int threads = static_cast<int>(m_ranks.Smallest(m_settings.threads));
        const auto memoryBytes =
            static_cast<std::size_t>(m_ranks.Smallest(static_cast<double>(m_settings.memoryBytes)));
        m_record.parameters.threads = threads;
        m_record.parameters.processes = m_ranks.Size();

        std::unique_ptr<volume::IImageReader> image;
        std::unique_ptr<volume::IImageReader> mask;
        std::optional<stream::CStreamingAnalysis> analysis;
        std::optional<jobs::CResultFiles> files; // of the first process
        jobs::DoTogether(m_ranks, [&] {
            image = OpenInput(m_options.image, m_options.raw);
            plan(image->Info());
            if (m_options.mask) {
                mask = OpenMask(*m_options.mask, image->Info().size);
            }
            analysis.emplace(
                stream::SStreamInput{*image, mask.get(), m_settings.window}, ParametersOf(m_request),
                stream::SStreamResources{threads, memoryBytes, scratch_folder(), checkpoint_files()}, m_ranks,
                m_options.maps);
            record_memory(analysis->Plan());
            say_memory(analysis->Plan());
            say_grey_values(image->Info());
            if (m_ranks.IsFirst() && !m_options.dryRun) {
                files.emplace(m_options.outputFolder, result_names(m_options, image->Info().size.Dim()));
            }
        });
        const stream::CCheckpoint::EState earlier = common_state(analysis->Earlier());
        say_earlier(earlier);
        if (m_options.dryRun) {
            return;
        }
        if (earlier == stream::CCheckpoint::EState::other) {
            analysis->DropCheckpoint(); // before its room is taken anew
        }
        const Clock::time_point analysisStart = Clock::now();
        const stream::SStreamResult result = analyze(*analysis, image->Info().size, files);
        m_record.analyzeSeconds = seconds_since(analysisStart);
        if (!m_ranks.IsFirst()) {
            m_ranks.Meet(); // the results are written
            analysis->DropCheckpoint();
            return;
        }
        record_analysis(result, image->Info().size);
        write_results(*result.document, *files);
        m_record.files = files->Names();
        m_record.totalSeconds = seconds_since(start);
        files->WriteText(jobs::CResultFiles::RUN_RECORD, report::RunJson(m_record));
        ThrowIfInterrupted();
        files->Commit();
        m_ranks.Meet();
        analysis->DropCheckpoint();
        say_result(*result.document, *files);
    }

  private:
    /// Fixes what is to be done from the options and the image's header, before any pixel is read.
    void plan(const volume::SImageInfo& info) {
        const int dim = info.size.Dim();
        const SPixelSpacing spacing = SpacingOf(info, m_settings.spacing);
        m_request.fiberRadius = m_settings.fiberRadius;
        m_request.spacing = EqualSpacing(spacing, dim);
        m_request.lengthUnit = spacing.unit;
        m_request.otsuFactor = m_settings.otsuFactor;
        m_request.subfieldPx = subfield_per_axis(m_settings.subfieldPx, dim);
        m_request.orders = m_options.fourthOrder ? ETensorOrders::secondAndFourth : ETensorOrders::second;
        CheckSizes(info.size, m_request);
        record_plan(info, spacing);
        say_radius(spacing);
    }

    void record_plan(const volume::SImageInfo& info, const SPixelSpacing& spacing) {
        m_record.input.path = m_options.image;
        m_record.input.format = info.format;
        m_record.input.sizePx = jobs::ExtentsOf(info.size);
        m_record.input.storedType = info.storedType;
        if (spacing.origin != report::ESpacingOrigin::none) {
            m_record.input.spacing = spacing.length;
        }
        m_record.input.lengthUnit = spacing.unit;
        m_record.input.spacingOrigin = spacing.origin;
        m_record.parameters.fiberRadius = m_request.fiberRadius;
        m_record.parameters.fiberRadiusPx = m_request.FiberRadiusPx();
        m_record.parameters.otsuFactor = m_request.otsuFactor;
        m_record.parameters.subfieldPx = m_request.subfieldPx;
        m_record.parameters.maskPath = m_options.mask;
        m_record.parameters.fourthOrder = m_options.fourthOrder;
    }

    void say_radius(const SPixelSpacing& spacing) {
        const std::string length = spacing.origin == report::ESpacingOrigin::none
                                       ? "none"
                                       : jobs::WithUnit(jobs::RoundedText(m_request.spacing), spacing.unit);
        m_console.Say("fiber radius " + RadiusText(m_request) + "; spacing " + length + " (" + spacing.note +
                      ")");
    }

    void say_grey_values(const volume::SImageInfo& info) {
        if (const auto& window = m_settings.window) {
            m_record.input.greyWindow = {window->lo, window->hi};
            m_console.Say("grey values brought to 8 bit: " + jobs::RoundedText(window->lo) + " becomes 0, " +
                          jobs::RoundedText(window->hi) + " becomes 255 (--window)");
        } else if (info.pixelType != volume::EPixelType::u8) {
            m_console.Say("grey values in their own precision (" + info.storedType + ")");
        }
    }

    stream::SStreamResult analyze(stream::CStreamingAnalysis& analysis, const CSize& size,
                                  std::optional<jobs::CResultFiles>& files) const {
        const std::unique_ptr<jobs::CMapFiles> maps = new_maps(size, files);
        try {
            stream::SStreamResult result = analysis.Run(maps.get());
            if (maps) {
                maps->Close();
            }
            m_ranks.Meet(); // the maps are complete
            return result;
        } catch (const stream::CNoForegroundError& failure) {
            throw CWorkError(NoForegroundText(failure.Reason(), m_options.mask.has_value(), m_request));
        } catch (const stream::CMaskError& failure) {
            throw CWorkError("mask '" + *m_options.mask + "': " + failure.what());
        }
    }

    /// The first process makes the maps, all write into them.
    std::unique_ptr<jobs::CMapFiles> new_maps(const CSize& size,
                                              std::optional<jobs::CResultFiles>& files) const {
        if (!m_options.maps) {
            return nullptr;
        }
        const std::array<double, 3> spacing = {m_request.spacing, m_request.spacing, m_request.spacing};
        const volume::SMetaImageHeader header{size, volume::EPixelType::f32, spacing, spacing_unit()};
        jobs::CMapFiles::SPaths paths;
        if (files) {
            paths.theta = files->PathOf(jobs::CResultFiles::THETA);
            paths.phi = size.Dim() == 3 ? files->PathOf(jobs::CResultFiles::PHI) : "";
        }
        jobs::DoTogether(m_ranks, [&] {
            if (m_ranks.IsFirst()) {
                jobs::CMapFiles::Create(paths, header);
            }
        });
        paths.theta = shared_path(paths.theta, jobs::CResultFiles::THETA);
        paths.phi = shared_path(paths.phi, jobs::CResultFiles::PHI);
        return std::make_unique<jobs::CMapFiles>(paths, header);
    }

    /// The first process's path of a result file, for all.
    std::string shared_path(const std::string& path, const char* name) const {
        std::string shared = jobs::SharedText(m_ranks, path);
        if (!shared.empty()) {
            jobs::NameInMessages(shared, (std::filesystem::path(m_options.outputFolder) / name).string());
        }
        return shared;
    }

    std::string scratch_folder() const { return m_options.scratch.value_or(m_options.outputFolder); }

    void record_memory(const stream::SMemoryPlan& plan) {
        const bool isInMemory = plan.scratchKind == stream::SScratchPlace::EKind::memory;
        m_record.memory = {plan.budgetBytes, plan.peakBytes, plan.scratchBytes,
                           isInMemory ? "memory" : "file"};
    }

    /// Beside the results, unless there is a folder for large files. There, other results may have theirs.
    std::optional<stream::SCheckpointFiles> checkpoint_files() const {
        if (!m_options.resume) {
            return std::nullopt;
        }
        std::string prefix = scratch_folder() + "/.tevra-resume-";
        if (m_options.scratch) {
            prefix += name_of_folder(m_options.outputFolder) + "-";
        }
        std::ostringstream fingerprint;
        fingerprint << std::hexfloat << "version " << ProgramVersion() << "; image "
                    << IdentityOf(m_options.image) << "; raw " << m_options.raw.value_or("-") << "; sigma "
                    << m_request.FiberRadiusPx() << "; window " << m_options.window.value_or("-");
        return stream::CheckpointFiles(prefix, {m_ranks.Rank(), m_ranks.Size()}, fingerprint.str());
    }

    /// What an earlier run has left can only be used by all processes.
    stream::CCheckpoint::EState common_state(stream::CCheckpoint::EState own) const {
        using EState = stream::CCheckpoint::EState;
        const auto is = [own](EState state) { return own == state ? 1.0 : 0.0; };
        const bool isReusable = m_ranks.Smallest(is(EState::reusable)) > 0.0;
        const bool isAbsent = m_ranks.Smallest(is(EState::absent)) > 0.0;
        return isReusable ? EState::reusable : isAbsent ? EState::absent : EState::other;
    }

    void say_earlier(stream::CCheckpoint::EState state) {
        if (state == stream::CCheckpoint::EState::reusable) {
            m_console.Say("going on with the smoothed slices of an earlier run");
        } else if (state == stream::CCheckpoint::EState::other) {
            m_console.Warn("the earlier run in '" + m_options.outputFolder +
                           "' was of another image, radius, window, number of processes or version, or its "
                           "files are incomplete; starting over");
        }
    }

    /// On standard output where that is all there is to do.
    void say_memory(const stream::SMemoryPlan& plan) {
        if (!m_options.dryRun) {
            m_console.Say(memory_text(plan, scratch_folder()));
        } else if (m_ranks.IsFirst()) {
            std::cout << memory_text(plan, scratch_folder()) << std::endl;
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

    void write_results(const CValueMap& document, jobs::CResultFiles& files) const {
        files.WriteText(jobs::CResultFiles::RESULT, report::ResultJson(document));
        if (files.Has(jobs::CResultFiles::SUBFIELDS)) {
            files.WriteText(jobs::CResultFiles::SUBFIELDS, report::SubfieldsCsv(document));
            files.WriteText(jobs::CResultFiles::PROFILES,
                            report::ProfilesCsv(document, m_request.lengthUnit));
        }
    }

    /// The unit of spacings, for image headers: pixels are none.
    std::string spacing_unit() const { return m_request.lengthUnit == "px" ? "" : m_request.lengthUnit; }

    void record_analysis(const stream::SStreamResult& result, const CSize& size) {
        m_record.parameters.summary = result.parameterSummary;
        m_record.foreground.threshold = result.threshold;
        m_record.foreground.pixels = result.foregroundPixels;
        m_record.foreground.ofPixels = static_cast<long long>(size.Elements());
        for (const stream::SStreamResult::SPass& pass : result.passes) {
            m_record.passes.push_back({pass.name, pass.seconds});
        }
        if (m_ranks.Size() > 1) {
            m_record.idleSeconds = result.idleSeconds;
        }
        m_record.input.nanPixels = result.range.nanCount;
        m_record.input.infinitePixels = result.range.infiniteCount;
        if (result.range.nanCount > 0) {
            m_console.Warn(std::to_string(result.range.nanCount) +
                           " pixels have no value (NaN) and count as darkest");
        }
        if (result.range.infiniteCount > 0) {
            m_console.Warn(std::to_string(result.range.infiniteCount) +
                           " pixels are infinite and count as darkest or brightest");
        }
    }

    void say_result(const CValueMap& document, const jobs::CResultFiles& files) {
        const CValueMap& field = document.Entry("Field")->Map();
        const std::optional<double>& threshold = m_record.foreground.threshold;
        const double share = static_cast<double>(m_record.foreground.pixels) /
                             static_cast<double>(m_record.foreground.ofPixels);
        m_console.Say("foreground " + jobs::RoundedText(100.0 * share, 3) + " %" +
                      (threshold
                           ? ", brighter than " + jobs::RoundedText(*threshold, 4) + " in the smoothed image"
                           : " (from the mask)"));
        m_console.Say("mean direction " + direction_text(field.Entry("Mean fiber direction")->Map()) +
                      ", anisotropy " + jobs::RoundedText(field.Entry("Anisotropy value")->Double(), 3) +
                      ", status: " + field.Entry("Status")->String().Text());
        std::string names = jobs::CResultFiles::RUN_RECORD;
        for (const std::string& name : files.Names()) {
            names += " " + name;
        }
        m_console.Say("wrote into '" + files.Folder().string() + "': " + names);
    }

    const SAnalyzeOptions& m_options;
    SAnalyzeSettings m_settings;
    stream::ICommunicator& m_ranks;
    CConsole m_console;
    SAnalysisRequest m_request;
    report::SRunRecord m_record;
};

} // namespace

SCommand AddAnalyzeCommand(CLI::App& program) {
    const auto options = std::make_shared<SAnalyzeOptions>();
    CLI::App* const parser = program.add_subcommand(
        "analyze",
        "Measure fiber orientation field by field: orientation tensors of the whole image and of its "
        "subfields");
    parser
        ->add_option(
            "IMAGE", options->image,
            "Grey-value image, 2D or 3D, with fibers brighter than what is around them: TIFF, a folder of "
            "TIFF or PNG slices, MetaImage, NRRD, NIfTI, HDF5 (file.h5:/dataset), raw (see --raw)")
        ->required();
    parser
        ->add_option(
            "--fiber-radius", options->fiberRadius,
            "Radius of the fibers, in the unit of the image's spacing; in pixels if the image has none. "
            "It sets the scale of the analysis and the border that is left out")
        ->required()
        ->type_name("R");
    parser
        ->add_option("-o,--output", options->outputFolder,
                     "Folder for the results, made if it does not exist. Results of an earlier run in it are "
                     "replaced")
        ->required()
        ->type_name("DIR");
    parser
        ->add_option(
            "--subfield", options->subfield,
            "Analyse subfields of this size, too, in pixels: N, or X,Y in 2D and X,Y,Z in 3D. Default: "
            "the whole field only")
        ->type_name("SIZE");
    parser
        ->add_option(
            "--spacing", options->spacing,
            "Distance of neighbouring pixels, in the unit of the fiber radius: S, or X,Y[,Z], which must "
            "be equal. Overrides the spacing in the image file")
        ->type_name("S");
    parser
        ->add_option(
            "--otsu-factor", options->otsuFactor,
            "Foreground is what is brighter than this factor times Otsu's automatic threshold of the "
            "smoothed image. Default: 1.25")
        ->type_name("F");
    parser->add_option("--mask", options->mask, MASK_OPTION_HELP)->type_name("FILE");
    parser
        ->add_option(
            "--window", options->window,
            "Bring the image to 8 bit, these grey values becoming 0 and 255. Default: every image is "
            "analysed in its own precision")
        ->type_name("LO,HI");
    parser->add_option("--raw", options->raw, RAW_OPTION_HELP)->type_name("X,Y,Z,TYPE");
    parser->add_flag("--fourth-order", options->fourthOrder, "Report fourth-order orientation tensors, too");
    parser->add_flag(
        "--maps", options->maps,
        "Write the fiber axis of every foreground pixel: theta.mha and, in 3D, phi.mha, in radians");
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
    parser->footer("Results: result.json (tensors, eigenvalues, mean directions), run.json (input, "
                   "parameters, threshold, "
                   "foreground share), with --subfield also subfields.csv and profiles.csv (averages over "
                   "slices). They appear "
                   "together once all is done.\n\n"
                   "Example: tevra analyze fibers.tif --fiber-radius 3 --subfield 64 -o results");
    return {parser, [options] {
                DoAsRanks([&options](stream::ICommunicator& ranks) { CAnalyzeRun(*options, ranks).Run(); });
            }};
}

} // namespace TEVRA::apps
