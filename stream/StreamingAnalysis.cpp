// SPDX-License-Identifier: BSD-3-Clause
#include "stream/StreamingAnalysis.h"

#include "stream/GreySlices.h"
#include "stream/KeptVolumes.h"
#include "stream/MaskCheck.h"
#include "stream/OrientationPass.h"
#include "stream/RankSlices.h"
#include "stream/TileAccumulator.h"
#include "stream/VolumeHistogram.h"

#include "VexoBase/ProgressMonitor.h"
#include "volume/Failure.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <locale>
#include <sstream>
#include <utility>
#include <vector>

namespace TEVRA::stream {
namespace {

/// Spacings that differ by less come from rounding.
constexpr double EQUAL_SPACING_TOLERANCE = 1e-4;

std::unique_ptr<IAxisStage> stage_of(const SStreamInput& input, const Impl::SAnalysisRequest& request) {
    return input.estimator->newStage({input.image.Info().size, request.fiberRadius, request.spacing,
                                      request.along, request.gradientSigma, request.windowSigma});
}

std::array<double, 3> without_rounding(std::array<double, 3> spacing, int dim) {
    if (dim == 2) {
        spacing[2] = spacing[0];
    }
    const bool isEqual = std::all_of(spacing.begin(), spacing.end(), [&](double length) {
        return std::abs(length - spacing[0]) <= EQUAL_SPACING_TOLERANCE * std::abs(spacing[0]);
    });
    return isEqual ? std::array{spacing[0], spacing[0], spacing[0]} : spacing;
}

/// "line-voting and structure-tensor": those that can what is asked for.
template <typename Can>
std::string estimators_that(const Can& can) {
    std::string names;
    for (const SEstimator* const estimator : ESTIMATORS) {
        if (can(*estimator)) {
            names += (names.empty() ? "" : " and ") + std::string(estimator->name);
        }
    }
    return names;
}

/// Lengths that the estimator does not have are not left aside in silence.
void refuse_foreign_lengths(const SEstimator& estimator, const Impl::SAnalysisRequest& request) {
    if (request.along && !estimator.averagesAlong) {
        throw volume::CInputError(
            std::string("the estimator ") + estimator.name + " does not average along fibers; " +
            estimators_that([](const SEstimator& one) { return one.averagesAlong; }) + " can");
    }
    if ((request.gradientSigma || request.windowSigma) && !estimator.hasWindow) {
        throw volume::CInputError(
            std::string("the estimator ") + estimator.name + " has no gradients and no window; " +
            estimators_that([](const SEstimator& one) { return one.hasWindow; }) + " has");
    }
}

std::size_t slice_pixels(const SStreamInput& input) {
    const CSize& size = input.image.Info().size;
    return static_cast<std::size_t>(size[0] * size[1]);
}

/// The slices that a process keeps: its own, and room for some of its neighbours'.
SSliceRange stored_slices(const SStreamInput& input, const IAxisStage& stage, const ICommunicator& ranks) {
    const long long depth = input.image.SliceCount();
    return WithHalo(SlicesOfRank(depth, ranks.Size(), ranks.Rank()), stage.Scratch().roomSlices, depth);
}

std::size_t scratch_bytes(const SStreamInput& input, const IAxisStage& stage, const ICommunicator& ranks) {
    const auto slices = static_cast<std::size_t>(stored_slices(input, stage, ranks).Count());
    return slices * static_cast<std::size_t>(stage.Scratch().volumes) * slice_pixels(input) * sizeof(float);
}

void check(const SStreamInput& input, const Impl::CSubfieldLayout& layout, const ICommunicator& ranks) {
    const CBox area = layout.EvaluatedArea();
    for (int axis = 0; axis < layout.Dim(); ++axis) {
        if (area.Point1()[axis] <= area.Point0()[axis] ||
            layout.SubfieldSize()[static_cast<std::size_t>(axis)] < 1) {
            throw std::invalid_argument("the image is all border, or a subfield is empty");
        }
    }
    if (input.mask != nullptr && !(input.mask->Info().size == input.image.Info().size)) {
        throw std::invalid_argument("the mask is not of the image's size");
    }
    if (ranks.Size() > input.image.SliceCount()) {
        throw volume::CInputError("the image has " + std::to_string(input.image.SliceCount()) +
                                  " slice(s), but " + std::to_string(ranks.Size()) +
                                  " processes want to share them; start at most as many as there are slices");
    }
}

} // namespace

CNoForegroundError::CNoForegroundError(EReason reason)
    : std::runtime_error(reason == EReason::constantImage ? "all pixels have the same grey value"
                                                          : "no pixel of the evaluated area is foreground"),
      m_reason(reason) {}

std::string SpacingText(const Impl::SAnalysisRequest& request, int dim) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << request.spacing[0];
    for (std::size_t axis = 1; !request.HasEqualSpacing() && axis < static_cast<std::size_t>(dim); ++axis) {
        text << " x " << request.spacing[axis];
    }
    text << (request.lengthUnit.empty() ? "" : " ") << request.lengthUnit;
    return text.str();
}

