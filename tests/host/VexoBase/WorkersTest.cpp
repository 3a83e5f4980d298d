// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/Workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

namespace TEVRA::Impl {
namespace {

TEST(Workers, DoEveryTaskOnceAndTheBackgroundTaskToo) {
    for (const int threads : {1, 2, 5}) {
        for (const long long tasks : {0LL, 1LL, 2LL, 100LL}) {
            CWorkers workers(threads);
            std::vector<std::atomic<int>> done(static_cast<std::size_t>(tasks));
            std::atomic<int> backgrounds{0};
            workers.Run(
                tasks, [&](long long task, int) { ++done[static_cast<std::size_t>(task)]; },
                [&] { ++backgrounds; });
            EXPECT_EQ(backgrounds, 1) << threads << " threads, " << tasks << " tasks";
            for (const std::atomic<int>& count : done) {
                EXPECT_EQ(count, 1) << threads << " threads, " << tasks << " tasks";
            }
        }
    }
}

TEST(Workers, OfOneThreadAreTheCallingThread) {
    CWorkers workers(1);
    const std::thread::id caller = std::this_thread::get_id();
    int calls = 0;
    const auto check = [&] {
        EXPECT_EQ(std::this_thread::get_id(), caller);
        ++calls;
    };
    workers.Run(
        3, [&](long long, int) { check(); }, check);
    EXPECT_EQ(calls, 4);
}

TEST(Workers, BeginWithTasksWhileTheBackgroundTaskStillWaits) {
    CWorkers workers(2);
    std::atomic<bool> hasWorked{false};
    bool sawWork = false;
    workers.Run(
        8, [&](long long, int) { hasWorked = true; },
        [&] {
            const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
            while (!hasWorked && std::chrono::steady_clock::now() < end) {
                std::this_thread::yield();
            }
            sawWork = hasWorked;
        });
    EXPECT_TRUE(sawWork) << "nobody worked beside it for 30 seconds";
}

TEST(Workers, NeverShareAWorkersNumber) {
    CWorkers workers(4);
    std::vector<std::atomic<int>> inUse(4);
    std::atomic<int> collisions{0};
    workers.Run(200, [&](long long, int worker) {
        auto& users = inUse.at(static_cast<std::size_t>(worker));
        collisions += ++users == 1 ? 0 : 1;
        std::this_thread::yield();
        --users;
    });
    EXPECT_EQ(collisions, 0);
}

TEST(Workers, PassOnWhatATaskOrTheBackgroundTaskThrows) {
    for (const int threads : {1, 3}) {
        CWorkers workers(threads);
        const auto nothing = [](long long, int) {};
        const auto failing = [](long long, int) { throw std::runtime_error("task"); };
        EXPECT_THROW(workers.Run(5, failing), std::runtime_error);
        EXPECT_THROW(workers.Run(5, failing, [] {}), std::runtime_error);
        EXPECT_THROW(workers.Run(5, nothing, [] { throw std::runtime_error("background"); }),
                     std::runtime_error);
        EXPECT_NO_THROW(workers.Run(5, nothing)) << "usable again afterwards";
    }
}

} // namespace
} // namespace TEVRA::Impl
