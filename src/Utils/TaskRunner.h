// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>

namespace TEVRA {

/// Does tasks that do not depend on each other. The library starts no threads; a caller who has some lends
/// them by one of these.
class ITaskRunner {
  public:
    ITaskRunner() = default;
    ITaskRunner(const ITaskRunner&) = delete;
    ITaskRunner& operator=(const ITaskRunner&) = delete;
    virtual ~ITaskRunner() = default;

    /// Calls `task(0)` to `task(count - 1)`, each once, in any order, several at a time or not, and returns
    /// when all are done. @throws what a task throws, once none is running any more.
    virtual void Run(long long count, const std::function<void(long long)>& task) = 0;
    /// How many tasks it does at a time: work that costs more in small pieces is cut into a few for each.
    virtual int AtOnce() const noexcept { return 8; }
};

namespace Impl {

/// Does tasks one after the other on the calling thread.
class CTasksInTurn final : public ITaskRunner {
  public:
    void Run(long long count, const std::function<void(long long)>& task) override {
        for (long long number = 0; number < count; ++number) {
            task(number);
        }
    }
    int AtOnce() const noexcept override { return 1; }
};

} // namespace Impl

} // namespace TEVRA
