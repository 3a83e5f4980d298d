// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/Failure.h"
#include "jobs/ReadingNotes.h"
#include "jobs/ResultFiles.h"
#include "jobs/RunClock.h"
#include "report/FilterRecord.h"

#include "FilterOrientations/FilterOrientations.h"
#include "volume/ImageReader.h"
#include "zeklib2image/Image.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::jobs {

/// The filter bank on an image, as a front end asks for it.
struct SFilterTask {
    volume::IImageReader& image;          ///< outlives the job, as does the mask
    volume::IImageReader* mask = nullptr; ///< of the image's size; without it fibers are what is bright
    report::SFilterParameters parameters{};
    std::string outputFolder{};
    std::size_t memoryBytes = 0; ///< that may be used

    std::string imagePath{};
    std::string programVersion{};
};

/// A parameter is wrong by itself or does not go with the image; the text says why.
class CFilterParameterError : public CWorkError {
  public:
    enum class EParameter { widths, resolution, box, rim };
    CFilterParameterError(EParameter parameter, const std::string& reason)
        : CWorkError(reason), m_parameter(parameter) {}
    EParameter Parameter() const noexcept { return m_parameter; }

  private:
    EParameter m_parameter;
};

/// Largest width of a filter: zeros twice as wide are put around the image.
inline constexpr double LARGEST_FILTER_WIDTH = 1000.0;

/// As far as filters of this width reach, in pixels: two standard deviations, beyond which 2 % of a filter
/// lie on either side.
long long FilterReachPx(double majorWidth);

/// The pixels that tensor and histogram are made of, and the rim that they leave out.
struct SEvaluatedPixels {
    report::SPixelBox boxPx;
    std::vector<long long> rimPx; ///< per axis
    std::vector<int> axesTooThin; ///< for the default rim, which is 0 there
    bool isBoxClipped = false;    ///< a box that was asked for reaches into the rim
};
/// @throws CFilterParameterError if box or rim do not go with the image or nothing is left.
SEvaluatedPixels EvaluatedPixels(const CSize& size, const report::SFilterParameters& parameters);

/// Most memory that is in use at a time, in bytes; saturated.
/// @param pixelBytes of the image as its reader hands it out.
std::size_t FilterMemory(const CSize& size, std::size_t pixelBytes,
                         const report::SFilterParameters& parameters);

/// The filter bank from open images to written results.
///
///     CFilterJob job(task);
///     job.Plan(CFilterJob::EPurpose::run);
///     job.Run();
///     job.Save();
///
/// Before the image is filtered its background is subtracted, so that the frame of zeros that is put around
/// it continues the background: filters are linear, and only at the border does a constant matter to them.
/// The answers have it added again.
class CFilterJob {
  public:
    enum class EPurpose { estimate, run };

    explicit CFilterJob(const SFilterTask& task);

    /// Checks what can be checked without pixels, plans the memory, and announces the files to be written
    /// unless only the estimate is wanted.
    /// @throws CFilterParameterError; CWorkError if the memory does not suffice or a file cannot be made.
    void Plan(EPurpose purpose);
    /// After `Plan`, what a user should know of how it is done: on rims and boxes.
    const SEvaluatedPixels& Evaluated() const noexcept { return m_evaluated; }

    /// Reads and filters. Progress goes to the calling thread's monitor.
    /// @throws CWorkError for images and masks that cannot be worked on; what readers and the monitor throw.
    void Run();
    /// Writes everything, and lets all files appear.
    /// @throws CWorkError if that fails; what the monitor throws.
    void Save();

    /// After `Run`, what was lost when values became floats; nothing if no value was rounded.
    const std::optional<SRoundingNote>& Rounding() const noexcept { return m_rounding; }
    /// What is known so far.
    const report::SFilterRecord& Record() const noexcept { return m_record; }
    /// After `Plan` of a run.
    const CResultFiles& Files() const { return *m_files; }

  private:
    const CSize& size() const { return m_task.image.Info().size; }
    void record_plan();
    void require_room();
    std::unique_ptr<CImage> read_mask();
    void filter(const CImage& flat, const CImage& fibers);
    void count_directions();
    void write_maps();
    void write_map(const char* name, const IImage& map);

    SFilterTask m_task;
    CRunClock m_clock;
    SEvaluatedPixels m_evaluated;
    report::SFilterRecord m_record;
    std::optional<CResultFiles> m_files;
    std::unique_ptr<CFilterOrientations> m_estimator;
    double m_scale = 1.0; ///< of the filtered image
    std::optional<SRoundingNote> m_rounding;
    report::SBoxTensor m_tensor;
    std::vector<report::SDirectionCount> m_directions;
};

} // namespace TEVRA::jobs
