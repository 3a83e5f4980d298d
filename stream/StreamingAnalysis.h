// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/AxisAccumulator.h"
#include "stream/Checkpoint.h"
#include "stream/Communicator.h"
#include "stream/MaskSlices.h"
#include "stream/MemoryPlan.h"
#include "stream/TileSums.h"
#include "stream/stages/Estimators.h"

#include "Subfields/AnalysisRequest.h"
#include "Subfields/AnalysisResult.h"
#include "volume/ImageConversion.h"
#include "volume/ImageReader.h"

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace TEVRA::stream {

/// The analysis found nothing to measure.
class CNoForegroundError : public std::runtime_error {
  public:
    enum class EReason {
        constantImage, ///< all pixels have the same grey value
        noneInTiles    ///< no pixel of the evaluated area is foreground
    };
    explicit CNoForegroundError(EReason reason);
    EReason Reason() const noexcept { return m_reason; }

  private:
    EReason m_reason;
};

/// What is analysed.
struct SStreamInput {
    volume::IImageReader& image;
    volume::IImageReader* mask = nullptr;            ///< of the same size; null for the automatic foreground
    std::optional<volume::SGreyWindow> window{};     ///< brings the image to 8 bit; none: its own precision
    const SEstimator* estimator = DEFAULT_ESTIMATOR; ///< how axes are found
};

/// The request as it is carried out and recorded: with the estimator's name and all that is left to it. Without a factor
/// where a mask or a threshold takes its place. Headers hold rounded numbers: spacings that differ by no more than a
/// ten-thousandth become that of x; in 2D z gets it, too.
/// @throws volume::CInputError if the spacing is unequal and the estimator does not take that, or if a length is none of
///         its own.
Impl::SAnalysisRequest Completed(const SStreamInput& input, const Impl::SAnalysisRequest& request);

/// "0.5 mm", or "0.05 x 0.05 x 0.1 um" where pixels are no cubes; of a completed request.
std::string SpacingText(const Impl::SAnalysisRequest& request, int dim);

struct SStreamResources {
    int threads = 1;
    std::size_t memoryBytes = 0;        ///< of one process; the same for all, as are the threads
    std::string scratchFolder = "/tmp"; ///< for a temporary file if the memory does not suffice
    /// Given: a finished smoothing is kept in these files until the run is finished, and reused if a run
    /// before was not.
    std::optional<SCheckpointFiles> checkpoint{};
    /// That the caller's sink and accumulators take for themselves: part of the plan.
    std::size_t callersBytes = 0;
};

struct SStreamResult {
    /// On rank 0; on others all but threshold, histogram and passes (of the own process) is empty.
    Impl::SAnalysisResult analysis;
    long long foregroundPixels = 0;  ///< those with an axis, of the whole image
    volume::SValueRange range;       ///< of the file's values
    std::vector<double> idleSeconds; ///< on rank 0: how long each process has waited for others
};

/// The field-by-field analysis of CSubfieldFiberDirections, slice by slice.
///
///     CStreamingAnalysis analysis(input, request, resources, *ranks);
///     std::cout << analysis.Plan().peakBytes;
///     SStreamResult result = analysis.Run();
///
/// Its passes: check the mask; those of the estimator's stage, which fill the scratch store (of the Hessian:
/// smooth every slice along x and y, smooth columns along z); take the threshold from a histogram; find axes
/// slice by slice, and sum them up. Numbers come from
/// the kernels of the library: threshold, angles and counts of an 8-bit image are the library's to the last
/// bit, sums up to the order of summation. Nothing depends on the number of threads or processes or on the
/// memory.
class CStreamingAnalysis {
  public:
    /// Reads no pixels yet. @param input, ranks, sink must outlive the object.
    /// @param sink takes grey values and maps of this process's slices; null if nobody wants them.
    /// @throws std::invalid_argument if the request does not go with the image's size; what `Completed` throws;
    ///         volume::CEnvironmentError if the memory cannot suffice; volume::CInputError for an impossible
    ///         window.
    CStreamingAnalysis(const SStreamInput& input, const Impl::SAnalysisRequest& request,
                       const SStreamResources& resources, ICommunicator& ranks, ISliceSink* sink = nullptr);
    ~CStreamingAnalysis();
    CStreamingAnalysis(const CStreamingAnalysis&) = delete;
    CStreamingAnalysis& operator=(const CStreamingAnalysis&) = delete;

    const SMemoryPlan& Plan() const noexcept { return m_plan; }
    /// The lengths that the estimator works with.
    std::vector<SScale> Scales() const { return m_stage->Scales(); }
    /// Whether the estimator knows how sure its axes are.
    bool HasConfidence() const noexcept { return m_stage->Confidence() != Impl::EConfidence::none; }
    /// Takes the files of the checkpoint for this process alone, until the object goes; `Run` does if it has
    /// not been called. @throws volume::CEnvironmentError if another run is at work with them.
    void TakeCheckpoint();
    /// Whether this process can go on where an earlier run has ended.
    CCheckpoint::EState Earlier() const noexcept {
        return m_checkpoint ? m_checkpoint->State() : CCheckpoint::EState::absent;
    }

    /// Tiles of the layout, for accumulators.
    const CTileGrid& Grid() const noexcept { return m_grid; }
    /// Hands the axes of this process's slices to one more accumulator, which must outlive the run.
    void Add(IAxisAccumulator& accumulator) { m_accumulators.push_back(&accumulator); }

    /// Reports progress to the calling thread's monitor.
    /// @throws CNoForegroundError, CNoFiniteValueError and CMaskError, which all processes throw together; what
    ///         reading and the sink throw; volume::CEnvironmentError without room for the scratch store;
    ///         std::bad_alloc.
    SStreamResult Run();

    /// The run's results are safe: what was kept for another one goes.
    void DropCheckpoint();

  private:
    class CRun;

    SStreamInput m_input;
    Impl::SAnalysisRequest m_request; // completed
    SStreamResources m_resources;
    ICommunicator& m_ranks;
    ISliceSink* m_sink;
    std::vector<IAxisAccumulator*> m_accumulators; // of the caller
    std::unique_ptr<IAxisStage> m_stage;
    Impl::CSubfieldLayout m_layout;
    CTileGrid m_grid;
    SMemoryPlan m_plan;
    std::optional<CCheckpoint> m_checkpoint;
};

} // namespace TEVRA::stream
