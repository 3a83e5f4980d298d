// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/Cancellation.h"

#include "VexoBase/ProgressMonitor.h"
#include "support/RecordingMonitor.h"

#include <gtest/gtest.h>

namespace TEVRA {
namespace {

TEST(Cancellation, IsNotWithoutAMonitor) {
    EXPECT_NO_THROW(GoOnOrThrow());
}

TEST(Cancellation, IsThrownOnceTheMonitorAsksForIt) {
    test::CRecordingMonitor monitor;
    monitor.cancelFromPoll = 3;
    const CProgressMonitorScope scope(monitor);
    EXPECT_NO_THROW(GoOnOrThrow());
    EXPECT_NO_THROW(GoOnOrThrow());
    EXPECT_THROW(GoOnOrThrow(), CCancelled);
}

TEST(Polls, ComeAfterSoMuchWork) {
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    CPolls polls(10);
    for (int work = 1; work <= 35; ++work) {
        polls.Add(1);
        EXPECT_EQ(monitor.polls, work / 10) << work;
    }
    polls.Add(1000); // one question for all that is done
    EXPECT_EQ(monitor.polls, 4);
    polls.Add(9);
    EXPECT_EQ(monitor.polls, 4);
    polls.Add(1);
    EXPECT_EQ(monitor.polls, 5);
}

TEST(Polls, PassTheCancellationOn) {
    test::CRecordingMonitor monitor;
    monitor.cancelFromPoll = 2;
    const CProgressMonitorScope scope(monitor);
    CPolls polls(1);
    polls.Add(1);
    EXPECT_THROW(polls.Add(1), CCancelled);
}

} // namespace
} // namespace TEVRA
