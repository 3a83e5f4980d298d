// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/TilePass.h"

#include "VexoBase/Workers.h"

#include <algorithm>

namespace TEVRA::Impl {
namespace {

/// Enough tiles for threads not to wait long for the last one of a batch.
constexpr long long TILES_PER_BATCH = 16;
/// A smooth progress bar asks for no more.
constexpr long long MOST_BATCHES = 16;

long long batches_of(const ITilePass& pass) {
    return std::clamp(pass.TileCount() / TILES_PER_BATCH, 1LL, MOST_BATCHES);
}

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
            const long long first = tiles * batch / batches;
            const long long end = tiles * (batch + 1) / batches;
            pool.Run(end - first,
                     [&pass, first](long long task, int worker) { pass->Work(first + task, worker); });
            progress.Step();
        }
    }
}

} // namespace TEVRA::Impl
