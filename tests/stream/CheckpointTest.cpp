// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Checkpoint.h"

#include "support/TemporaryFolder.h"
#include "volume/Failure.h"

#include <gmock/gmock.h>

#include <optional>
#include <unistd.h>
#include <utility>

using namespace TEVRA;
using namespace TEVRA::test;
using stream::CCheckpoint;
using EState = stream::CCheckpoint::EState;
using testing::ElementsAre;

namespace {

constexpr std::size_t BYTES = 12;
constexpr stream::SProcess SECOND_OF_THREE{1, 3};
const stream::SSmoothed SMOOTHED{{-0.1, 1e300, 7, 9}, {0.1F, 123456.789F}};

class Checkpoints : public testing::Test {
  protected:
    CCheckpoint checkpoint(const stream::SProcess& process,
                           const std::string& fingerprint = "this run") const {
        return {stream::CheckpointFiles((m_folder / "kept-").string(), process, fingerprint), BYTES};
    }
    /// Leaves what a finished smoothing leaves.
    void leave(const stream::SProcess& process) const {
        CCheckpoint finished = checkpoint(process);
        WriteFile(finished.Slices(), std::string(BYTES, 'x'));
        finished.Save(SMOOTHED);
        ASSERT_TRUE(std::filesystem::exists(record_of(process)));
    }
    std::filesystem::path record_of(const stream::SProcess& process) const {
        return m_folder /
               ("kept-" + std::to_string(process.rank + 1) + "-of-" + std::to_string(process.size));
    }
    static std::string failure_of_taking(CCheckpoint& files) {
        try {
            files.Take();
        } catch (const volume::CEnvironmentError& error) {
            return error.what();
        }
        return "";
    }

