// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Interruption.h"

#include "jobs/PendingFile.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace TEVRA::apps {
namespace {

using testing::IsEmpty;

TEST(Interruption, NothingIsRequestedAtFirst) {
    const CInterruptionScope scope;
    EXPECT_FALSE(InterruptionRequested());
    EXPECT_NO_THROW(ThrowIfInterrupted());
}

TEST(Interruption, ASignalIsAskedForAndThrownWhereNoticed) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const CInterruptionScope scope;
        std::raise(signal);
        EXPECT_TRUE(InterruptionRequested());
        try {
            ThrowIfInterrupted();
            FAIL() << "signal " << signal << " was not noticed";
        } catch (const CInterrupted& interruption) {
            EXPECT_EQ(interruption.Signal(), signal);
        }
    }
}

TEST(Interruption, ANewScopeForgetsTheRequestOfTheOneBefore) {
    {
        const CInterruptionScope scope;
        std::raise(SIGINT);
    }
    const CInterruptionScope scope;
    EXPECT_FALSE(InterruptionRequested());
}

TEST(InterruptionDeathTest, ASecondSignalEndsTheProcessAndRemovesPendingFiles) {
    const test::CTemporaryFolder folder;
    EXPECT_EXIT(
        {
            const CInterruptionScope scope;
            jobs::CPendingFiles files;
            files.WriteText(folder / "result.json", "text");
            std::raise(SIGINT);
            std::raise(SIGINT);
        },
        testing::ExitedWithCode(130), "");
    EXPECT_THAT(folder.Entries(), IsEmpty());
}

} // namespace
} // namespace TEVRA::apps
