// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/Workers.h"

#include "VexoBase/ForkJoin.h"

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/info.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include <cstddef>
#include <optional>

namespace TEVRA::Impl {

struct CWorkers::SArena {
    explicit SArena(int threads) : arena(threads) {
        if (threads > tbb::info::default_concurrency()) {
            // More threads than cores were asked for; without this they would be refused, with a warning on
            // stderr.
            permission.emplace(tbb::global_control::max_allowed_parallelism,
                               static_cast<std::size_t>(threads));
        }
    }

    std::optional<tbb::global_control> permission;
    tbb::task_arena arena;
};

CWorkers::CWorkers(int threads) : m_count(threads) {
    if (threads > 1) {
        m_arena = std::make_unique<SArena>(threads);
    }
}

CWorkers::~CWorkers() = default;

void CWorkers::Run(long long tasks, const std::function<void(long long task, int worker)>& work) {
    if (!m_arena) {
        for (long long task = 0; task < tasks; ++task) {
            work(task, 0);
        }
        return;
    }
    CForkJoin forkJoin;
    m_arena->arena.execute([tasks, &work, &forkJoin] {
        tbb::parallel_for(
            0LL, tasks,
            [&work, &forkJoin](long long task) {
                const int worker = tbb::this_task_arena::current_thread_index();
                const CForkJoin::CTask running(forkJoin, worker);
                work(task, worker);
            },
            tbb::simple_partitioner());
    });
}

void CWorkers::Run(long long tasks, const std::function<void(long long task, int worker)>& work,
                   const std::function<void()>& background) {
    Run(tasks + 1, [&work, &background](long long task, int worker) {
        if (task == 0) {
            background();
        } else {
            work(task - 1, worker);
        }
    });
}

} // namespace TEVRA::Impl
