// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

namespace TEVRA::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

class Interrupt : public testing::Test {
  protected:
    Interrupt() {
        // Large enough that the analysis is still at work when its first file has been noticed.
        WriteMetaImage(m_folder / "image.mha", ParallelFibers({200, 200, 160}, 0));
    }

    CProgramRun start() {
        return CProgramRun({"analyze", "image.mha", "--fiber-radius", "3", "--maps", "-o", "out"},
                           {.workingFolder = m_folder.Path()});
    }
    /// Waits until the run has announced its files, which stand beside its lock.
    void wait_for_pending_files(const CProgramRun& run) {
        while (!run.HasEnded() &&
               (!fs::exists(m_folder / "out") || CTemporaryFolder::EntriesOf(m_folder / "out").size() < 2)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    CTemporaryFolder m_folder;
};

TEST_F(Interrupt, CtrlCStopsTheRunAndLeavesNoFile) {
    CProgramRun run = start();
    wait_for_pending_files(run);
    run.Signal(SIGINT);
    const SOutcome outcome = run.Wait();
    EXPECT_EQ(outcome.status, 130);
    EXPECT_THAT(outcome.err, HasSubstr("tevra: error: stopped"));
    EXPECT_THAT(m_folder.Entries(), ElementsAre("image.mha"));
}

TEST_F(Interrupt, TerminationStopsTheRunAndLeavesNoFile) {
    CProgramRun run = start();
    wait_for_pending_files(run);
    run.Signal(SIGTERM);
    EXPECT_EQ(run.Wait().status, 143);
    EXPECT_THAT(m_folder.Entries(), ElementsAre("image.mha"));
}

TEST_F(Interrupt, ASecondCtrlCEndsTheRunAndLeavesNoFile) {
    fs::create_directory(m_folder / "out");
    CProgramRun run = start();
    wait_for_pending_files(run);
    run.Signal(SIGINT);
    run.Signal(SIGINT);
    EXPECT_EQ(run.Wait().status, 130);
    EXPECT_THAT(CTemporaryFolder::EntriesOf(m_folder / "out"), ElementsAre());
}

} // namespace
} // namespace TEVRA::test
