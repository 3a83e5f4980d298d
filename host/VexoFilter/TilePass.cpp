// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/TilePass.h"

#include "VexoBase/ForkJoin.h"

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include <algorithm>
#include <optional>

namespace TEVRA::Impl {
namespace {

/// Enough tiles for threads not to wait long for the last one of a batch.
constexpr long long TILES_PER_BATCH = 16;
/// A smooth progress bar asks for no more.
constexpr long long MOST_BATCHES = 16;

long long batches_of(const ITilePass& pass) {
    return std::clamp(pass.TileCount() / TILES_PER_BATCH, 1LL, MOST_BATCHES);
}

/// The threads that work: the calling one alone, or an arena that it joins.
class CWorkers {
  public:
    explicit CWorkers(int threads) {
        if (threads > tbb::info::default_concurrency()) {
            // More threads than cores were asked for; without this they would be refused, with a warning on
            // stderr.
            m_permission.emplace(tbb::global_control::max_allowed_parallelism, threads);
        }
        if (threads > 1) {
            m_arena.emplace(threads);
        }
    }

    void Run(ITilePass& pass, long long first, long long end) {
        if (!m_arena) {
            for (long long tile = first; tile < end; ++tile) {
                pass.Work(tile, 0);
            }
            return;
        }
        CForkJoin forkJoin;
        m_arena->execute([&pass, &forkJoin, first, end] {
            tbb::parallel_for(first, end, [&pass, &forkJoin](long long tile) {
                const int worker = tbb::this_task_arena::current_thread_index();
                const CForkJoin::CTask running(forkJoin, worker);
                pass.Work(tile, worker);
            });
        });
    }

  private:
    std::optional<tbb::global_control> m_permission;
    std::optional<tbb::task_arena> m_arena;
};

} // namespace

ITilePass::~ITilePass() = default;

void RunPasses(const TilePasses& passes, int threads, IProgressMonitor& monitor, const char* text) {
    long long mostTiles = 1;
    long long steps = 0;
    for (const std::unique_ptr<ITilePass>& pass : passes) {
        mostTiles = std::max(mostTiles, pass->TileCount());
        steps += batches_of(*pass);
    }
    const int workers = static_cast<int>(std::min<long long>(threads, mostTiles));
    for (const std::unique_ptr<ITilePass>& pass : passes) {
        pass->Reserve(workers);
    }
    CWorkers pool(workers);
    CProgressReport progress(monitor, steps, text);
    for (const std::unique_ptr<ITilePass>& pass : passes) {
        const long long tiles = pass->TileCount();
        const long long batches = batches_of(*pass);
        for (long long batch = 0; batch < batches; ++batch) {
            pool.Run(*pass, tiles * batch / batches, tiles * (batch + 1) / batches);
            progress.Step();
        }
    }
}

} // namespace TEVRA::Impl
