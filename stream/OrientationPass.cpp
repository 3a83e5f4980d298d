// SPDX-License-Identifier: BSD-3-Clause
#include "stream/OrientationPass.h"

#include "stream/MemoryPlan.h"
#include "stream/SlabReader.h"

#include "zeklib2image/PrefaultPages.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <vector>

namespace TEVRA::stream {
namespace {

/// Rows of floats that a worker needs: two angles, and a third for the foreground's bytes.
constexpr std::size_t ROWS_PER_WORKER = 3;

/// Memory for a slab of maps, which the threads that compute write, and thereby fetch, first.
class CSlabMemory {
  public:
    /// @param maps theta[, phi[, confidence]] that are wanted.
    SAngleSlices Get(std::size_t pixels, const std::array<bool, 3>& maps) {
        for (std::size_t map = 0; map < maps.size(); ++map) {
            if (maps[map] && !m_maps[map]) {
                m_maps[map] = std::make_unique_for_overwrite<float[]>(pixels);
            }
        }
        return {m_maps[0].get(), m_maps[1].get(), m_maps[2].get()};
    }

  private:
    std::array<std::unique_ptr<float[]>, 3> m_maps;
};

/// Hands slabs of maps to the sink, each while the next one is being made.
class CMapWriter {
  public:
    /// @param slabPixels of the largest slab. @param maps theta, phi, confidence: which there are.
    CMapWriter(ISliceSink* sink, std::size_t slabPixels, const std::array<bool, 3>& maps)
        : m_sink(sink), m_slabPixels(slabPixels), m_maps(maps) {}

    /// Where the maps of the next slab go; nowhere if nobody wants them.
    SAngleSlices Begin(const SSliceRange& slices) {
        m_slices = slices;
        m_current = m_sink != nullptr ? m_sink->Place(slices) : SAngleSlices{};
        m_isPlaced = m_current.theta != nullptr;
        if (m_sink != nullptr) {
            const SAngleSlices own = m_memory[m_slabs++ % m_memory.size()].Get(
                m_slabPixels,
                {!m_isPlaced, m_maps[1] && !m_isPlaced, m_maps[2] && m_current.confidence == nullptr});
            m_current = {m_isPlaced ? m_current.theta : own.theta, m_isPlaced ? m_current.phi : own.phi,
                         m_current.confidence != nullptr ? m_current.confidence : own.confidence};
        }
        return m_current;
    }
    /// Whether that is the sink's own memory, each part of which is written once.
    bool IsPlaced() const noexcept { return m_isPlaced; }
    /// The slab is complete and waits to be written.
    void Complete() {
        m_waiting = {m_slices, m_current.theta, m_maps[1] ? m_current.phi : nullptr,
                     m_maps[2] ? m_current.confidence : nullptr};
    }
    /// Writes the slab that waits, if there is one. May run while others fill the next one.
    void WriteWaiting() {
        if (m_sink != nullptr && m_waiting.slices.Count() > 0) {
            m_sink->TakeAngles(m_waiting);
            m_waiting = {};
        }
    }

  private:
    ISliceSink* m_sink;
    std::size_t m_slabPixels;
    std::array<bool, 3> m_maps;
    std::array<CSlabMemory, 2> m_memory;
    std::size_t m_slabs = 0;
    SSliceRange m_slices;
    SAngleSlices m_current;
    bool m_isPlaced = false;
    SFoundSlices m_waiting;
};

/// What one worker needs.
template <std::size_t Dim>
struct SWorkspace {
    SWorkspace(const IAxisStage& stage, const CScratchStore& store, std::size_t width, bool withConfidence)
        : rows(NewRows<Dim>(stage, store)), foreground(width), theta(width), phi(width),
          confidence(withConfidence ? width : 0) {}

