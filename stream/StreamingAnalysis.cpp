// SPDX-License-Identifier: BSD-3-Clause
#include "stream/StreamingAnalysis.h"

#include "stream/ColumnSmoothing.h"
#include "stream/GreySlices.h"
#include "stream/RankSlices.h"
#include "stream/SlabReader.h"
#include "stream/SliceSmoothing.h"

#include "Utils/Threshold.h"
#include "Utils/visitors/PointOperationStatistics.h"
#include "VexoBase/ProgressMonitor.h"
#include "VexoSegmentation/Otsu.h"
#include "volume/Failure.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

namespace TEVRA::stream {
namespace {

using Counts = std::vector<unsigned long long>;

Impl::CSubfieldLayout layout_of(const SStreamInput& input, const SStreamParameters& parameters) {
    return Impl::LayoutOf(input.image.Info().size, parameters);
}

SWorkload workload_of(const SStreamInput& input, const CTileGrid& grid, const SStreamParameters& parameters,
                      int threads, int processes, bool wantsAngles, bool keepsScratch) {
    SWorkload workload{.imageSize = input.image.Info().size};
    workload.sigmaPx = parameters.FiberRadiusPx();
    workload.bytesPerPixel = volume::BytesPerPixel(input.image.Info().pixelType);
    workload.readerBytes = input.image.BufferBytes();
    workload.hasMask = input.mask != nullptr;
    if (input.mask != nullptr) {
        workload.readerBytes += input.mask->BufferBytes();
    }
    workload.wantsAngles = wantsAngles;
    workload.withFourthOrder = parameters.withFourthOrder;
    workload.tilesPerSlice = grid.Tiles(0) * grid.Tiles(1);
    workload.tiles = workload.tilesPerSlice * grid.Tiles(2);
    workload.threads = threads;
    workload.processes = processes;
    workload.keepsScratch = keepsScratch;
    return workload;
}

std::size_t slice_pixels(const SStreamInput& input) {
    const CSize& size = input.image.Info().size;
    return static_cast<std::size_t>(size[0] * size[1]);
}

/// The slices that a process keeps smoothed: its own, and room for some of its neighbours'.
SSliceRange stored_slices(const SStreamInput& input, const SStreamParameters& parameters,
                          const ICommunicator& ranks) {
    const long long depth = input.image.SliceCount();
    const Impl::Gaussian gaussian = Impl::GaussianFromSigma(parameters.FiberRadiusPx());
    return WithHalo(SlicesOfRank(depth, ranks.Size(), ranks.Rank()), std::max(HaloSlices(gaussian), 1LL),
                    depth);
}

std::size_t scratch_bytes(const SStreamInput& input, const SStreamParameters& parameters,
                          const ICommunicator& ranks) {
    const SSliceRange slices = stored_slices(input, parameters, ranks);
    return static_cast<std::size_t>(slices.Count()) * slice_pixels(input) * sizeof(float);
}

void check(const SStreamInput& input, const Impl::CSubfieldLayout& layout, const ICommunicator& ranks) {
    const CBox area = layout.EvaluatedArea();
    for (int axis = 0; axis < layout.Dim(); ++axis) {
        if (area.Point1()[axis] <= area.Point0()[axis] ||
            layout.SubfieldSize()[static_cast<std::size_t>(axis)] < 1) {
            throw std::invalid_argument(
                "the image is all border of one fiber radius, or a subfield is empty");
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

/// One run: the passes one after the other.
class CStreamingAnalysis::CRun {
  public:
    CRun(CStreamingAnalysis& analysis, IAngleSink* angles)
        : m_analysis(analysis), m_input(analysis.m_input), m_ranks(analysis.m_ranks), m_angles(angles),
          m_plan(analysis.m_plan), m_depth(analysis.m_input.image.SliceCount()),
          m_own(SlicesOfRank(m_depth, m_ranks.Size(), m_ranks.Rank())),
          m_workers(analysis.m_resources.threads),
          m_gaussian(Impl::GaussianFromSigma(analysis.m_parameters.FiberRadiusPx())),
          m_checkpoint(analysis.m_checkpoint ? &*analysis.m_checkpoint : nullptr),
          m_reuses(m_ranks.Smallest(analysis.Earlier() == CCheckpoint::EState::reusable ? 1.0 : 0.0) > 0.0),
          m_store(scratch_place(), stored_slices(m_input, analysis.m_parameters, m_ranks),
                  slice_pixels(m_input)) {}
    /// What is left of an unfinished smoothing is of no use to anybody.
    ~CRun() {
        if (m_checkpoint != nullptr && !m_isKept) {
            m_checkpoint->Remove();
        }
    }
    CRun(const CRun&) = delete;
    CRun& operator=(const CRun&) = delete;

    SStreamResult Run() {
        const bool hasMask = m_input.mask != nullptr;
        const int passes = 2 + (hasMask ? 1 : 0) + (m_reuses ? 0 : 2);
        SStreamResult result;
        Impl::SExtent extent;
        CProgressReport report(CProgressMonitor::Obj(), passes, "");
        const auto pass = [&](const char* name, const auto& work) {
            const auto start = std::chrono::steady_clock::now();
            work();
            const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
            result.analysis.passes.push_back({name, time.count()});
            report.Step();
        };
        if (hasMask) {
            pass("mask", [&] { check_mask(); });
        }
        if (m_reuses) {
            result.range = m_checkpoint->Smoothed().range;
            extent = m_checkpoint->Smoothed().extent;
            m_isKept = true;
        } else {
            if (m_checkpoint != nullptr) {
                m_checkpoint->Discard();
            }
            pass("slices", [&] { result.range = smooth_slices(); });
            pass("columns", [&] { extent = smooth_columns(); });
            keep({result.range, extent});
        }
        pass("threshold", [&] { find_threshold(extent, result.analysis); });
        pass("directions", [&] {
            ExchangeHalo(m_store, 1, m_depth, m_ranks);
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
    const CSize& size() const { return m_input.image.Info().size; }

    SScratchPlace scratch_place() const {
        SScratchPlace place{m_plan.scratchKind, m_analysis.m_resources.scratchFolder};
        if (m_checkpoint != nullptr) {
            place.file = m_analysis.m_resources.checkpoint->scratch;
            place.content = m_reuses ? SScratchPlace::EContent::reused : SScratchPlace::EContent::overwritten;
        }
        return place;
    }

    /// For a later run, should this one be killed.
    void keep(const SSmoothed& smoothed) {
        if (m_checkpoint != nullptr) {
            m_store.Sync();
            m_checkpoint->Save(smoothed);
            m_isKept = true;
        }
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

    /// A mask that is none shows before the work, not in the course of it.
    void check_mask() {
        CMaskSlices mask(*m_input.mask);
        std::vector<std::byte> pixels(static_cast<std::size_t>(std::min(m_plan.slabSlices, m_own.Count())) *
                                      mask.SlicePixels());
        const long long slabs = SlabCount(m_own, m_plan.slabSlices);
        CProgressReport report(CProgressMonitor::Obj(), slabs, "Reading mask...");
        for (long long slab = 0; slab < slabs; ++slab) {
            mask.Read(SlabOf(m_own, m_plan.slabSlices, slab), pixels.data());
            report.Step();
        }
        // Processes may have met different values.
        const double own = mask.Values().Foreground();
        const double none = std::numeric_limits<double>::infinity();
        volume::CMaskValues all;
        for (const double value : {m_ranks.Smallest(std::isnan(own) ? none : own),
                                   m_ranks.Largest(std::isnan(own) ? -none : own)}) {
            if (std::isfinite(value)) {
                AddMaskValue(all, value);
            }
        }
        if (m_ranks.Largest(mask.HasBackground() ? 1.0 : 0.0) == 0.0) {
            throw CMaskError("it is 0 nowhere, so that it would take every pixel for fiber; background is 0");
        }
    }

    CGreySlices grey_slices() const {
        return {m_input.image, m_input.window, m_analysis.m_parameters.contrast};
    }

    /// Smooths once more if values that are no numbers turn up: what they become depends on all others.
    volume::SValueRange smooth_slices() {
        CGreySlices grey = grey_slices();
        volume::SValueRange range = smooth_slices(grey);
        if (range.nanCount + range.infiniteCount > 0 && grey.NeedsRange()) {
            grey.Replace(range);
            smooth_slices(grey);
        }
        if (!range.HasFinite()) {
            throw volume::CInputError("the image has no finite value (" + std::to_string(range.nanCount) +
                                      " NaN, " + std::to_string(range.infiniteCount) + " infinite)");
        }
        if (m_input.mask == nullptr && range.lo == range.hi) {
            throw CNoForegroundError(CNoForegroundError::EReason::constantImage);
        }
        return range;
    }

    volume::SValueRange smooth_slices(CGreySlices& grey) {
        CSlabReader reader([&grey](const SSliceRange& slices, std::byte* raw) { grey.Read(slices, raw); },
                           m_own, m_plan.slabSlices, grey.RawSliceBytes());
        CSliceSmoothing smoothing(m_gaussian, grey, m_workers);
        const long long slabs = SlabCount(m_own, m_plan.slabSlices);
        volume::SValueRange range;
        CProgressReport report(CProgressMonitor::Obj(), slabs, "Reading and smoothing slices...");
        reader.ReadNext();
        for (long long slab = 0; slab < slabs; ++slab) {
            const SSliceRange slices = SlabOf(m_own, m_plan.slabSlices, slab);
            range.Add(smoothing.Smooth(reader.Take(), slices, m_store, [&reader] { reader.ReadNext(); }));
            m_store.Forget();
            report.Step();
        }
        return together(range);
    }

    /// Over all processes.
    volume::SValueRange together(const volume::SValueRange& own) {
        Counts counts{static_cast<unsigned long long>(own.nanCount),
                      static_cast<unsigned long long>(own.infiniteCount)};
        m_ranks.AddUp(counts);
        volume::SValueRange all{m_ranks.Smallest(own.lo), m_ranks.Largest(own.hi),
                                static_cast<long long>(counts[0]), static_cast<long long>(counts[1])};
        return all;
    }

    Impl::SExtent smooth_columns() {
        if (m_depth == 1) {
            return extent_of_slice();
        }
        const Impl::SExtent own = SmoothColumns({m_gaussian, m_store, m_own, m_depth, m_plan.stripPixels},
                                                m_workers, m_ranks, CProgressMonitor::Obj());
        return {static_cast<float>(m_ranks.Smallest(static_cast<double>(own.lo))),
                static_cast<float>(m_ranks.Largest(static_cast<double>(own.hi)))};
    }

    Impl::SExtent extent_of_slice() const {
        Impl::SExtent extent;
        Impl::Extend(extent, m_store.Slice(0), m_store.SlicePixels());
        return extent;
    }

    void find_threshold(const Impl::SExtent& extent, Impl::SAnalysisResult& result) {
        if (m_input.mask != nullptr) {
            return;
        }
        if (!(extent.lo < extent.hi)) {
            throw CNoForegroundError(CNoForegroundError::EReason::constantImage);
        }
        Counts histogram = this->histogram(extent);
        m_ranks.AddUp(histogram);
        const SStreamParameters& parameters = m_analysis.m_parameters;
        m_threshold = parameters.threshold
                          ? grey_slices().FromFile(*parameters.threshold)
                          : Impl::ThresholdOfFloatBin(COtsu::CalculateThreshold(histogram),
                                                      parameters.otsuFactor, extent.lo, extent.hi);
        result.threshold = grey_slices().Turned(m_threshold);
        result.smoothedHistogram = as_in_image(
            {static_cast<double>(extent.lo), static_cast<double>(extent.hi), std::move(histogram)});
    }

    /// A histogram of values that are turned over where fibers are dark, in those of the image.
    Impl::SGreyHistogram as_in_image(Impl::SGreyHistogram histogram) const {
        if (m_analysis.m_parameters.contrast == Impl::EFiberContrast::dark) {
            const CGreySlices grey = grey_slices();
            histogram = {grey.Turned(histogram.hi), grey.Turned(histogram.lo), std::move(histogram.counts)};
            std::reverse(histogram.counts.begin(), histogram.counts.end());
        }
        return histogram;
    }

    Counts histogram(const Impl::SExtent& extent) {
        using CCounter = visitors::CAnalyzerHistogram<float, unsigned long long>;
        std::vector<Counts> histograms(static_cast<std::size_t>(m_workers.Count()));
        std::vector<CCounter> counters;
        for (Counts& part : histograms) {
            counters.emplace_back(part, extent.lo, extent.hi, Impl::FLOAT_HISTOGRAM_BINS).Reset();
        }
        // What is in memory needs no small steps to stay within it.
        const long long steps = m_store.IsInFile() ? SlabCount(m_own, m_plan.slabSlices) : 1;
        const long long stepSlices = m_store.IsInFile() ? m_plan.slabSlices : m_own.Count();
        CProgressReport report(CProgressMonitor::Obj(), steps, "Computing threshold...");
        for (long long step = 0; step < steps; ++step) {
            const SSliceRange slices = SlabOf(m_own, stepSlices, step);
            const CPieces pieces(slices.Count(), m_store.SlicePixels());
            m_workers.Run(pieces.Count(), [&](long long task, int worker) {
                const std::span<const float> piece = pieces.Of(m_store.Slice(slices.first), task);
                counters[static_cast<std::size_t>(worker)].VisitRow(piece.data(),
                                                                    static_cast<long long>(piece.size()));
            });
            m_store.Forget();
            report.Step();
        }
        Counts sum(Impl::FLOAT_HISTOGRAM_BINS);
        for (std::size_t worker = 0; worker < histograms.size(); ++worker) {
            counters[worker].Finish();
            const Counts& part = histograms[worker];
            std::transform(sum.begin(), sum.end(), part.begin(), sum.begin(), std::plus<>());
        }
        return sum;
    }

    /// Pieces of adjacent slices for threads to share, whatever the size of slices.
    class CPieces {
      public:
        CPieces(long long slices, std::size_t slicePixels)
            : m_pixels(static_cast<std::size_t>(slices) * slicePixels) {}
        long long Count() const { return static_cast<long long>((m_pixels + c_pixels - 1) / c_pixels); }
        std::span<const float> Of(const float* first, long long piece) const {
            const std::size_t offset = static_cast<std::size_t>(piece) * c_pixels;
            return {first + offset, std::min(c_pixels, m_pixels - offset)};
        }

      private:
        static constexpr std::size_t c_pixels = 1 << 18;
        std::size_t m_pixels;
    };

    template <std::size_t Dim>
    void find_orientations(SStreamResult& result) {
        const SStreamParameters& parameters = m_analysis.m_parameters;
        CTileSums<Dim> sums(m_analysis.m_grid, m_own);
        std::optional<CMaskSlices> mask;
        if (m_input.mask != nullptr) {
            mask.emplace(*m_input.mask);
        }
        const SOrientationPass pass{m_store,
                                    m_own,
                                    size(),
                                    m_analysis.m_grid,
                                    mask ? &*mask : nullptr,
                                    m_threshold,
                                    m_angles,
                                    m_plan.slabSlices,
                                    parameters.withFourthOrder};
        Counts axes{static_cast<unsigned long long>(
            FindOrientations(pass, sums, m_workers, CProgressMonitor::Obj()))};
        m_ranks.AddUp(axes);
        result.foregroundPixels = static_cast<long long>(axes.front());
        sums.Collect(m_ranks);
        if (m_ranks.IsFirst()) {
            evaluate(sums, result.analysis);
        }
    }

    template <std::size_t Dim>
    void evaluate(const CTileSums<Dim>& sums, Impl::SAnalysisResult& result) const {
        if (sums.Count() == 0) {
            throw CNoForegroundError(CNoForegroundError::EReason::noneInTiles);
        }
        const SStreamParameters& parameters = m_analysis.m_parameters;
        const double spacing = parameters.spacing;
        Impl::SAnalysisParameters recorded{parameters.fiberRadius,
                                           std::nullopt,
                                           {spacing, spacing, Dim == 3 ? spacing : 1.0},
                                           parameters.withFourthOrder};
        if (m_input.mask == nullptr) {
            recorded.threshold = parameters.threshold;
            if (!parameters.threshold) {
                recorded.otsuFactor = parameters.otsuFactor;
            }
        }
        Impl::CResultBuilder builder(m_analysis.m_layout, recorded);
        sums.AddTo(builder, parameters.withFourthOrder);
        Impl::SAnalysisResult found = builder.Finish();
        found.threshold = result.threshold;
        found.smoothedHistogram = std::move(result.smoothedHistogram);
        found.passes = std::move(result.passes);
        result = std::move(found);
    }

    CStreamingAnalysis& m_analysis;
    const SStreamInput& m_input;
    ICommunicator& m_ranks;
    IAngleSink* m_angles;
    const SMemoryPlan& m_plan;
    long long m_depth;
    SSliceRange m_own;
    CWorkers m_workers;
    Impl::Gaussian m_gaussian;
    CCheckpoint* m_checkpoint; // null if nothing is kept
    double m_threshold = 0.0;  // of smoothed values, those turned over where fibers are dark
    bool m_reuses;             // the smoothing of an earlier run
    bool m_isKept = false;     // the smoothing of this run, or an earlier one
    CScratchStore m_store;
};

CStreamingAnalysis::CStreamingAnalysis(const SStreamInput& input, const SStreamParameters& parameters,
                                       const SStreamResources& resources, ICommunicator& ranks,
                                       bool wantsAngles)
    : m_input(input), m_parameters(parameters), m_resources(resources), m_ranks(ranks),
      m_layout(layout_of(input, parameters)), m_grid(m_layout, input.image.Info().size) {
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
    m_plan = PlanMemory(workload_of(m_input, m_grid, parameters, resources.threads, ranks.Size(), wantsAngles,
                                    resources.checkpoint.has_value()),
                        resources.memoryBytes);
    if (resources.checkpoint) {
        m_checkpoint.emplace(*resources.checkpoint, scratch_bytes(m_input, m_parameters, ranks));
    }
}

CStreamingAnalysis::~CStreamingAnalysis() = default;

void CStreamingAnalysis::DropCheckpoint() {
    if (m_checkpoint) {
        m_checkpoint->Remove();
    }
}

SStreamResult CStreamingAnalysis::Run(IAngleSink* angles) {
    return CRun(*this, angles).Run();
}

} // namespace TEVRA::stream
