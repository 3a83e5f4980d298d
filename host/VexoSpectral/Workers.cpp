// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSpectral/Workers.h"

#include "VexoBase/ForkJoin.h"

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include <optional>

namespace TEVRA::Impl {

void ShareWork(std::size_t count, int threads, const std::function<void(std::size_t, std::size_t)>& work) {
    if (threads <= 1) {
        for (std::size_t item = 0; item < count; ++item) {
            work(item, 0);
        }
        return;
    }
    std::optional<tbb::global_control> permission;
    if (threads > tbb::info::default_concurrency()) {
        // More threads than cores were asked for; without this they would be refused, with a warning on
        // stderr.
        permission.emplace(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    }
    tbb::task_arena arena(threads);
    CForkJoin forkJoin;
    arena.execute([&] {
        tbb::parallel_for(std::size_t{0}, count, [&work, &forkJoin](std::size_t item) {
            const int worker = tbb::this_task_arena::current_thread_index();
            const CForkJoin::CTask running(forkJoin, worker);
            work(item, static_cast<std::size_t>(worker));
        });
    });
}

} // namespace TEVRA::Impl
