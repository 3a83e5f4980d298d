// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Utils/TaskRunner.h"

#include <functional>
#include <thread>
#include <vector>

namespace TEVRA::test {

/// Does tasks one after the other, the last first, and counts them.
class CBackwards : public ITaskRunner {
  public:
    long long tasks = 0;
    void Run(long long count, const std::function<void(long long)>& task) override {
        for (long long number = count; number-- > 0; ++tasks) {
            task(number);
        }
    }
};

/// Does all tasks at once, each on a thread of its own.
class CCrowd : public ITaskRunner {
  public:
    void Run(long long count, const std::function<void(long long)>& task) override {
        std::vector<std::jthread> threads;
        for (long long number = 0; number < count; ++number) {
            threads.emplace_back(task, number);
        }
    }
};

} // namespace TEVRA::test