Impl::SAnalysisRequest Completed(const SStreamInput& input, const Impl::SAnalysisRequest& request) {
    const SEstimator& estimator = *input.estimator;
    const int dim = input.image.Info().size.Dim();
    Impl::SAnalysisRequest completed = request;
    completed.estimator = estimator.name;
    completed.spacing = without_rounding(request.spacing, dim);
    if (!completed.HasEqualSpacing() && !estimator.takesUnequalSpacing) {
        throw volume::CInputError(
            "Need equal pixel spacing in all axis directions, but it is " + SpacingText(completed, dim) +
            ": the estimator " + estimator.name + " takes no other; " +
            estimators_that([](const SEstimator& one) { return one.takesUnequalSpacing; }) +
            " do. Or resample the image to equal spacing or, if that is not its spacing, give the right one");
    }
    refuse_foreign_lengths(estimator, request);
    completed.border = request.border.value_or(estimator.borderRadii * request.fiberRadius);
    if (input.mask != nullptr) {
        completed.threshold.reset();
        completed.otsuFactor.reset();
    } else if (request.threshold) {
        completed.otsuFactor.reset();
    } else {
        completed.otsuFactor = request.otsuFactor.value_or(estimator.otsuFactor);
    }
    return completed;
}

/// One run: the passes one after the other.
class CStreamingAnalysis::CRun {
  public:
    explicit CRun(CStreamingAnalysis& analysis)
        : m_analysis(analysis), m_input(analysis.m_input), m_stage(*analysis.m_stage),
          m_ranks(analysis.m_ranks), m_workers(analysis.m_resources.threads),
          m_kept(analysis.m_checkpoint ? &*analysis.m_checkpoint : nullptr, m_ranks),
          m_store(scratch_place(), stored_slices(m_input, m_stage, m_ranks), slice_pixels(m_input),
                  m_stage.Scratch().volumes),
          m_grey(m_input.image, m_input.window, analysis.m_request.contrast),
          m_context{m_grey,
                    m_store,
                    SlicesOfRank(m_input.image.SliceCount(), m_ranks.Size(), m_ranks.Rank()),
                    m_input.image.SliceCount(),
                    analysis.m_plan,
                    m_workers,
                    m_ranks,
                    analysis.m_sink,
                    m_found} {}
    ~CRun() = default;
    CRun(const CRun&) = delete;
    CRun& operator=(const CRun&) = delete;

    SStreamResult Run() {
        const bool hasMask = m_input.mask != nullptr;
        const std::vector<SStagePass> stagePasses =
            m_kept.AreReused() ? std::vector<SStagePass>() : m_stage.Passes();
        const long long passes = 2 + (hasMask ? 1 : 0) + static_cast<long long>(stagePasses.size());
        SStreamResult result;
        CProgressReport report(CProgressMonitor::Obj(), passes, "");
        const auto pass = [&](const char* name, const auto& work) {
            const auto start = std::chrono::steady_clock::now();
            work();
            const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
            result.analysis.passes.push_back({name, time.count()});
            report.Step();
        };
        if (hasMask) {
            pass("mask",
                 [&] { CheckMask(*m_input.mask, m_context.own, m_analysis.m_plan.slabSlices, m_ranks); });
        }
        if (m_kept.AreReused()) {
            m_found = m_kept.Found();
        } else {
            for (const SStagePass& stagePass : stagePasses) {
                pass(stagePass.name, [&] {
                    stagePass.run(m_context);
                    check_contrast();
                });
            }
            m_kept.Keep(m_store, m_found);
        }
        result.range = m_found.range;
        pass("threshold", [&] { find_threshold(result.analysis); });
        pass("directions", [&] {
            ExchangeHalo(m_store, m_stage.Scratch().reachSlices, m_context.depth, m_ranks);
            if (m_analysis.m_layout.Dim() == 3) {
                find_orientations<3>(result);
            } else {
                find_orientations<2>(result);
            }
        });
        result.idleSeconds = idle_seconds();
        return result;
    }

