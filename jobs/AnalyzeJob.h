// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/Failure.h"
#include "jobs/LayoutCheck.h"
#include "jobs/MapFiles.h"
#include "jobs/ResultFiles.h"
#include "jobs/RunClock.h"
#include "jobs/SectionSampler.h"
#include "jobs/Warnings.h"
#include "report/Outputs.h"
#include "report/RunRecord.h"
#include "stream/DirectionCounter.h"
#include "stream/StreamingAnalysis.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::jobs {

/// A field-by-field analysis as a front end asks for it.
struct SAnalyzeTask {
    stream::SStreamInput input;                       ///< readers that outlive the job
    Impl::SAnalysisRequest request{};                 ///< neither checked nor completed yet
    bool withMaps = false;                            ///< as files
    bool withReport = true;                           ///< if this build can make one
    SMapChoice maps{};                                ///< which, then
    bool withPictures = true;                         ///< PNG files of what the report shows
    stream::ISliceSink* sink = nullptr;               ///< takes slices, too; outlives the run
    std::vector<std::string> exports{};               ///< of report::ExportNames
    std::optional<std::array<double, 3>> reference{}; ///< unit vector; mean directions are held against it

    std::string outputFolder{}; ///< empty: results are kept, and `SaveInto` may write them
    std::optional<std::string>
        scratchFolder{};  ///< for smoothed slices; by default that of the results, if there is one
    bool resumes = false; ///< keeps the smoothed slices for another run, or goes on with those of one

    int threads = 1;
    std::size_t memoryBytes = 0; ///< of one process

    /// For the record.
    std::string imagePath{};
    std::optional<std::string> maskPath{};
    std::optional<std::array<double, 3>> spacing{}; ///< per axis; none if lengths are in pixels
    report::ESpacingOrigin spacingOrigin = report::ESpacingOrigin::none;
    std::string programVersion{};
    /// What tells the image's pixels from others, in one line: those of an earlier run are taken for these
    /// only where it agrees.
    std::string imageIdentity{};
};

/// Radius or subfields do not go with the image.
class CLayoutError : public CWorkError {
  public:
    CLayoutError(const SLayoutFault& fault, const Impl::SAnalysisRequest& request)
        : CWorkError(LayoutFaultText(fault, request)), m_fault(fault) {}
    const SLayoutFault& Fault() const noexcept { return m_fault; }

  private:
    SLayoutFault m_fault;
};

/// The field-by-field analysis from open images to written results.
///
///     CAnalyzeJob job(task, *ranks);
///     job.Plan(CAnalyzeJob::EPurpose::run);
///     job.Run();
///     job.Save();
///
/// All processes of the job call the same operations in the same order.
class CAnalyzeJob {
  public:
    enum class EPurpose { estimate, run };

    /// @throws what stream::Completed throws.
    CAnalyzeJob(const SAnalyzeTask& task, stream::ICommunicator& ranks);

    /// Checks what can be checked without pixels, plans the memory, and announces the files to be written
    /// unless only the estimate is wanted.
    /// @throws CLayoutError; CWorkError if a file cannot be made; what CStreamingAnalysis throws.
    void Plan(EPurpose purpose);
    const stream::SMemoryPlan& Memory() const { return m_analysis->Plan(); }
    /// What an earlier run has left, of all processes.
    stream::CCheckpoint::EState Earlier() const noexcept { return m_earlier; }
    std::string ScratchFolder() const;

    /// The analysis; maps are written on the way. Progress goes to the calling thread's monitor.
    /// @throws CNoForegroundError; CWorkError for a mask that is none; what CStreamingAnalysis
    /// throws.
    void Run();
    /// Writes the other results, and lets all files appear.
    /// @throws CWorkError if that fails; what the monitor throws.
    void Save();
    /// After the run of a single process without output folder: writes what a run into this folder would have
    /// written. To be called any number of times.
    /// @param maps of the whole image: written as map files, that of confidence if it is there; null if they are
    /// not wanted.
    /// @throws CWorkError if that fails; what the monitor throws. The folder is as it was then.
    void SaveInto(const std::string& folder, const stream::SFoundSlices* maps);

    /// Of rank 0, after `Run`.
    const stream::SStreamResult& Result() const noexcept { return m_result; }
    const report::SRunRecord& Record() const noexcept { return m_record; }
    /// What there is to warn of so far, in order; of rank 0.
    const std::vector<SWarning>& Warnings() const noexcept { return m_warnings; }
    /// Of rank 0, after `Plan`.
    const CResultFiles& Files() const { return *m_files; }

  private:
    /// What is to be written, and where.
    struct STarget {
        std::string folder;          ///< empty: nothing
        bool withMaps = false;       ///< of `SMapChoice`
        bool withConfidence = false; ///< among them, as far as the choice wants it
    };

    const CSize& image_size() const { return m_task.input.image.Info().size; }
    /// Of the run itself, after it is planned.
    STarget own_target() const;
    report::SOutputWishes wishes(const STarget& target) const;
    std::optional<stream::SCheckpointFiles> checkpoint_files() const;
    stream::CCheckpoint::EState common_state(stream::CCheckpoint::EState own) const;
    void announce_files(const STarget& target);
    void record_task();
    void record_geometry();
    void record_memory();
    void record_result();
    void warn(const std::vector<SWarning>& warnings);
    void read_grey();
    void collect_pictures();
    void complete_pictures(ITaskRunner& runner);
    std::unique_ptr<CMapFiles> new_maps(const STarget& target);
    SMapSetup map_setup() const;
    void record_maps(const SMapSetup& setup);
    std::string shared_path(const std::string& path, const std::string& place) const;
    void write_texts(const STarget& target);
    void save(const STarget& target);

    SAnalyzeTask m_task; // with its request completed
    stream::ICommunicator& m_ranks;
    CRunClock m_clock;
    report::SRunRecord m_record;
    stream::CSinkFan m_sinks;
    // What the report shows of the image, if there will be one:
    std::optional<CSectionSampler> m_sections;
    std::optional<stream::CDirectionCounter> m_directions;
    report::SPictureData m_pictures;
    // Of the first process; before the analysis, whose own files lie in the folder that goes with these.
    std::optional<CResultFiles> m_files;
    std::optional<stream::CStreamingAnalysis> m_analysis;
    stream::CCheckpoint::EState m_earlier = stream::CCheckpoint::EState::absent;
    stream::SStreamResult m_result;
    std::vector<SWarning> m_warnings;
};

} // namespace TEVRA::jobs
