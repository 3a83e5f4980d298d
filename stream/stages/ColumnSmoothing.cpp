// SPDX-License-Identifier: BSD-3-Clause
#include "stream/stages/ColumnSmoothing.h"

#include "stream/RankSlices.h"

#include <algorithm>
#include <array>
#include <span>
#include <variant>
#include <vector>

namespace TEVRA::stream {
namespace {

using Impl::SRecursionPlanes;
using Impl::SRecursiveGaussian;
using Impl::SSampledGaussian;

/// Samples of a block should stay in the second-level cache on their way up and down.
constexpr std::size_t SAMPLES_PER_BLOCK = 65536;
/// A cache line's worth of floats at least; more than 256 columns and the recursion's states leave the
/// first-level cache.
constexpr std::size_t FEWEST_COLUMNS = 16;
constexpr std::size_t MOST_COLUMNS = 256;

/// Tags of messages.
constexpr int UPWARDS = 1;
constexpr int DOWNWARDS = 2;

std::size_t columns_per_block(long long slices) {
    const std::size_t fitting =
        SAMPLES_PER_BLOCK / static_cast<std::size_t>(slices) / FEWEST_COLUMNS * FEWEST_COLUMNS;
    return std::clamp(fitting, FEWEST_COLUMNS, MOST_COLUMNS);
}

/// Columns side by side: pixels `first` on of every slice.
struct SBlock {
    std::size_t first;
    std::size_t columns;
};

/// What one worker needs.
struct SWorkspace {
    std::vector<float> samples; // of a block: for each slice, one sample of each column
    Impl::SExtent extent;       // of the smoothed values
};

class CColumns {
  public:
    CColumns(const SColumnSmoothing& task, CWorkers& workers, ICommunicator& ranks)
        : m_task(task), m_workers(workers), m_ranks(ranks), m_own(task.own),
          m_blockColumns(columns_per_block(std::max(task.own.Count(), 1LL))),
          m_workspaces(static_cast<std::size_t>(workers.Count())) {
        const std::size_t samples =
            m_blockColumns * static_cast<std::size_t>(m_own.Count() + 2 * HaloSlices(task.gaussian));
        for (SWorkspace& workspace : m_workspaces) {
            workspace.samples.resize(samples);
        }
    }

    Impl::SExtent Run(IProgressMonitor& progress) {
        std::visit([&](const auto& gaussian) { smooth(gaussian, progress); }, m_task.gaussian);
        Impl::SExtent extent;
        for (const SWorkspace& workspace : m_workspaces) {
            extent = {std::min(extent.lo, workspace.extent.lo), std::max(extent.hi, workspace.extent.hi)};
        }
        return extent;
    }

  private:
    std::size_t pixels() const { return m_task.store.SlicePixels(); }
    long long strip_count() const {
        return static_cast<long long>((pixels() + m_task.stripPixels - 1) / m_task.stripPixels);
    }
    SBlock strip_at(long long strip) const {
        const std::size_t first = static_cast<std::size_t>(strip) * m_task.stripPixels;
        return {first, std::min(m_task.stripPixels, pixels() - first)};
    }
    std::span<float> row(const SBlock& block, long long z) {
        if (!m_task.store.IsInFile()) {
            return {m_task.store.Slice(z, m_task.volume) + block.first, block.columns};
        }
        return {strip_of(z).data() + (block.first - m_strip.first), block.columns};
    }

    /// The current strip's pixels of a slice, of a store in a file.
    std::span<float> strip_of(long long z) {
        const auto slice = static_cast<std::size_t>(z - m_task.store.Slices().first);
        return {m_loaded.data() + slice * m_strip.columns, m_strip.columns};
    }

    /// Makes a strip the current one.
    void load(const SBlock& strip) {
        m_strip = strip;
        if (m_task.store.IsInFile()) {
            const SSliceRange& slices = m_task.store.Slices();
            m_loaded.resize(static_cast<std::size_t>(slices.Count()) * strip.columns);
            m_workers.Run(slices.Count(), [&](long long task, int /*worker*/) {
                m_task.store.Load({slices.first + task, m_task.volume}, strip.first,
                                  strip_of(slices.first + task));
            });
        }
    }
    void save() {
        if (m_task.store.IsInFile()) {
            m_workers.Run(m_own.Count(), [&](long long task, int /*worker*/) {
                m_task.store.Save({m_own.first + task, m_task.volume}, m_strip.first,
                                  strip_of(m_own.first + task));
            });
        }
    }
    std::span<float> samples(const SBlock& block, SWorkspace& workspace, long long position) const {
        return std::span(workspace.samples)
            .subspan(static_cast<std::size_t>(position) * block.columns, block.columns);
    }

