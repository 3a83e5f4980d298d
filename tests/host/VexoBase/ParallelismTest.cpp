// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/Parallelism.h"

#include "support/ThreadCount.h"
#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <string>

namespace TEVRA::test {
namespace {

TEST(Parallelism, IsOneThreadUnlessTheApplicationSaysOtherwise) {
    EXPECT_EQ(CParallelism::Threads(), 1);
}

TEST(Parallelism, KeepsTheNumberThatWasSet) {
    const CThreadCountScope scope(5);
    EXPECT_EQ(CParallelism::Threads(), 5);
}

TEST(Parallelism, RefusesFewerThanOneThread) {
    for (const int threads : {0, -3}) {
        ExpectThrown<CExBadParam>(
            [threads] { CParallelism::SetThreads(threads); },
            {"The number of threads must be 1 or more, not " + std::to_string(threads) + ".",
             "TEVRA::CParallelism::SetThreads", "host/VexoBase/Parallelism"});
    }
    EXPECT_EQ(CParallelism::Threads(), 1);
}

} // namespace
} // namespace TEVRA::test
