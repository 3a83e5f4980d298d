// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/ProgressMonitor.h"

#include "support/RecordingMonitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace TEVRA {
namespace {

using ::testing::ElementsAre;

TEST(ProgressMonitor, IsSilentUntilOneIsInstalled) {
    IProgressMonitor& monitor = CProgressMonitor::Obj();
    EXPECT_NO_THROW({
        monitor.BeginProgress(3, "text");
        monitor.StepProgress();
        monitor.EndProgress();
    });
    EXPECT_FALSE(monitor.CancelRequested());
}

TEST(ProgressMonitor, PassesEveryCallOn) {
    test::CRecordingMonitor installed;
    installed.cancelFromPoll = 2;
    const CProgressMonitorScope scope(installed);
    IProgressMonitor& monitor = CProgressMonitor::Obj();
    monitor.BeginProgress(5000000000LL, "smoothing");
    monitor.StepProgress();
    EXPECT_FALSE(monitor.CancelRequested());
    EXPECT_TRUE(monitor.CancelRequested());
    monitor.EndProgress();
    EXPECT_THAT(installed.events, ElementsAre("begin 5000000000 smoothing", "step", "poll", "poll", "end"));
}

TEST(ProgressMonitorScope, NestsAndBringsTheMonitorBeforeBack) {
    test::CRecordingMonitor outer;
    test::CRecordingMonitor inner;
    IProgressMonitor& monitor = CProgressMonitor::Obj();
    {
        const CProgressMonitorScope outerScope(outer);
        monitor.StepProgress();
        {
            const CProgressMonitorScope innerScope(inner);
            monitor.StepProgress();
            monitor.StepProgress();
        }
        EXPECT_EQ(outer.steps, 1);
        monitor.StepProgress();
    }
    monitor.StepProgress();
    EXPECT_EQ(outer.steps, 2);
    EXPECT_EQ(inner.steps, 2);
}

TEST(ProgressMonitorScope, EndsWithAnException) {
    test::CRecordingMonitor monitor;
    EXPECT_THROW(
        {
            const CProgressMonitorScope scope(monitor);
            throw std::runtime_error("on the way");
        },
        std::runtime_error);
    CProgressMonitor::Obj().StepProgress();
    EXPECT_EQ(monitor.steps, 0);
}

TEST(ProgressMonitorScope, HoldsForItsThreadOnly) {
    test::CRecordingMonitor here;
    test::CRecordingMonitor there;
    const CProgressMonitorScope scope(here);
    std::thread other([&there] {
        CProgressMonitor::Obj().StepProgress(); // nothing is installed on this thread yet
        const CProgressMonitorScope otherScope(there);
        CProgressMonitor::Obj().StepProgress();
        CProgressMonitor::Obj().StepProgress();
    });
    other.join();
    CProgressMonitor::Obj().StepProgress();
    EXPECT_EQ(here.steps, 1);
    EXPECT_EQ(there.steps, 2);
}

TEST(ProgressReport, BeginsStepsAndEnds) {
    test::CRecordingMonitor monitor;
    {
        CProgressReport report(monitor, 2, "outer");
        report.Step();
        {
            CProgressReport nested(monitor, 1, "inner");
            nested.Step();
        }
        report.Step();
    }
    EXPECT_THAT(monitor.events,
                ElementsAre("begin 2 outer", "step", "begin 1 inner", "step", "end", "step", "end"));
}

TEST(ProgressReport, EndsWhenAStepThrows) {
    test::CRecordingMonitor monitor;
    monitor.throwAtCall = 3;
    EXPECT_THROW(
        {
            CProgressReport report(monitor, 5, "text");
            report.Step();
            report.Step();
        },
        test::CInterrupted);
    EXPECT_EQ(monitor.openReports, 0);
}

TEST(ProgressReport, IsNotEndedWhenItsBeginningThrows) {
    test::CRecordingMonitor monitor;
    monitor.throwAtCall = 1;
    EXPECT_THROW(CProgressReport(monitor, 5, "text"), test::CInterrupted);
    EXPECT_THAT(monitor.events, ElementsAre("begin 5 text"));
}

/// Throws from every end of a report.
class CThrowingAtEnd : public test::CRecordingMonitor {
  public:
    void EndProgress() override {
        CRecordingMonitor::EndProgress();
        throw test::CInterrupted();
    }
};

TEST(ProgressReport, PassesOnWhatTheMonitorThrowsAtTheEnd) {
    CThrowingAtEnd monitor;
    EXPECT_THROW(CProgressReport(monitor, 5, "text"), test::CInterrupted);
    EXPECT_EQ(monitor.openReports, 0);
}

TEST(ProgressReport, DropsWhatTheMonitorThrowsAtTheEndWhenAnotherExceptionIsOnItsWay) {
    CThrowingAtEnd monitor;
    EXPECT_THROW(
        {
            const CProgressReport report(monitor, 5, "text");
            throw std::logic_error("first");
        },
        std::logic_error);
    EXPECT_EQ(monitor.openReports, 0);
}

TEST(ProgressReport, PassesItOnFromAReportInsideACleanUp) {
    // The report begins and ends while an exception is on its way, and no exception of its own scope is.
    class CCleanUp {
      public:
        explicit CCleanUp(bool& passed) : m_passed(passed) {}
        ~CCleanUp() {
            try {
                CThrowingAtEnd monitor;
                const CProgressReport report(monitor, 1, "cleaning");
            } catch (const test::CInterrupted&) {
                m_passed = true;
            }
        }
        CCleanUp(const CCleanUp&) = delete;
        CCleanUp& operator=(const CCleanUp&) = delete;

      private:
        bool& m_passed;
    };
    bool passed = false;
    EXPECT_THROW(
        {
            const CCleanUp cleanUp(passed);
            throw std::logic_error("first");
        },
        std::logic_error);
    EXPECT_TRUE(passed);
}

} // namespace
} // namespace TEVRA