    /// Calls `work(block, workspace)` for all blocks of a strip; threads share them.
    template <typename WorkT>
    void for_each_block(const SBlock& strip, const WorkT& work) {
        load(strip);
        const std::size_t blocks = (strip.columns + m_blockColumns - 1) / m_blockColumns;
        m_workers.Run(static_cast<long long>(blocks), [&](long long task, int worker) {
            const std::size_t offset = static_cast<std::size_t>(task) * m_blockColumns;
            const SBlock block{strip.first + offset, std::min(m_blockColumns, strip.columns - offset)};
            work(block, m_workspaces[static_cast<std::size_t>(worker)]);
        });
        save();
    }

    /// Every process takes a strip up and, as many strips later as there are processes above it, down again.
    void smooth(const SRecursiveGaussian& filter, IProgressMonitor& progress) {
        const long long strips = strip_count();
        const long long lag = m_ranks.Size() - 1 - m_ranks.Rank();
        CProgressReport report(progress, strips + lag, "Smoothing across slices...");
        for (long long step = 0; step < strips + lag; ++step) {
            if (step < strips) {
                go_up(filter, strip_at(step));
            }
            if (!m_ranks.IsLast() && step >= lag) {
                go_down(filter, strip_at(step - lag));
            }
            report.Step();
        }
    }

    /// On the last process a strip turns round at once.
    void go_up(const SRecursiveGaussian& filter, const SBlock& strip) {
        std::vector<double> memory(SRecursionPlanes::MemoryFor(strip.columns));
        const SRecursionPlanes states = SRecursionPlanes::Over(memory);
        const bool isFirst = m_ranks.IsFirst();
        if (!isFirst) {
            receive(m_ranks.Rank() - 1, UPWARDS, memory);
        }
        for_each_block(strip, [&](const SBlock& block, SWorkspace& workspace) {
            const SRecursionPlanes blockStates = states.From(block.first - strip.first);
            if (isFirst) {
                StartCausal(blockStates, row(block, m_own.first));
            }
            walk_up(filter, blockStates, block, workspace);
            if (m_ranks.IsLast()) {
                StartAnticausal(filter, blockStates, row(block, m_own.end - 1));
                walk_down(filter, blockStates, block, workspace);
                put_back_smoothed(block, workspace);
            } else {
                put_back(block, workspace);
            }
        });
        if (!m_ranks.IsLast()) {
            m_ranks.Send(m_ranks.Rank() + 1, UPWARDS, MessageOf(std::span<const double>(memory)));
        } else if (!isFirst) {
            m_ranks.Send(m_ranks.Rank() - 1, DOWNWARDS, MessageOf(std::span<const double>(memory)));
        }
    }

    void go_down(const SRecursiveGaussian& filter, const SBlock& strip) {
        std::vector<double> memory(SRecursionPlanes::MemoryFor(strip.columns));
        const SRecursionPlanes states = SRecursionPlanes::Over(memory);
        receive(m_ranks.Rank() + 1, DOWNWARDS, memory);
        for_each_block(strip, [&](const SBlock& block, SWorkspace& workspace) {
            fetch(block, m_own, workspace);
            walk_down(filter, states.From(block.first - strip.first), block, workspace);
            put_back_smoothed(block, workspace);
        });
        if (!m_ranks.IsFirst()) {
            m_ranks.Send(m_ranks.Rank() - 1, DOWNWARDS, MessageOf(std::span<const double>(memory)));
        }
    }

    /// Takes a block through the causal recursion, from the store into the workspace.
    void walk_up(const SRecursiveGaussian& filter, const SRecursionPlanes& states, const SBlock& block,
                 SWorkspace& workspace) {
        const float* const first = row(block, m_own.first).data();
        const std::ptrdiff_t step = m_own.Count() > 1 ? row(block, m_own.first + 1).data() - first : 0;
        Walk(filter, states,
             {.in = {first, step},
              .out = {samples(block, workspace, 0).data(), static_cast<std::ptrdiff_t>(block.columns)},
              .lines = block.columns,
              .rows = static_cast<std::size_t>(m_own.Count())});
    }