    std::unique_ptr<Impl::IMatrixRows<Dim>> rows;
    std::vector<unsigned char> foreground;
    // For rows that no map takes:
    std::vector<float> theta;
    std::vector<float> phi;
    std::vector<float> confidence;
    long long axes = 0;
};

/// It is computed for those who want it only.
bool is_confidence_wanted(const SOrientationPass& pass) {
    return pass.stage.Confidence() != Impl::EConfidence::none &&
           ((pass.sink != nullptr && pass.sink->WantsConfidence()) ||
            std::any_of(pass.accumulators.begin(), pass.accumulators.end(),
                        [](const IAxisAccumulator* one) { return one->WantsConfidence(); }));
}

template <std::size_t Dim>
class COrientations {
  public:
    explicit COrientations(const SOrientationPass& pass)
        : m_pass(pass), m_store(pass.context.store), m_own(pass.context.own),
          m_width(static_cast<std::size_t>(pass.imageSize[0])),
          m_height(static_cast<std::size_t>(pass.imageSize[1])), m_hasConfidence(is_confidence_wanted(pass)) {
        for (int worker = 0; worker < pass.context.workers.Count(); ++worker) {
            m_workspaces.push_back(
                std::make_unique<SWorkspace<Dim>>(pass.stage, m_store, m_width, m_hasConfidence));
        }
    }

    long long Run(IProgressMonitor& progress) {
        const long long slabSlices = m_pass.context.plan.slabSlices;
        const long long slabs = SlabCount(m_own, slabSlices);
        const auto slices = static_cast<std::size_t>(std::min(slabSlices, m_own.Count()));
        CMapWriter writer(
            m_pass.sink, slices * m_width * m_height,
            {true, Dim == 3, m_hasConfidence && m_pass.sink != nullptr && m_pass.sink->WantsConfidence()});
        std::unique_ptr<CSlabReader> mask;
        if (m_pass.mask != nullptr) {
            mask = std::make_unique<CSlabReader>(
                [this](const SSliceRange& range, std::byte* pixels) { m_pass.mask->Read(range, pixels); },
                m_own, slabSlices, m_width * m_height);
            mask->ReadNext();
        }
        const long long reach = m_pass.stage.Scratch().reachSlices;
        CProgressReport report(progress, slabs, "Computing fiber directions...");
        for (long long number = 0; number < slabs; ++number) {
            const SSliceRange range = SlabOf(m_own, slabSlices, number);
            m_pass.stage.Prepare(range, m_pass.context);
            const SSlab slab{range, mask ? mask->Take() : nullptr, writer.Begin(range), writer.IsPlaced()};
            compute(slab, [&] {
                m_store.DiscardBelow(range.first - reach);
                writer.WriteWaiting();
                if (mask) {
                    mask->ReadNext();
                }
            });
            writer.Complete();
            m_store.Evict();
            report.Step();
        }
        writer.WriteWaiting();
        long long axes = 0;
        for (const auto& workspace : m_workspaces) {
            axes += workspace->axes;
        }
        return axes;
    }

  private:
    /// Where the rows of a slab come from and go to.
    struct SSlab {
        SSliceRange slices;
        const std::byte* mask = nullptr;
        SAngleSlices maps;         // null if nobody wants them
        bool areMapsFresh = false; // memory that nobody has written yet
    };

    void compute(const SSlab& slab, const std::function<void()>& background) {
        for (IAxisAccumulator* const accumulator : m_pass.accumulators) {
            accumulator->BeginSlab(slab.slices);
        }
        const auto bands = static_cast<long long>(m_pass.grid.Bands().size());
        const auto compute_one = [&](long long task, int worker) {
            compute_band(slab, slab.slices.first + task / bands, static_cast<std::size_t>(task % bands),
                         worker);
        };
        m_pass.context.workers.Run(slab.slices.Count() * bands, compute_one, background);
        for (IAxisAccumulator* const accumulator : m_pass.accumulators) {
            accumulator->EndSlab();
        }
    }