  private:
    SScratchPlace scratch_place() const {
        return m_kept.Place({m_analysis.m_plan.scratchKind, m_analysis.m_resources.scratchFolder});
    }

    /// Without contrast there is no threshold, which shows as soon as the image has been read.
    void check_contrast() const {
        const volume::SValueRange& range = m_found.range;
        if (m_input.mask == nullptr && range.HasFinite() && range.lo == range.hi) {
            throw CNoForegroundError(CNoForegroundError::EReason::constantImage);
        }
    }

    ISliceSink* angle_sink() const {
        ISliceSink* const sink = m_analysis.m_sink;
        return sink != nullptr && sink->WantsAngles() ? sink : nullptr;
    }

    std::vector<double> idle_seconds() {
        constexpr int IDLE = 5; // tag of the messages
        std::vector<double> seconds{m_ranks.WaitedSeconds()};
        if (!m_ranks.IsFirst()) {
            m_ranks.Send(0, IDLE, MessageOf(std::span<const double>(seconds)));
            m_ranks.Flush();
            return {};
        }
        for (int rank = 1; rank < m_ranks.Size(); ++rank) {
            seconds.push_back(0.0);
            CopyMessage(m_ranks.Receive(rank, IDLE), std::as_writable_bytes(std::span(&seconds.back(), 1)));
        }
        return seconds;
    }

    void find_threshold(Impl::SAnalysisResult& result) {
        if (m_input.mask != nullptr) {
            return;
        }
        const Impl::SExtent& extent = m_found.extent;
        if (!(extent.lo < extent.hi)) {
            throw CNoForegroundError(CNoForegroundError::EReason::constantImage);
        }
        Impl::SGreyHistogram histogram = HistogramOf(m_context, m_stage.ForegroundVolume(), extent);
        const Impl::SAnalysisRequest& request = m_analysis.m_request;
        m_threshold = request.threshold ? m_grey.FromFile(*request.threshold)
                                        : ThresholdOf(histogram, extent, request.otsuFactor.value());
        result.threshold = m_grey.Turned(m_threshold);
        result.smoothedHistogram = as_in_image(std::move(histogram));
    }

    /// A histogram of values that are turned over where fibers are dark, in those of the image.
    Impl::SGreyHistogram as_in_image(Impl::SGreyHistogram histogram) const {
        if (m_analysis.m_request.contrast == Impl::EFiberContrast::dark) {
            histogram = {m_grey.Turned(histogram.hi), m_grey.Turned(histogram.lo),
                         std::move(histogram.counts)};
            std::reverse(histogram.counts.begin(), histogram.counts.end());
        }
        return histogram;
    }

    Impl::EConfidence confidence_of_fields() const {
        return m_analysis.m_request.withConfidence ? m_stage.Confidence() : Impl::EConfidence::none;
    }

    template <std::size_t Dim>
    void find_orientations(SStreamResult& result) {
        using EOrders = typename CTileAccumulator<Dim>::EOrders;
        using ESums = typename CTileAccumulator<Dim>::ESums;
        const bool withConfidence = confidence_of_fields() != Impl::EConfidence::none;
        const CTileGrid& grid = m_analysis.m_grid;
        const CSize& size = m_input.image.Info().size;
        CTileSums<Dim> sums(grid, m_context.own);
        CTileAccumulator<Dim> accumulator(
            grid, sums, m_analysis.m_request.withFourthOrder ? EOrders::secondAndFourth : EOrders::second,
            withConfidence ? ESums::axesAndConfidence : ESums::axes, m_workers.Count(),
            static_cast<std::size_t>(size[0]));
        std::optional<CMaskSlices> mask;
        if (m_input.mask != nullptr) {
            mask.emplace(*m_input.mask);
        }
        SOrientationPass pass{m_stage,     m_context,    size,          grid, mask ? &*mask : nullptr,
                              m_threshold, angle_sink(), {&accumulator}};
        pass.accumulators.insert(pass.accumulators.end(), m_analysis.m_accumulators.begin(),
                                 m_analysis.m_accumulators.end());
        std::array<unsigned long long, 1> axes{
            static_cast<unsigned long long>(FindOrientations<Dim>(pass, CProgressMonitor::Obj()))};
        m_ranks.AddUp(axes);
        result.foregroundPixels = static_cast<long long>(axes.front());
        sums.Collect(m_ranks);
        std::array<unsigned long long, 1> tiles{
            m_ranks.IsFirst() ? static_cast<unsigned long long>(sums.Count()) : 0};
        m_ranks.AddUp(tiles);
        if (tiles.front() == 0) { // all fail together
            throw CNoForegroundError(CNoForegroundError::EReason::noneInTiles);
        }
        if (m_ranks.IsFirst()) {
            evaluate(sums, result.analysis);
        }
    }

