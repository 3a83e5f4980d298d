// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/BlockPass.h"

#include "VexoBase/Workers.h"

#include <algorithm>

namespace TEVRA::Impl {
namespace {

/// Enough blocks for threads not to wait long for the last one of a batch.
constexpr long long BLOCKS_PER_BATCH = 16;
/// A smooth progress bar asks for no more.
constexpr long long MOST_BATCHES = 16;

long long batches_of(const IBlockPass& pass) {
    return std::clamp(pass.BlockCount() / BLOCKS_PER_BATCH, 1LL, MOST_BATCHES);
}

} // namespace

IBlockPass::~IBlockPass() = default;

void RunPasses(const BlockPasses& passes, int threads, IProgressMonitor& monitor, const char* text) {
    long long mostBlocks = 1;
    long long steps = 0;
    for (const std::unique_ptr<IBlockPass>& pass : passes) {
        mostBlocks = std::max(mostBlocks, pass->BlockCount());
        steps += batches_of(*pass);
    }
    const int workers = static_cast<int>(std::min<long long>(threads, mostBlocks));
    for (const std::unique_ptr<IBlockPass>& pass : passes) {
        pass->Reserve(workers);
    }
    CWorkers pool(workers);
    CProgressReport progress(monitor, steps, text);
    for (const std::unique_ptr<IBlockPass>& pass : passes) {
        const long long blocks = pass->BlockCount();
        const long long batches = batches_of(*pass);
        for (long long batch = 0; batch < batches; ++batch) {
            const long long first = blocks * batch / batches;
            const long long end = blocks * (batch + 1) / batches;
            pool.Run(end - first,
                     [&pass, first](long long task, int worker) { pass->Work(first + task, worker); });
            progress.Step();
        }
    }
}

} // namespace TEVRA::Impl
