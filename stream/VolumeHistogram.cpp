// SPDX-License-Identifier: BSD-3-Clause
#include "stream/VolumeHistogram.h"

#include "stream/MemoryPlan.h"

#include "Utils/Threshold.h"
#include "Utils/visitors/PointOperationStatistics.h"
#include "VexoBase/ProgressMonitor.h"
#include "VexoSegmentation/Otsu.h"

#include <algorithm>
#include <functional>
#include <span>
#include <vector>

namespace TEVRA::stream {
namespace {

using Counts = std::vector<unsigned long long>;

/// Adjacent slices cut into blocks of pixels for threads to share, whatever the size of slices.
class CBlocks {
  public:
    CBlocks(long long slices, std::size_t slicePixels)
        : m_pixels(static_cast<std::size_t>(slices) * slicePixels) {}
    long long Count() const { return static_cast<long long>((m_pixels + BLOCK_PIXELS - 1) / BLOCK_PIXELS); }
    std::span<const float> Of(const float* first, long long block) const {
        const std::size_t offset = static_cast<std::size_t>(block) * BLOCK_PIXELS;
        return {first + offset, std::min(BLOCK_PIXELS, m_pixels - offset)};
    }

  private:
    static constexpr std::size_t BLOCK_PIXELS = 1 << 18;
    std::size_t m_pixels;
};

} // namespace

Impl::SGreyHistogram HistogramOf(const SStageContext& context, int volume, const Impl::SExtent& extent) {
    using CCounter = visitors::CAnalyzerHistogram<float, unsigned long long>;
    CScratchStore& store = context.store;
    std::vector<Counts> histograms(static_cast<std::size_t>(context.workers.Count()));
    std::vector<CCounter> counters;
    for (Counts& part : histograms) {
        counters.emplace_back(part, extent.lo, extent.hi, Impl::FLOAT_HISTOGRAM_BINS).Reset();
    }
    // What is in memory needs no small steps to stay within it.
    const long long stepSlices = store.IsInFile() ? context.plan.slabSlices : context.own.Count();
    const long long steps = SlabCount(context.own, stepSlices);
    CProgressReport report(CProgressMonitor::Obj(), steps, "Computing threshold...");
    for (long long step = 0; step < steps; ++step) {
        const SSliceRange slices = SlabOf(context.own, stepSlices, step);
        const CBlocks blocks(slices.Count(), store.SlicePixels());
        context.workers.Run(blocks.Count(), [&](long long task, int worker) {
            const std::span<const float> block = blocks.Of(store.Slice(slices.first, volume), task);
            counters[static_cast<std::size_t>(worker)].VisitRow(block.data(),
                                                                static_cast<long long>(block.size()));
        });
        store.Evict();
        report.Step();
    }
    Counts sum(Impl::FLOAT_HISTOGRAM_BINS);
    for (std::size_t worker = 0; worker < histograms.size(); ++worker) {
        counters[worker].Finish();
        const Counts& part = histograms[worker];
        std::transform(sum.begin(), sum.end(), part.begin(), sum.begin(), std::plus<>());
    }
    context.ranks.AddUp(sum);
    return {static_cast<double>(extent.lo), static_cast<double>(extent.hi), std::move(sum)};
}

double ThresholdOf(const Impl::SGreyHistogram& histogram, const Impl::SExtent& extent, double otsuFactor) {
    return Impl::ThresholdOfFloatBin(COtsu::CalculateThreshold(histogram.counts), otsuFactor, extent.lo,
                                     extent.hi);
}

} // namespace TEVRA::stream
