// SPDX-License-Identifier: BSD-3-Clause
#include "stream/stages/SliceSmoothing.h"

namespace TEVRA::stream {
namespace {

/// Reports of one slice go nowhere: progress is told between slabs.
class CNoProgress : public IProgressMonitor {
  public:
    void BeginProgress(long long /*steps*/, const char* /*text*/) override {}
    void StepProgress() override {}
    bool CancelRequested() override { return false; }
    void EndProgress() override {}
};

float* fetched(CScratchStore& store, long long z, int volume) {
    store.Fetch(z, volume);
    return store.Slice(z, volume);
}

} // namespace

CSliceSmoothing::CSliceSmoothing(const Impl::Gaussian& gaussian, const CGreySlices& grey, CWorkers& workers)
    : m_gaussian(gaussian), m_grey(grey), m_workers(workers) {
    for (int worker = 0; worker < workers.Count(); ++worker) {
        m_buffers.push_back(grey.NewBuffer());
    }
}

volume::SValueRange CSliceSmoothing::Smooth(const std::byte* raw, const SSliceRange& slab,
                                            CScratchStore& store, int volume,
                                            const std::function<void()>& background) {
    const std::size_t rawBytes = m_grey.RawSliceBytes();
    volume::SValueRange range;
    if (slab.Count() < m_workers.Count()) {
        // Too few slices for all threads: these share one slice after the other.
        const auto smooth_all = [&](long long /*task*/, int /*worker*/) {
            for (long long z = slab.first; z < slab.end; ++z) {
                const std::byte* const slice = raw + static_cast<std::size_t>(z - slab.first) * rawBytes;
                range.Add(
                    smooth_slice(slice, fetched(store, z, volume), m_buffers.front(), m_workers.Count()));
            }
        };
        m_workers.Run(1, smooth_all, background);
        return range;
    }
    std::vector<volume::SValueRange> ranges(m_buffers.size(), range);
    const auto smooth_one = [&](long long task, int worker) {
        const auto at = static_cast<std::size_t>(worker);
        const std::byte* const slice = raw + static_cast<std::size_t>(task) * rawBytes;
        ranges[at].Add(smooth_slice(slice, fetched(store, slab.first + task, volume), m_buffers[at], 1));
    };
    m_workers.Run(slab.Count(), smooth_one, background);
    for (const volume::SValueRange& part : ranges) {
        range.Add(part);
    }
    return range;
}

volume::SValueRange CSliceSmoothing::smooth_slice(const std::byte* raw, float* smoothed,
                                                  std::vector<std::byte>& buffer, int threads) const {
    const SGreySlice slice = m_grey.Prepare(raw, buffer);
    const CSize size(m_grey.Size()[0], m_grey.Size()[1]);
    const Impl::CPixelGrid source(slice.pixels, m_grey.Type(), size);
    Impl::CPixelGrid target(smoothed, size);
    const Impl::BlockPasses passes = Impl::SmoothingPasses(m_gaussian, source, target);
    CNoProgress none;
    Impl::RunPasses(passes, threads, none, "");
    return slice.range;
}

} // namespace TEVRA::stream
