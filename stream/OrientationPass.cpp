// SPDX-License-Identifier: BSD-3-Clause
#include "stream/OrientationPass.h"

#include "stream/HessianRows.h"
#include "stream/SlabReader.h"

#include "Axes/RowKernels.h"
#include "zeklib2image/PrefaultPages.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

namespace TEVRA::stream {
namespace {

/// Rows of floats that a worker needs: those of the Hessian, foreground, two angles, the same packed, and
/// unit axes in double precision.
constexpr std::size_t ROWS_PER_WORKER = 6 + 3 + 2 + 6;

/// Memory for a slab of angles, which the threads that compute write, and thereby fetch, first.
class CAngleMemory {
  public:
    SAngleSlices Get(std::size_t pixels, bool isVolume) {
        if (!m_theta) {
            m_theta = std::make_unique_for_overwrite<float[]>(pixels);
            m_phi = std::make_unique_for_overwrite<float[]>(isVolume ? pixels : 0);
        }
        return {m_theta.get(), isVolume ? m_phi.get() : nullptr};
    }

  private:
    std::unique_ptr<float[]> m_theta;
    std::unique_ptr<float[]> m_phi;
};

/// Hands slabs of angles to the sink, each while the next one is being made.
class CAngleWriter {
  public:
    /// @param slabPixels of the largest slab.
    CAngleWriter(IAngleSink* sink, std::size_t slabPixels, bool isVolume)
        : m_sink(sink), m_slabPixels(slabPixels), m_isVolume(isVolume) {}

    /// Where the angles of the next slab go; nowhere if nobody wants them.
    SAngleSlices Begin(const SSliceRange& slices) {
        m_slices = slices;
        m_angles = m_sink != nullptr ? m_sink->Place(slices) : SAngleSlices{};
        m_isPlaced = m_angles.theta != nullptr;
        if (m_sink != nullptr && !m_isPlaced) {
            m_angles = m_memory[m_slabs++ % m_memory.size()].Get(m_slabPixels, m_isVolume);
        }
        return m_angles;
    }
    /// Whether that is the sink's own memory, each piece of which is written once.
    bool IsPlaced() const noexcept { return m_isPlaced; }
    /// The slab is complete and waits to be written.
    void Complete() {
        m_waiting = m_slices;
        m_waitingAngles = m_angles;
    }
    /// Writes the slab that waits, if there is one. May run while others fill the next one.
    void WriteWaiting() {
        if (m_sink != nullptr && m_waiting.Count() > 0) {
            m_sink->Write(m_waiting, m_waitingAngles.theta, m_waitingAngles.phi);
            m_waiting = {};
        }
    }

  private:
    IAngleSink* m_sink;
    std::size_t m_slabPixels;
    bool m_isVolume;
    std::array<CAngleMemory, 2> m_memory;
    std::size_t m_slabs = 0;
    SSliceRange m_slices;
    SAngleSlices m_angles;
    bool m_isPlaced = false;
    SSliceRange m_waiting;
    SAngleSlices m_waitingAngles;
};

/// What one worker needs.
template <std::size_t Dim>
struct SWorkspace {
    explicit SWorkspace(std::size_t width)
        : hessian(width), rowSums(width), foreground(width), theta(width), phi(width) {}

    CHessianRows<Dim> hessian;
    Impl::CRowSums<Dim> rowSums;
    std::vector<unsigned char> foreground;
    std::vector<float> theta;
    std::vector<float> phi;
    long long axes = 0;
};

template <std::size_t Dim>
class COrientations {
  public:
    using Sums = SSums<Dim>;

    COrientations(const SOrientationPass& pass, CTileSums<Dim>& sums, CWorkers& workers)
        : m_pass(pass), m_sums(sums), m_workers(workers),
          m_width(static_cast<std::size_t>(pass.imageSize[0])),
          m_height(static_cast<std::size_t>(pass.imageSize[1])) {
        for (int worker = 0; worker < workers.Count(); ++worker) {
            m_workspaces.push_back(std::make_unique<SWorkspace<Dim>>(m_width));
        }
    }

