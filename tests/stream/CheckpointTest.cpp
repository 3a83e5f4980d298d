// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Checkpoint.h"

#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

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
        const std::string record =
            "kept-" + std::to_string(process.rank + 1) + "-of-" + std::to_string(process.size);
        WriteFile(m_folder / (record + ".scratch"), std::string(BYTES, 'x'));
        checkpoint(process).Save(SMOOTHED);
        ASSERT_TRUE(std::filesystem::exists(m_folder / record));
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

TEST_F(Checkpoints, WithSlicesThatAreCutOffAreOfNoUse) {
    leave(SECOND_OF_THREE);
    WriteFile(m_folder / "kept-2-of-3.scratch", std::string(BYTES - 1, 'x'));
    EXPECT_EQ(checkpoint(SECOND_OF_THREE).State(), EState::other);
    std::filesystem::remove(m_folder / "kept-2-of-3.scratch");
    EXPECT_EQ(checkpoint(SECOND_OF_THREE).State(), EState::other);
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
    CCheckpoint second = checkpoint(SECOND_OF_THREE);
    EXPECT_EQ(second.State(), EState::reusable);
    second.Remove();
    std::vector<std::string> left = strangers;
    left.insert(left.end(), {"kept-1-of-3", "kept-1-of-3.scratch"});
    EXPECT_THAT(m_folder.Entries(), testing::UnorderedElementsAreArray(left));
}

} // namespace