    CTemporaryFolder m_folder;
};

TEST_F(Checkpoints, ThereIsNoneInAnEmptyFolderOrInOneThatIsNotThere) {
    EXPECT_EQ(checkpoint(SECOND_OF_THREE).State(), EState::absent);
    const CCheckpoint nowhere(stream::CheckpointFiles("no/such/folder/kept-", SECOND_OF_THREE, ""), BYTES);
    EXPECT_EQ(nowhere.State(), EState::absent);
}

TEST_F(Checkpoints, GiveNumbersBackToTheLastBit) {
    leave(SECOND_OF_THREE);
    const CCheckpoint found = checkpoint(SECOND_OF_THREE);
    ASSERT_EQ(found.State(), EState::reusable);
    EXPECT_EQ(found.Smoothed().range.lo, SMOOTHED.range.lo);
    EXPECT_EQ(found.Smoothed().range.hi, SMOOTHED.range.hi);
    EXPECT_EQ(found.Smoothed().range.nanCount, SMOOTHED.range.nanCount);
    EXPECT_EQ(found.Smoothed().range.infiniteCount, SMOOTHED.range.infiniteCount);
    EXPECT_EQ(found.Smoothed().extent.lo, SMOOTHED.extent.lo);
    EXPECT_EQ(found.Smoothed().extent.hi, SMOOTHED.extent.hi);
}

TEST_F(Checkpoints, OfAnotherRunAreOfNoUse) {
    leave(SECOND_OF_THREE);
    EXPECT_EQ(checkpoint(SECOND_OF_THREE, "another run").State(), EState::other);
}

TEST_F(Checkpoints, WithSlicesThatAreCutOffOrLinksAreOfNoUse) {
    leave(SECOND_OF_THREE);
    const std::string slices = checkpoint(SECOND_OF_THREE).Slices();
    std::filesystem::rename(slices, m_folder / "elsewhere");
    EXPECT_EQ(checkpoint(SECOND_OF_THREE).State(), EState::other);
    std::filesystem::create_symlink("elsewhere", slices);
    EXPECT_EQ(checkpoint(SECOND_OF_THREE).State(), EState::other);
    std::filesystem::remove(slices);
    std::filesystem::create_hard_link(m_folder / "elsewhere", slices);
    EXPECT_EQ(checkpoint(SECOND_OF_THREE).State(), EState::other);
    std::filesystem::remove(slices);
    WriteFile(slices, std::string(BYTES - 1, 'x'));
    EXPECT_EQ(checkpoint(SECOND_OF_THREE).State(), EState::other);
    WriteFile(slices, std::string(BYTES, 'x'));
    EXPECT_EQ(checkpoint(SECOND_OF_THREE).State(), EState::reusable);
}

TEST_F(Checkpoints, KeepSlicesUnderNamesThatNobodyCanForetell) {
    EXPECT_NE(checkpoint(SECOND_OF_THREE).Slices(), checkpoint(SECOND_OF_THREE).Slices());
    EXPECT_THAT(std::filesystem::path(checkpoint(SECOND_OF_THREE).Slices()).filename().string(),
                testing::MatchesRegex("kept-2-of-3-[0-9a-f]{16}\\.scratch"));
}

TEST_F(Checkpoints, AreOfOneProcessAtATime) {
    leave(SECOND_OF_THREE);
    std::optional<CCheckpoint> first(
        std::in_place, stream::CheckpointFiles((m_folder / "kept-").string(), SECOND_OF_THREE, "this run"),
        BYTES);
    first->Take();
    EXPECT_EQ(first->State(), EState::reusable);
    CCheckpoint second = checkpoint(SECOND_OF_THREE);
    EXPECT_THAT(failure_of_taking(second), testing::HasSubstr("process " + std::to_string(getpid())));
    CCheckpoint ofTwo = checkpoint({0, 2});
    EXPECT_THAT(failure_of_taking(ofTwo), testing::HasSubstr("another run"));
    CCheckpoint ofTheSameJob = checkpoint({2, 3});
    EXPECT_EQ(failure_of_taking(ofTheSameJob), "");
    first->Remove();
    first.reset();
    EXPECT_EQ(failure_of_taking(second), "");
    EXPECT_EQ(second.State(), EState::absent);
}

TEST_F(Checkpoints, ThatWereNeverFinishedAreRemovedBeforeTheirRoomIsTakenAnew) {
    for (const char* const name :
         {"kept-2-of-3-0123456789abcdef.scratch", "kept-2-of-3.0123456789abcdef.new"}) {
        WriteFile(m_folder / name, "left by a run that was killed");
    }
    CCheckpoint next = checkpoint(SECOND_OF_THREE);
    next.Discard();
    EXPECT_THAT(m_folder.Entries(), ElementsAre());
}

TEST_F(Checkpoints, AreNotWrittenThroughLinks) {
    WriteFile(m_folder / "victim", "precious");
    std::filesystem::create_symlink("victim", record_of(SECOND_OF_THREE));
    EXPECT_EQ(checkpoint(SECOND_OF_THREE).State(), EState::absent);
    leave(SECOND_OF_THREE);
    EXPECT_EQ(ReadFile(m_folder / "victim"), "precious");
    EXPECT_EQ(checkpoint(SECOND_OF_THREE).State(), EState::reusable);
}

TEST_F(Checkpoints, OfAnotherNumberOfProcessesAreSeenAndGoWithTheRest) {
    leave(SECOND_OF_THREE);
    leave({2, 3});
    CCheckpoint ofTwo = checkpoint({0, 2});
    EXPECT_EQ(ofTwo.State(), EState::other);
    ofTwo.Remove();
    EXPECT_THAT(m_folder.Entries(), ElementsAre());
}

TEST_F(Checkpoints, LeaveTheFilesOfOthersAlone) {
    leave(SECOND_OF_THREE);
    leave({0, 3});
    const std::vector<std::string> strangers = {"kept-",       "kept-1",        "kept-1-of-",
                                                "kept-1-to-2", "kept-a-1-of-2", "other-1-of-2"};
    for (const std::string& name : strangers) {
        WriteFile(m_folder / name, "");
    }
    const CCheckpoint first = checkpoint({0, 3});
    CCheckpoint second = checkpoint(SECOND_OF_THREE);
    EXPECT_EQ(second.State(), EState::reusable);
    second.Remove();
    std::vector<std::string> left = strangers;
    left.insert(left.end(), {"kept-1-of-3", std::filesystem::path(first.Slices()).filename().string()});
    EXPECT_THAT(m_folder.Entries(), testing::UnorderedElementsAreArray(left));
}

} // namespace
