// SPDX-License-Identifier: BSD-3-Clause
#include "stream/stages/VolumeSmoothing.h"

#include "stream/Failure.h"
#include "stream/MemoryPlan.h"
#include "stream/SlabReader.h"
#include "stream/stages/ColumnSmoothing.h"
#include "stream/stages/SliceSmoothing.h"

#include "VexoBase/ProgressMonitor.h"
#include "volume/Failure.h"

#include <array>
#include <string>

namespace TEVRA::stream {
namespace {

volume::SValueRange smooth_once(const SStageContext& context, const SSmoothedVolume& target) {
    CGreySlices& grey = context.grey;
    const long long slabSlices = context.plan.slabSlices;
    CSlabReader reader([&grey](const SSliceRange& slices, std::byte* raw) { grey.Read(slices, raw); },
                       context.own, slabSlices, grey.RawSliceBytes());
    CSliceSmoothing smoothing(target.gaussian, grey, context.workers);
    const long long slabs = SlabCount(context.own, slabSlices);
    volume::SValueRange range;
    CProgressReport report(CProgressMonitor::Obj(), slabs, "Reading and smoothing slices...");
    reader.ReadNext();
    for (long long slab = 0; slab < slabs; ++slab) {
        const SSliceRange slices = SlabOf(context.own, slabSlices, slab);
        const std::byte* const raw = reader.Take();
        range.Add(smoothing.Smooth(raw, slices, context.store, target.volume, [&] {
            if (context.sink != nullptr) {
                context.sink->TakeGrey(slices, raw);
            }
            reader.ReadNext();
        }));
        context.store.Evict();
        report.Step();
    }
    return RangeOfAll(range, context.ranks);
}

Impl::SExtent extent_of_slice(const SStageContext& context, int volume) {
    Impl::SExtent extent;
    Impl::Extend(extent, context.store.Slice(0, volume), context.store.SlicePixels());
    return extent;
}

} // namespace

volume::SValueRange RangeOfAll(const volume::SValueRange& own, ICommunicator& ranks) {
    std::array<unsigned long long, 2> counts{static_cast<unsigned long long>(own.nanCount),
                                             static_cast<unsigned long long>(own.infiniteCount)};
    ranks.AddUp(counts);
    volume::SValueRange all{ranks.Smallest(own.lo), ranks.Largest(own.hi), static_cast<long long>(counts[0]),
                            static_cast<long long>(counts[1])};
    return all;
}

Impl::SExtent ExtentOfAll(const Impl::SExtent& own, ICommunicator& ranks) {
    return {static_cast<float>(ranks.Smallest(static_cast<double>(own.lo))),
            static_cast<float>(ranks.Largest(static_cast<double>(own.hi)))};
}

void RequireFinite(const volume::SValueRange& range) {
    if (!range.HasFinite()) {
        throw CNoFiniteValueError("the image has no finite value (" + std::to_string(range.nanCount) +
                                  " NaN, " + std::to_string(range.infiniteCount) +
                                  " infinite); check that it is the right image");
    }
}

volume::SValueRange SmoothSlices(const SStageContext& context, const SSmoothedVolume& target) {
    volume::SValueRange range = smooth_once(context, target);
    if (range.nanCount + range.infiniteCount > 0 && context.grey.NeedsRange()) {
        context.grey.Replace(range);
        smooth_once(context, target);
    }
    RequireFinite(range);
    return range;
}

Impl::SExtent SmoothAcrossSlices(const SStageContext& context, const SSmoothedVolume& target) {
    if (context.depth == 1) {
        return extent_of_slice(context, target.volume);
    }
    const Impl::SExtent own = SmoothColumns(
        {target.gaussian, context.store, target.volume, context.own, context.depth, context.plan.stripPixels},
        context.workers, context.ranks, CProgressMonitor::Obj());
    return ExtentOfAll(own, context.ranks);
}

std::size_t ColumnBytes(const Impl::Gaussian& gaussian, const SStageCut& cut) {
    const auto processes = static_cast<std::size_t>(cut.processes);
    const std::size_t states = 2 * ColumnStateBytes(gaussian, cut.stripPixels) * processes;
    const std::size_t workers =
        static_cast<std::size_t>(cut.threads) * ColumnBytesPerWorker(gaussian, cut.ownSlices);
    const auto stripSlices = static_cast<std::size_t>(cut.ownSlices + 2 * HaloSlices(gaussian));
    const bool isInFile = cut.scratchKind == SScratchPlace::EKind::file;
    return workers + states + (isInFile ? stripSlices * cut.stripPixels * sizeof(float) : 0);
}

} // namespace TEVRA::stream
