// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/ProgressMonitor.h"

#include <memory>
#include <vector>

namespace TEVRA::Impl {

/// Work on an image that is cut into blocks which do not depend on each other.
class IBlockPass {
  public:
    IBlockPass() = default;
    IBlockPass(const IBlockPass&) = delete;
    IBlockPass& operator=(const IBlockPass&) = delete;
    virtual ~IBlockPass();

    virtual long long BlockCount() const = 0;
    /// Allocates the buffers of workers 0 to `workers` - 1.
    virtual void Reserve(int workers) = 0;
    /// Two threads never work under the same number at a time.
    virtual void Work(long long block, int worker) = 0;
};

using BlockPasses = std::vector<std::unique_ptr<IBlockPass>>;

/// Runs passes one after the other, the blocks of each on as many threads as asked for, under one report of
/// progress.
///
/// All memory is allocated before any work is done. Blocks are handed out in batches, and only between two
/// batches, when no thread works, is the monitor told, on the calling thread: an exception of the monitor
/// leaves at once and leaves nothing running.
/// @throws what the work or the monitor throws; std::bad_alloc.
void RunPasses(const BlockPasses& passes, int threads, IProgressMonitor& monitor, const char* text);

} // namespace TEVRA::Impl