    template <std::size_t Dim>
    void evaluate(const CTileSums<Dim>& sums, Impl::SAnalysisResult& result) const {
        const Impl::SAnalysisRequest& request = m_analysis.m_request;
        Impl::CResultBuilder builder(m_analysis.m_layout, request, confidence_of_fields());
        sums.AddTo(builder, request.withFourthOrder);
        Impl::SAnalysisResult found = builder.Finish();
        found.threshold = result.threshold;
        found.smoothedHistogram = std::move(result.smoothedHistogram);
        found.passes = std::move(result.passes);
        result = std::move(found);
    }

    CStreamingAnalysis& m_analysis;
    const SStreamInput& m_input;
    IAxisStage& m_stage;
    ICommunicator& m_ranks;
    CWorkers m_workers;
    CKeptVolumes m_kept;
    CScratchStore m_store;
    CGreySlices m_grey;
    double m_threshold = 0.0; // of smoothed values, those turned over where fibers are dark
    SSmoothed m_found{};
    SStageContext m_context;
};

CStreamingAnalysis::CStreamingAnalysis(const SStreamInput& input, const Impl::SAnalysisRequest& request,
                                       const SStreamResources& resources, ICommunicator& ranks,
                                       ISliceSink* sink)
    : m_input(input), m_request(Completed(input, request)), m_resources(resources), m_ranks(ranks),
      m_sink(sink), m_stage(stage_of(input, m_request)),
      m_layout(Impl::LayoutOf(input.image.Info().size, m_request)),
      m_grid(m_layout, input.image.Info().size) {
    check(m_input, m_layout, ranks);
    if (m_input.window) {
        volume::CheckWindow(*m_input.window);
    }
    // A part for what makes reading fast; the plan does with the rest.
    constexpr std::size_t READERS_SHARE = 8;
    m_input.image.LimitBuffers(resources.memoryBytes / READERS_SHARE);
    if (m_input.mask != nullptr) {
        m_input.mask->LimitBuffers(resources.memoryBytes / READERS_SHARE);
    }
    SWorkload workload{.imageSize = input.image.Info().size, .stage = *m_stage};
    workload.bytesPerPixel = volume::BytesPerPixel(input.image.Info().pixelType);
    workload.hasMask = input.mask != nullptr;
    workload.readerBytes = input.image.BufferBytes() + (workload.hasMask ? input.mask->BufferBytes() : 0);
    workload.wantsAngles = sink != nullptr && sink->WantsAngles();
    workload.callersBytes = resources.callersBytes;
    workload.wantsConfidenceMap = sink != nullptr && sink->WantsConfidence() && HasConfidence();
    workload.withFourthOrder = m_request.withFourthOrder;
    workload.tilesPerSlice = m_grid.Tiles(0) * m_grid.Tiles(1);
    workload.tiles = workload.tilesPerSlice * m_grid.Tiles(2);
    workload.threads = resources.threads;
    workload.processes = ranks.Size();
    workload.keepsScratch = resources.checkpoint.has_value();
    m_plan = PlanMemory(workload, resources.memoryBytes);
    if (resources.checkpoint) {
        m_resources.checkpoint->fingerprint += "; " + m_stage->Fingerprint();
        m_checkpoint.emplace(*m_resources.checkpoint, scratch_bytes(m_input, *m_stage, ranks));
    }
}

CStreamingAnalysis::~CStreamingAnalysis() = default;

void CStreamingAnalysis::TakeCheckpoint() {
    if (m_checkpoint) {
        m_checkpoint->Take();
    }
}

void CStreamingAnalysis::DropCheckpoint() {
    if (m_checkpoint) {
        m_checkpoint->Remove();
    }
}

SStreamResult CStreamingAnalysis::Run() {
    TakeCheckpoint();
    return CRun(*this).Run();
}

} // namespace TEVRA::stream
