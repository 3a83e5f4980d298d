// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/ProgressMonitor.h"

#include <memory>
#include <vector>

namespace TEVRA::Impl {

/// Work on an image that is cut into tiles which do not depend on each other.
class ITilePass {
  public:
    ITilePass() = default;
    ITilePass(const ITilePass&) = delete;
    ITilePass& operator=(const ITilePass&) = delete;
    virtual ~ITilePass();

    virtual long long TileCount() const = 0;
    /// Allocates the buffers of workers 0 to `workers` - 1.
    virtual void Reserve(int workers) = 0;
    /// Two threads never work under the same number at a time.
    virtual void Work(long long tile, int worker) = 0;
};

using TilePasses = std::vector<std::unique_ptr<ITilePass>>;

/// Runs passes one after the other, the tiles of each on as many threads as asked for, under one report of
/// progress.
///
/// All memory is allocated before any work is done. Tiles are handed out in batches, and only between two
/// batches, when no thread works, is the monitor told, on the calling thread: an exception of the monitor
/// leaves at once and leaves nothing running.
/// @throws what the work or the monitor throws; std::bad_alloc.
void RunPasses(const TilePasses& passes, int threads, IProgressMonitor& monitor, const char* text);

} // namespace TEVRA::Impl
