// SPDX-License-Identifier: BSD-3-Clause
#include "stream/MemoryPlan.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace TEVRA::stream {
namespace {

class ControlGroup : public testing::Test {
  protected:
    void write(const std::string& path, const std::string& text) {
        const std::filesystem::path file = m_root / path;
        std::filesystem::create_directories(file.parent_path());
        test::WriteFile(file, text);
    }
    std::optional<std::size_t> limit() const { return ControlGroupLimit(m_root.Path().string()); }

    test::CTemporaryFolder m_root;
};

TEST_F(ControlGroup, WithoutAnyThereIsNoLimit) {
    EXPECT_EQ(limit(), std::nullopt);
    write("proc/self/cgroup", "0::/\n");
    EXPECT_EQ(limit(), std::nullopt);
    write("sys/fs/cgroup/memory.max", "max\n");
    EXPECT_EQ(limit(), std::nullopt);
}

TEST_F(ControlGroup, OfTheSecondVersionCountsWithThoseAbove) {
    write("proc/self/cgroup", "0::/user/job 1\n");
    write("sys/fs/cgroup/user/job 1/memory.max", "3000000\n");
    EXPECT_EQ(limit(), 3000000U);
    write("sys/fs/cgroup/user/memory.max", "2000000\n");
    EXPECT_EQ(limit(), 2000000U);
    write("sys/fs/cgroup/user/job 1/memory.max", "1000000\n");
    EXPECT_EQ(limit(), 1000000U);
}

TEST_F(ControlGroup, OfTheFirstVersionCounts) {
    write("proc/self/cgroup", "5:cpu,cpuacct:/job\n4:memory:/job\n0::/\n");
    write("sys/fs/cgroup/cpu/job/memory.limit_in_bytes", "5\n");
    write("sys/fs/cgroup/memory/job/memory.limit_in_bytes", "7000000\n");
    EXPECT_EQ(limit(), 7000000U);
}

TEST_F(ControlGroup, OfAContainerThatSeesAnotherPathCounts) {
    write("proc/self/cgroup", "4:memory:/docker/0123456789\n");
    write("sys/fs/cgroup/memory/memory.limit_in_bytes", "7000000\n");
    EXPECT_EQ(limit(), 7000000U);
    write("proc/self/cgroup", "0::/../..\n");
    write("sys/fs/cgroup/memory.max", "6000000\n");
    EXPECT_EQ(limit(), 6000000U);
}

TEST_F(ControlGroup, TheDefaultBudgetIsNoMoreThanHalfOfIt) {
    const std::size_t budget = DefaultBudget();
    EXPECT_GT(budget, 0U);
    if (const auto group = ControlGroupLimit()) {
        EXPECT_LE(budget, *group / 2);
    }
}

} // namespace
} // namespace TEVRA::stream
