// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/Algorithm.h"

#include "support/RecordingMonitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>

namespace TEVRA {
namespace {

using ::testing::ElementsAre;

static_assert(std::has_virtual_destructor_v<CAlgorithm>);
static_assert(std::is_base_of_v<IObject, CAlgorithm>);

/// Reports `steps` steps, and stops early when asked to.
class CCounting : public CAlgorithm {
  public:
    using CAlgorithm::CAlgorithm;

    bool Run(int steps) const {
        Progress().BeginProgress(steps, "counting");
        bool cancelled = false;
        for (int i = 0; i < steps && !cancelled; ++i) {
            Progress().StepProgress();
            cancelled = Progress().CancelRequested();
        }
        Progress().EndProgress();
        return !cancelled;
    }
};

TEST(Algorithm, HasANameAndAParent) {
    const CCounting parent("parent", nullptr);
    CCounting child("child", &parent);
    EXPECT_EQ(parent.Instance(), "parent");
    EXPECT_EQ(parent.Parent(), nullptr);
    EXPECT_EQ(child.Instance(), "child");
    EXPECT_EQ(child.Parent(), &parent);
    child.SetInstance("renamed");
    EXPECT_EQ(child.Instance(), "renamed");
    EXPECT_EQ(CCounting(nullptr, nullptr).Instance(), "");
}

TEST(Algorithm, CopiesNameAndParent) {
    const CCounting parent("parent", nullptr);
    const CCounting original("original", &parent);
    const CCounting copy(original); // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.Instance(), "original");
    EXPECT_EQ(copy.Parent(), &parent);
    CCounting assigned("assigned", nullptr);
    assigned = original;
    EXPECT_EQ(assigned.Instance(), "original");
    EXPECT_EQ(assigned.Parent(), &parent);
}

TEST(Algorithm, ReportsToTheMonitorInstalledWhenItRuns) {
    const CCounting madeBefore("before", nullptr);
    test::CRecordingMonitor monitor;
    {
        const CProgressMonitorScope scope(monitor);
        EXPECT_TRUE(madeBefore.Run(2));
    }
    EXPECT_THAT(monitor.events, ElementsAre("begin 2 counting", "step", "poll", "step", "poll", "end"));
    EXPECT_TRUE(madeBefore.Run(2)) << "after the scope it is silent again";
    EXPECT_EQ(monitor.events.size(), 6U);
}

TEST(Algorithm, IsSilentAndNeverCancelledWithoutMonitor) {
    EXPECT_TRUE(CCounting("silent", nullptr).Run(100));
}

TEST(Algorithm, IsCancelledByTheMonitor) {
    test::CRecordingMonitor monitor;
    monitor.cancelFromPoll = 3;
    const CProgressMonitorScope scope(monitor);
    EXPECT_FALSE(CCounting("cancelled", nullptr).Run(100));
    EXPECT_EQ(monitor.steps, 3);
    EXPECT_EQ(monitor.openReports, 0);
}

TEST(Algorithm, LetsThroughWhatTheMonitorThrows) {
    test::CRecordingMonitor monitor;
    monitor.throwAtCall = 3;
    const CProgressMonitorScope scope(monitor);
    EXPECT_THROW(CCounting("interrupted", nullptr).Run(100), test::CInterrupted);
    EXPECT_EQ(monitor.steps, 2);
}

} // namespace
} // namespace TEVRA
