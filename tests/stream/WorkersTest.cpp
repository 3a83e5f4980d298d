// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Workers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace TEVRA::stream {
namespace {

TEST(LentWorkers, DoEveryTaskOnce) {
    for (const int threads : {1, 3}) {
        CWorkers workers(threads);
        ITaskRunner& runner = workers;
        std::vector<std::atomic<int>> done(50);
        runner.Run(50, [&done](long long task) { ++done.at(static_cast<std::size_t>(task)); });
        for (const std::atomic<int>& count : done) {
            EXPECT_EQ(count, 1) << threads << " threads";
        }
    }
}

} // namespace
} // namespace TEVRA::stream