    long long Run(IProgressMonitor& progress) {
        const long long slabSlices = m_pass.slabSlices;
        const long long slabs = SlabCount(m_pass.own, slabSlices);
        const auto slices = static_cast<std::size_t>(std::min(slabSlices, m_pass.own.Count()));
        CAngleWriter writer(m_pass.angles, slices * m_width * m_height, Dim == 3);
        std::unique_ptr<CSlabReader> mask;
        if (m_pass.mask != nullptr) {
            mask = std::make_unique<CSlabReader>(
                [this](const SSliceRange& range, std::byte* pixels) { m_pass.mask->Read(range, pixels); },
                m_pass.own, slabSlices, m_width * m_height);
            mask->ReadNext();
        }
        CProgressReport report(progress, slabs, "Computing fiber directions...");
        for (long long number = 0; number < slabs; ++number) {
            const SSliceRange range = SlabOf(m_pass.own, slabSlices, number);
            SSlab slab{range, mask ? mask->Take() : nullptr, writer.Begin(range), writer.IsPlaced(), {}};
            compute(slab, [&] {
                m_pass.store.DiscardBelow(range.first - 1);
                writer.WriteWaiting();
                if (mask) {
                    mask->ReadNext();
                }
            });
            writer.Complete();
            m_pass.store.Forget();
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
    /// Where the rows of a slab come from and go to, and their sums.
    struct SSlab {
        SSliceRange slices;
        const std::byte* mask = nullptr;
        SAngleSlices angles;         // null if nobody wants them
        bool areAnglesFresh = false; // memory that nobody has written yet
        std::vector<Sums> sums;
    };

    void compute(SSlab& slab, const std::function<void()>& aside) {
        const SSliceRange& slices = slab.slices;
        const std::size_t sumsPerSlice = CTileSums<Dim>::SumsPerSlice(m_pass.grid);
        slab.sums.resize(static_cast<std::size_t>(slices.Count()) * sumsPerSlice);
        const auto bands = static_cast<long long>(m_pass.grid.Bands().size());
        const auto compute_one = [&](long long task, int worker) {
            compute_band(slab, slices.first + task / bands, static_cast<std::size_t>(task % bands),
                         *m_workspaces[static_cast<std::size_t>(worker)]);
        };
        m_workers.Run(slices.Count() * bands, compute_one, aside);
        for (long long z = slices.first; z < slices.end; ++z) {
            const std::size_t first = static_cast<std::size_t>(z - slices.first) * sumsPerSlice;
            m_sums.AddSlice(z, std::span<const Sums>(slab.sums).subspan(first, sumsPerSlice));
        }
    }

    void compute_band(SSlab& slab, long long z, std::size_t number, SWorkspace<Dim>& workspace) {
        const CTileGrid::SBand& band = m_pass.grid.Bands()[number];
        const SSliceRange stored = m_pass.store.Slices();
        workspace.hessian.GoTo({m_pass.store.Slice(std::max(z - 1, stored.first)), m_pass.store.Slice(z),
                                m_pass.store.Slice(std::min(z + 1, stored.end - 1)), m_width, m_height});
        const auto tiles = static_cast<std::size_t>(m_pass.grid.Tiles(0));
        const auto slice = static_cast<std::size_t>(z - slab.slices.first);
        const bool counts = band.tile >= 0 && m_pass.grid.TileAt(2, z) >= 0;
        const std::span<Sums> sums = std::span(slab.sums).subspan(
            slice * CTileSums<Dim>::SumsPerSlice(m_pass.grid) + number * tiles, tiles);
        fetch_angles(slab, slice, band.rows);
        for (long long row = band.rows.lo; row < band.rows.hi; ++row) {
            const auto y = static_cast<std::size_t>(row);
            const Impl::SAngleRow angles = angle_row(slab, (slice * m_height + y) * m_width, workspace);
            find_axes(slab, z, y, angles, workspace);
            if (counts) {
                add(angles, workspace.rowSums, sums);
            }
        }
    }

    void fetch_angles(const SSlab& slab, std::size_t slice, const SPixelRange& rows) const {
        if (slab.areAnglesFresh) {
            const std::size_t first = (slice * m_height + static_cast<std::size_t>(rows.lo)) * m_width;
            const std::size_t bytes = static_cast<std::size_t>(rows.hi - rows.lo) * m_width * sizeof(float);
            Impl::PrefaultPages(slab.angles.theta + first, bytes);
            if constexpr (Dim == 3) {
                Impl::PrefaultPages(slab.angles.phi + first, bytes);
            }
        }
    }

    /// Where a row's angles go: into the maps, or nowhere for long.
    static Impl::SAngleRow angle_row(const SSlab& slab, std::size_t inSlab, SWorkspace<Dim>& workspace) {
        Impl::SAngleRow row{workspace.theta.data(), Dim == 3 ? workspace.phi.data() : nullptr};
        if (slab.angles.theta != nullptr) {
            row.theta = slab.angles.theta + inSlab;
            row.phi = Dim == 3 ? slab.angles.phi + inSlab : nullptr;
        }
        return row;
    }

    /// Fills a row of the maps, and counts its axes.
    void find_axes(const SSlab& slab, long long z, std::size_t y, const Impl::SAngleRow& angles,
                   SWorkspace<Dim>& workspace) const {
        const unsigned char* foreground = workspace.foreground.data();
        if (slab.mask != nullptr) {
            const auto slice = static_cast<std::size_t>(z - slab.slices.first);
            foreground = reinterpret_cast<const unsigned char*>(slab.mask) + (slice * m_height + y) * m_width;
        } else {
            Impl::ForegroundOfRow(m_pass.store.Slice(z) + y * m_width, m_width, m_pass.threshold,
                                  workspace.foreground.data());
        }
        if (std::memchr(foreground, 1, m_width) == nullptr) {
            Impl::MarkRow<Dim>(m_width, angles);
            return;
        }
        workspace.axes += static_cast<long long>(Impl::AxesOfRow<Dim>(
            workspace.hessian.At(y), foreground, m_width, Impl::EEigenvalue::smallest, angles));
    }

    /// Adds a row's axes to the sums of its tiles.
    void add(const Impl::SAngleRow& angles, Impl::CRowSums<Dim>& row, const std::span<Sums>& sums) const {
        row.Begin();
        for (std::size_t tile = 0; tile < sums.size(); ++tile) {
            const SPixelRange range = m_pass.grid.Range(0, static_cast<long long>(tile));
            row.AddPart({angles.theta + range.lo, Dim == 3 ? angles.phi + range.lo : nullptr},
                        static_cast<std::size_t>(range.hi - range.lo));
        }
        row.FindAxes();
        for (std::size_t tile = 0; tile < sums.size(); ++tile) {
            row.AddTo(tile, sums[tile].second, m_pass.withFourthOrder ? &sums[tile].fourth : nullptr);
        }
    }

    const SOrientationPass& m_pass;
    CTileSums<Dim>& m_sums;
    CWorkers& m_workers;
    std::size_t m_width;
    std::size_t m_height;
    std::vector<std::unique_ptr<SWorkspace<Dim>>> m_workspaces;
};

} // namespace

IAngleSink::~IAngleSink() = default;

SAngleSlices IAngleSink::Place(const SSliceRange& /*slices*/) {
    return {};
}

template <std::size_t Dim>
long long FindOrientations(const SOrientationPass& pass, CTileSums<Dim>& sums, CWorkers& workers,
                           IProgressMonitor& progress) {
    return COrientations<Dim>(pass, sums, workers).Run(progress);
}

template long long FindOrientations<2>(const SOrientationPass&, CTileSums<2>&, CWorkers&, IProgressMonitor&);
template long long FindOrientations<3>(const SOrientationPass&, CTileSums<3>&, CWorkers&, IProgressMonitor&);

std::size_t OrientationBytesPerWorker(long long width) {
    return static_cast<std::size_t>(width) * sizeof(float) * ROWS_PER_WORKER;
}

} // namespace TEVRA::stream
