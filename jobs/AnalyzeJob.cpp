// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/AnalyzeJob.h"

#include "jobs/FileChecks.h"
#include "jobs/ImageFiles.h"
#include "jobs/MessageNames.h"
#include "jobs/NoForeground.h"
#include "jobs/Ranks.h"
#include "jobs/Texts.h"

#include "VexoBase/ProgressMonitor.h"
#include "report/HtmlReport.h"
#include "stream/Failure.h"
#include "stream/RankSlices.h"
#include "stream/Workers.h"
#include "volume/Deflate.h"
#include "volume/MetaImageWriter.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <utility>

namespace TEVRA::jobs {

namespace {

using EState = stream::CCheckpoint::EState;

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

std::vector<std::string> names_of_outputs(const report::SOutputWishes& wishes) {
    std::vector<std::string> names;
    for (const report::SOutput& output : report::Outputs()) {
        if (report::IsWanted(output, wishes) && output.file != std::string(report::RUN_RECORD_FILE)) {
            names.push_back(report::FileName(output, wishes));
        }
    }
    return names;
}

} // namespace

CAnalyzeJob::CAnalyzeJob(const SAnalyzeTask& task, stream::ICommunicator& ranks)
    : m_task(task), m_ranks(ranks) {
    m_task.request = stream::Completed(task.input, task.request);
    record_task();
    warn(WarningsOfImage(task.input.image.Info(), task.spacingOrigin));
}

CAnalyzeJob::STarget CAnalyzeJob::own_target() const {
    return {m_task.outputFolder, m_task.withMaps, m_task.withMaps && m_analysis->HasConfidence()};
}

report::SOutputWishes CAnalyzeJob::wishes(const STarget& target) const {
    return {.dim = image_size().Dim(),
            .subfields = m_task.request.HasSubfields(),
            .maps = target.withMaps && m_task.maps.angles,
            .fourthOrder = m_task.request.withFourthOrder,
            .exports = m_task.exports,
            .confidence = target.withConfidence,
            .report = m_task.withReport,
            .pictures = m_task.withPictures,
            .vectors = target.withMaps && m_task.maps.vectors,
            .colors = target.withMaps && m_task.maps.colors,
            .mapEnding = NameOf(m_task.maps.format)};
}

void CAnalyzeJob::Plan(EPurpose purpose) {
    // All cut their work alike.
    const int threads = static_cast<int>(m_ranks.Smallest(m_task.threads));
    const auto memoryBytes =
        static_cast<std::size_t>(m_ranks.Smallest(static_cast<double>(m_task.memoryBytes)));
    m_record.parameters.threads = threads;
    DoTogether(m_ranks, [&] {
        if (const auto fault = CheckLayout(image_size(), m_task.request)) {
            throw CLayoutError(*fault, m_task.request);
        }
        if (m_task.sink != nullptr) {
            m_sinks.Add(*m_task.sink); // first of all: it may give a place for the angles
        }
        if (m_task.withMaps) {
            m_sinks.ExpectAngles();
            m_sinks.ExpectConfidence(); // where there is one
        }
        stream::SStreamResources resources{threads, memoryBytes, ScratchFolder(), checkpoint_files()};
        if (m_task.withPictures || (m_task.withReport && report::HasReportPage())) {
            m_sections.emplace(image_size(), m_task.request.spacing, m_task.input.image.Info().pixelType);
            m_sinks.Add(*m_sections);
            resources.callersBytes = m_sections->Bytes() + stream::CDirectionCounter::Bytes(threads);
        }
        m_analysis.emplace(m_task.input, m_task.request, resources, m_ranks,
                           m_task.withMaps || m_task.sink != nullptr || m_sections ? &m_sinks : nullptr);
        if (m_sections) {
            m_directions.emplace(m_analysis->Grid(), threads);
            m_analysis->Add(*m_sections);
            m_analysis->Add(*m_directions);
        }
        record_geometry();
        record_memory();
        warn(WarningsOfRequest(m_task.request));
        if (m_ranks.IsFirst() && purpose == EPurpose::run && !m_task.outputFolder.empty()) {
            announce_files(own_target());
        }
    });
    if (purpose == EPurpose::run) {
        DoTogether(m_ranks, [&] { m_analysis->TakeCheckpoint(); }); // the folder is there now
    }
    m_earlier = common_state(m_analysis->Earlier());
}

void CAnalyzeJob::announce_files(const STarget& target) {
    m_files.emplace(target.folder, names_of_outputs(wishes(target)),
                    InputFilesOf(m_task.input.image, m_task.input.mask));
}

std::string CAnalyzeJob::ScratchFolder() const {
    if (m_task.scratchFolder) {
        return *m_task.scratchFolder;
    }
    return m_task.outputFolder.empty() ? std::filesystem::temp_directory_path().string()
                                       : m_task.outputFolder;
}

void CAnalyzeJob::Run() {
    if (m_earlier == EState::other) {
        m_analysis->DropCheckpoint(); // before its room is taken anew
    }
    const double start = m_clock.Seconds();
    const std::unique_ptr<CMapFiles> maps = new_maps(own_target());
    if (maps) {
        m_sinks.Add(*maps);
    }
    try {
        m_result = m_analysis->Run();
    } catch (const stream::CMaskError& failure) {
        FailTogether(m_ranks, CWorkError("mask '" + m_task.maskPath.value_or("") + "': " + failure.what()));
    } catch (const stream::CNoFiniteValueError& failure) {
        FailTogether(m_ranks, CWorkError(failure.what()));
    } catch (const stream::CNoForegroundError& failure) {
        throw CNoForegroundError(failure.Reason(), m_task.input.mask != nullptr, m_task.request);
    }
    if (maps) {
        maps->Close();
    }
    collect_pictures();
    m_ranks.Meet(); // the maps are complete
    m_record.analyzeSeconds = m_clock.Seconds() - start;
    record_result();
    m_clock.Pause();
}

void CAnalyzeJob::Save() {
    m_clock.Resume();
    save(own_target());
}

void CAnalyzeJob::save(const STarget& target) {
    if (m_ranks.IsFirst()) {
        write_texts(target);
        m_files->Commit();
    }
    m_ranks.Meet(); // the results are written
    m_analysis->DropCheckpoint();
}

void CAnalyzeJob::SaveInto(const std::string& folder, const stream::SFoundSlices* maps) {
    const STarget target{folder, maps != nullptr, maps != nullptr && maps->confidence != nullptr};
    m_clock.Resume();
    try {
        announce_files(target);
        if (const std::unique_ptr<CMapFiles> files = new_maps(target)) {
            files->TakeAngles(*maps);
            files->Close();
        }
        save(target);
    } catch (...) {
        m_files.reset(); // what was begun goes
        m_clock.Pause();
        throw;
    }
    m_clock.Pause();
}

void CAnalyzeJob::write_texts(const STarget& target) {
    const report::SOutputWishes wanted = wishes(target);
    m_record.files = m_files->Names();
    std::vector<const report::SOutput*> pictures;
    std::vector<const report::SOutput*> tables;
    const report::SOutput* record = nullptr;
    for (const report::SOutput& output : report::Outputs()) {
        if (output.text == nullptr || !report::IsWanted(output, wanted)) {
            continue;
        }
        if (output.file == std::string(report::RUN_RECORD_FILE)) {
            record = &output; // tells of the others
        } else if (report::ShowsPictures(output)) {
            pictures.push_back(&output);
        } else {
            tables.push_back(&output);
        }
    }
    const auto write = [this](const report::SOutput* output) {
        m_files->WriteText(output->file,
                           output->text({m_result.analysis, m_record, m_sections ? &m_pictures : nullptr}));
    };
    CProgressReport progress(CProgressMonitor::Obj(), 3 + static_cast<long long>(tables.size()),
                             "Writing results...");
    stream::CWorkers workers(m_record.parameters.threads);
    complete_pictures(workers);
    progress.Step();
    workers.Run(static_cast<long long>(pictures.size()),
                [&](long long at) { write(pictures[static_cast<std::size_t>(at)]); });
    progress.Step();
    // Tables grow with the subfields and may take many seconds. They are made one after the other, so that one is in
    // memory at a time, and by this thread, which alone is told to stop.
    for (const report::SOutput* const table : tables) {
        write(table);
        progress.Step();
    }
    m_record.fileChecks = m_files->Checks();
    m_record.totalSeconds = m_clock.Seconds();
    write(record);
    progress.Step();
}

/// What was kept of the image, from all processes.
void CAnalyzeJob::collect_pictures() {
    if (!m_sections) {
        return;
    }
    if (!m_sections->HasGrey()) { // an earlier run has read it
        read_grey();
    }
    m_pictures.sections = m_sections->Collect(m_ranks);
    m_pictures.directions = m_directions->Counts(m_ranks);
    m_pictures.pack = volume::Deflated;
}

/// What several outputs show, or what can be made piece by piece.
void CAnalyzeJob::complete_pictures(ITaskRunner& runner) {
    if (!m_sections) {
        return;
    }
    if (image_size().Dim() == 3) {
        m_pictures.density = report::DensityOfDirections(m_pictures.directions);
    }
    if (m_task.withReport && report::HasReportPage()) {
        m_pictures.packedSections =
            report::PackedSections(m_pictures.sections, volume::DeflatedNoise, runner);
    }
}

/// Hands this process's slices of the image to the sections.
void CAnalyzeJob::read_grey() {
    volume::IImageReader& image = m_task.input.image;
    const stream::SSliceRange own = stream::SlicesOfRank(image.SliceCount(), m_ranks.Size(), m_ranks.Rank());
    std::vector<std::byte> slice(image.SliceBytes());
    CProgressReport progress(CProgressMonitor::Obj(), own.Count(), "Reading image...");
    for (long long z = own.first; z < own.end; ++z) {
        image.ReadSlices(z, 1, slice.data());
        m_sections->TakeGrey({z, z + 1}, slice.data());
        progress.Step();
    }
}

/// The first process makes the maps, all write into them.
std::unique_ptr<CMapFiles> CAnalyzeJob::new_maps(const STarget& target) {
    m_record.maps.reset();
    if (!target.withMaps) {
        return nullptr;
    }
    const SMapSetup setup = map_setup();
    const report::SOutputWishes wanted = wishes(target);
    CMapFiles::Paths paths;
    for (const auto& [map, file] : MAP_FILES) {
        const std::string name = report::MapFileName(file, wanted);
        if (m_files && m_files->Has(name)) {
            paths[map] = m_files->PathOf(name.c_str());
        }
    }
    DoTogether(m_ranks, [&] {
        if (m_ranks.IsFirst()) {
            CMapFiles::Create(paths, setup);
        }
    });
    for (const auto& [map, file] : MAP_FILES) {
        const std::filesystem::path place =
            std::filesystem::path(target.folder) / report::MapFileName(file, wanted);
        paths[map] = shared_path(paths[map], place.string());
    }
    record_maps(setup);
    return std::make_unique<CMapFiles>(paths, setup);
}

SMapSetup CAnalyzeJob::map_setup() const {
    SMapSetup setup{image_size()};
    if (m_task.spacing) { // pixels are none
        setup.spacing = m_task.request.spacing;
        setup.lengthUnit = m_task.request.lengthUnit;
    }
    setup.choice = m_task.maps;
    setup.programVersion = m_task.programVersion;
    return setup;
}

void CAnalyzeJob::record_maps(const SMapSetup& setup) {
    const SMapMarkers markers = MapMarkers(setup.choice.angleUnit);
    const auto axes = static_cast<std::size_t>(image_size().Dim());
    m_record.maps = report::SRunRecord::SMaps{};
    report::SRunRecord::SMaps& maps = *m_record.maps;
    maps.format = NameOf(setup.choice.format);
    maps.angleUnit = setup.choice.angleUnit == EAngleUnit::degrees ? "deg" : "rad";
    maps.stride = setup.choice.stride;
    maps.sizePx = ExtentsOf(MapSize(setup));
    for (std::size_t axis = 0; axis < axes; ++axis) {
        maps.firstCentre.push_back(0.5 * (setup.spacing ? (*setup.spacing)[axis] : 1.0));
        if (const auto spacing = MapSpacing(setup)) {
            maps.spacing.push_back((*spacing)[axis]);
        }
    }
    maps.noColatitude = static_cast<double>(markers.colatitude);
    maps.noAngle = static_cast<double>(markers.angle);
}

/// The first process's path of a result file, for all. @param place where it will stand: so messages name it.
std::string CAnalyzeJob::shared_path(const std::string& path, const std::string& place) const {
    std::string shared = SharedText(m_ranks, path);
    if (!shared.empty()) {
        NameInMessages(shared, place);
    }
    return shared;
}

/// Beside the results, unless there is a folder for large files. There, other results may have theirs.
std::optional<stream::SCheckpointFiles> CAnalyzeJob::checkpoint_files() const {
    if (!m_task.resumes) {
        return std::nullopt;
    }
    std::string prefix = ScratchFolder() + "/.tevra-resume-";
    if (m_task.scratchFolder) {
        prefix += name_of_folder(m_task.outputFolder) + "-";
    }
    std::ostringstream fingerprint;
    fingerprint << std::hexfloat << "version " << m_task.programVersion << "; image " << m_task.imageIdentity
                << "; window ";
    if (const auto& window = m_task.input.window) {
        fingerprint << window->lo << ',' << window->hi;
    } else {
        fingerprint << '-';
    }
    if (m_task.request.contrast == Impl::EFiberContrast::dark) {
        fingerprint << "; dark fibers";
    }
    return stream::CheckpointFiles(prefix, {m_ranks.Rank(), m_ranks.Size()}, fingerprint.str());
}

/// What an earlier run has left can only be used by all processes.
EState CAnalyzeJob::common_state(EState own) const {
    const auto is = [own](EState state) { return own == state ? 1.0 : 0.0; };
    const bool isReusable = m_ranks.Smallest(is(EState::reusable)) > 0.0;
    const bool isAbsent = m_ranks.Smallest(is(EState::absent)) > 0.0;
    return isReusable ? EState::reusable : isAbsent ? EState::absent : EState::other;
}

void CAnalyzeJob::record_task() {
    const volume::SImageInfo& info = m_task.input.image.Info();
    m_record.version = m_task.programVersion;
    m_record.startTime = m_clock.StartTime();
    m_record.input.path = m_task.imagePath;
    if (m_ranks.IsFirst()) {
        m_record.input.check = CheckOfInput(m_task.input.image.Files());
    }
    m_record.input.format = info.format;
    m_record.input.sizePx = ExtentsOf(info.size);
    m_record.input.storedType = info.storedType;
    m_record.input.missingSlices = info.missingSlices;
    m_record.input.spacing = m_task.spacing;
    m_record.input.lengthUnit = m_task.request.lengthUnit;
    m_record.input.spacingOrigin = m_task.spacingOrigin;
    if (const auto& window = m_task.input.window) {
        m_record.input.greyWindow = {window->lo, window->hi};
    }
    m_record.parameters.request = m_task.request;
    m_record.parameters.maskPath = m_task.maskPath;
    m_record.parameters.reference = m_task.reference;
    m_record.parameters.processes = m_ranks.Size();
}

void CAnalyzeJob::record_geometry() {
    report::SRunRecord::SParameters& parameters = m_record.parameters;
    parameters.beyondSubfieldsPx = PixelsBeyondSubfields(image_size(), m_task.request);
    const std::array<long long, 3> border = Impl::LayoutOf(image_size(), m_task.request).Borders();
    parameters.borderPx.assign(border.begin(), border.begin() + image_size().Dim());
    parameters.scales.clear();
    for (const stream::SScale& scale : m_analysis->Scales()) {
        parameters.scales.push_back({scale.name, scale.length});
    }
}

void CAnalyzeJob::record_memory() {
    const stream::SMemoryPlan& plan = m_analysis->Plan();
    const bool isInMemory = plan.scratchKind == stream::SScratchPlace::EKind::memory;
    m_record.memory = {plan.budgetBytes, plan.peakBytes, plan.scratchBytes, isInMemory ? "memory" : "file"};
}

void CAnalyzeJob::record_result() {
    m_record.parameters.summary = Impl::ParameterSummary(m_result.analysis);
    m_record.foreground = {m_result.analysis.threshold, m_result.foregroundPixels,
                           static_cast<long long>(image_size().Elements())};
    m_record.confidence = report::ConfidenceOf(m_result.analysis);
    for (const Impl::SPassTime& pass : m_result.analysis.passes) {
        m_record.passes.push_back({pass.name, pass.seconds});
    }
    if (m_ranks.Size() > 1) {
        m_record.idleSeconds = m_result.idleSeconds;
    }
    m_record.input.nanPixels = m_result.range.nanCount;
    m_record.input.infinitePixels = m_result.range.infiniteCount;
    m_record.input.largestRounding = m_ranks.Largest(m_task.input.image.LargestRounding());
    warn(WarningsOfResult(m_record));
    if (m_ranks.IsFirst()) {
        warn(WarningsOfDirection(m_result.analysis.field.values));
    }
}

void CAnalyzeJob::warn(const std::vector<SWarning>& warnings) {
    for (const SWarning& warning : warnings) {
        m_warnings.push_back(warning);
        m_record.warnings.push_back(
            {WarningName(warning.kind), warning.value, WarningText(warning, m_task.request)});
    }
}

} // namespace TEVRA::jobs