    void compute_band(const SSlab& slab, long long z, std::size_t band, int worker) {
        SWorkspace<Dim>& workspace = *m_workspaces[static_cast<std::size_t>(worker)];
        const Impl::SPixelRange& rows = m_pass.grid.Bands()[band].rows;
        workspace.rows->GoTo(z);
        fetch_maps(slab, z, rows);
        for (long long y = rows.lo; y < rows.hi; ++y) {
            const SAngleSlices found = place_of(slab, y, z, workspace);
            const unsigned char* const foreground = foreground_of(slab, y, z, workspace);
            workspace.axes += static_cast<long long>(Impl::FindAxes<Dim>(*workspace.rows, y, foreground,
                                                                         m_width, m_pass.stage.Eigenvalue(),
                                                                         {found.theta, found.phi}));
            if (m_hasConfidence) {
                workspace.rows->Confidence(foreground, found.confidence);
            }
            for (IAxisAccumulator* const accumulator : m_pass.accumulators) {
                accumulator->AddRow({y,
                                     z,
                                     band,
                                     worker,
                                     {found.theta, found.phi},
                                     m_hasConfidence ? found.confidence : nullptr});
            }
        }
    }

    std::size_t in_slab(const SSlab& slab, long long y, long long z) const {
        return (static_cast<std::size_t>(z - slab.slices.first) * m_height + static_cast<std::size_t>(y)) *
               m_width;
    }

    void fetch_maps(const SSlab& slab, long long z, const Impl::SPixelRange& rows) const {
        if (!slab.areMapsFresh) {
            return;
        }
        const std::size_t first = in_slab(slab, rows.lo, z);
        const std::size_t bytes = static_cast<std::size_t>(rows.hi - rows.lo) * m_width * sizeof(float);
        for (float* const map : {slab.maps.theta, slab.maps.phi, slab.maps.confidence}) {
            if (map != nullptr) {
                Impl::PrefaultPages(map + first, bytes);
            }
        }
    }

    /// Where a row's angles and confidence go: into the maps, or into the worker's own row.
    static SAngleSlices place_of(const SSlab& slab, std::size_t first, SWorkspace<Dim>& workspace) {
        const auto place = [first](float* map, std::vector<float>& own) {
            return map != nullptr ? map + first : own.data();
        };
        return {place(slab.maps.theta, workspace.theta),
                Dim == 3 ? place(slab.maps.phi, workspace.phi) : nullptr,
                place(slab.maps.confidence, workspace.confidence)};
    }
    SAngleSlices place_of(const SSlab& slab, long long y, long long z, SWorkspace<Dim>& workspace) const {
        return place_of(slab, in_slab(slab, y, z), workspace);
    }

    const unsigned char* foreground_of(const SSlab& slab, long long y, long long z,
                                       SWorkspace<Dim>& workspace) const {
        if (slab.mask != nullptr) {
            return reinterpret_cast<const unsigned char*>(slab.mask) + in_slab(slab, y, z);
        }
        const float* const slice = m_store.Slice(z, m_pass.stage.ForegroundVolume());
        Impl::ForegroundOfRow(slice + static_cast<std::size_t>(y) * m_width, m_width, m_pass.threshold,
                              workspace.foreground.data());
        return workspace.foreground.data();
    }

    const SOrientationPass& m_pass;
    CScratchStore& m_store;
    SSliceRange m_own;
    std::size_t m_width;
    std::size_t m_height;
    bool m_hasConfidence;
    std::vector<std::unique_ptr<SWorkspace<Dim>>> m_workspaces;
};

} // namespace

template <std::size_t Dim>
long long FindOrientations(const SOrientationPass& pass, IProgressMonitor& progress) {
    return COrientations<Dim>(pass).Run(progress);
}

template long long FindOrientations<2>(const SOrientationPass&, IProgressMonitor&);
template long long FindOrientations<3>(const SOrientationPass&, IProgressMonitor&);

std::size_t OrientationBytesPerWorker(const IAxisStage& stage, long long width) {
    const bool hasConfidence = stage.Confidence() != Impl::EConfidence::none;
    const std::size_t rows = ROWS_PER_WORKER + (hasConfidence ? 1 : 0);
    return static_cast<std::size_t>(width) * sizeof(float) * rows;
}

} // namespace TEVRA::stream
