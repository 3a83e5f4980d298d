// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <memory>

namespace TEVRA::Impl {

/// The threads that compute, read and write: the calling one and others. The one place that starts threads
/// for work; its .cpp file alone knows oneTBB.
class CWorkers {
  public:
    /// @param threads 1 or more; may exceed the machine's cores.
    explicit CWorkers(int threads);
    CWorkers(const CWorkers&) = delete;
    CWorkers& operator=(const CWorkers&) = delete;
    ~CWorkers();

    int Count() const noexcept { return m_count; }

    /// Calls `work(task, worker)` for tasks 0 to `tasks` - 1, several at a time, in no certain order.
    /// @param work two threads never work under the same number of a worker (below `Count`) at a time; tasks
    /// see no progress monitor. An exception of a task ends the others early and passes through.
    void Run(long long tasks, const std::function<void(long long task, int worker)>& work);

    /// The same with something to read or write in the background: one of the threads does it first, while
    /// the others begin with the tasks.
    void Run(long long tasks, const std::function<void(long long task, int worker)>& work,
             const std::function<void()>& background);

  private:
    struct SArena;
    int m_count;
    std::unique_ptr<SArena> m_arena; // none for one thread
};

} // namespace TEVRA::Impl