    /// Takes the samples of a block through the anticausal recursion.
    void walk_down(const SRecursiveGaussian& filter, const SRecursionPlanes& states, const SBlock& block,
                   SWorkspace& workspace) const {
        float* const last = samples(block, workspace, m_own.Count() - 1).data();
        const auto step = -static_cast<std::ptrdiff_t>(block.columns);
        Walk(filter, states,
             {.in = {last, step},
              .out = {last, step},
              .lines = block.columns,
              .rows = static_cast<std::size_t>(m_own.Count())});
    }

    /// Copies a block of some slices out of the store.
    void fetch(const SBlock& block, const SSliceRange& slices, SWorkspace& workspace) {
        for (long long z = slices.first; z < slices.end; ++z) {
            const std::span<const float> source = row(block, z);
            std::copy(source.begin(), source.end(), samples(block, workspace, z - slices.first).begin());
        }
    }

    /// Copies a block of the own slices back.
    void put_back(const SBlock& block, SWorkspace& workspace) {
        for (long long z = m_own.first; z < m_own.end; ++z) {
            const std::span<const float> source = samples(block, workspace, z - m_own.first);
            std::copy(source.begin(), source.end(), row(block, z).begin());
        }
    }
    /// The same with smoothed values.
    void put_back_smoothed(const SBlock& block, SWorkspace& workspace) {
        put_back(block, workspace);
        Impl::Extend(workspace.extent, samples(block, workspace, 0).data(),
                     static_cast<std::size_t>(m_own.Count()) * block.columns);
    }

    void smooth(const SSampledGaussian& kernel, IProgressMonitor& progress) {
        ExchangeHalo(m_task.store, HaloSlices(m_task.gaussian), m_task.depth, m_ranks);
        const long long strips = strip_count();
        CProgressReport report(progress, strips, "Smoothing across slices...");
        for (long long strip = 0; strip < strips; ++strip) {
            for_each_block(strip_at(strip), [&](const SBlock& block, SWorkspace& workspace) {
                smooth_by_kernel(kernel, block, workspace);
            });
            report.Step();
        }
    }

    void smooth_by_kernel(const SSampledGaussian& kernel, const SBlock& block, SWorkspace& workspace) {
        const auto radius = static_cast<long long>(kernel.radius);
        const long long first = std::max(m_own.first - radius, 0LL);
        const long long end = std::min(m_own.end + radius, m_task.depth);
        fetch(block, {first, end}, workspace);
        std::array<const float*, 2 * SSampledGaussian::LARGEST_RADIUS + 1> rows{};
        const std::size_t neighbours = 2 * kernel.radius + 1;
        for (long long z = m_own.first; z < m_own.end; ++z) {
            for (std::size_t k = 0; k < neighbours; ++k) {
                const long long neighbour =
                    std::clamp(z - radius + static_cast<long long>(k), 0LL, m_task.depth - 1);
                rows[k] = samples(block, workspace, neighbour - first).data();
            }
            WeightedSum(kernel, std::span(rows).first(neighbours), row(block, z));
            Impl::Extend(workspace.extent, row(block, z).data(), block.columns);
        }
    }

    void receive(int from, int tag, std::vector<double>& numbers) {
        CopyMessage(m_ranks.Receive(from, tag), std::as_writable_bytes(std::span(numbers)));
    }

    const SColumnSmoothing& m_task;
    CWorkers& m_workers;
    ICommunicator& m_ranks;
    SSliceRange m_own;
    std::size_t m_blockColumns;
    std::vector<SWorkspace> m_workspaces; // by worker
    SBlock m_strip{};                     // the current one
    std::vector<float> m_loaded;          // its pixels, of a store in a file
};

} // namespace

Impl::SExtent SmoothColumns(const SColumnSmoothing& task, CWorkers& workers, ICommunicator& ranks,
                            IProgressMonitor& progress) {
    return CColumns(task, workers, ranks).Run(progress);
}

long long HaloSlices(const Impl::Gaussian& gaussian) {
    const auto* const kernel = std::get_if<SSampledGaussian>(&gaussian);
    return kernel == nullptr ? 0 : static_cast<long long>(kernel->radius);
}

std::size_t ColumnBytesPerWorker(const Impl::Gaussian& gaussian, long long slices) {
    const std::size_t columns = columns_per_block(slices);
    return columns * static_cast<std::size_t>(slices + 2 * HaloSlices(gaussian)) * sizeof(float);
}

std::size_t ColumnStateBytes(const Impl::Gaussian& gaussian, std::size_t stripPixels) {
    return std::holds_alternative<SRecursiveGaussian>(gaussian)
               ? SRecursionPlanes::MemoryFor(stripPixels) * sizeof(double)
               : 0;
}

} // namespace TEVRA::stream
