// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/ResultFiles.h"

#include "report/Outputs.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace TEVRA::jobs {
namespace {

using test::CTemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ResultFiles, AppearTogetherWithTheRunRecord) {
    const CTemporaryFolder folder;
    CResultFiles files(folder / "out", {report::RESULT_FILE});
    files.WriteText(report::RESULT_FILE, "{}");
    files.WriteText(report::RUN_RECORD_FILE, "{}");
    EXPECT_THAT(files.Names(), ElementsAre("result.json"));
    files.Commit();
    EXPECT_THAT(CTemporaryFolder::EntriesOf(folder / "out"), ElementsAre("result.json", "run.json"));
}

TEST(ResultFiles, LeaveNoFolderWithoutCommit) {
    const CTemporaryFolder folder;
    {
        CResultFiles files(folder / "out", {report::RESULT_FILE});
        files.WriteText(report::RESULT_FILE, "{}");
    }
    EXPECT_THAT(folder.Entries(), IsEmpty());
}

TEST(ResultFiles, RemoveWhatAnEarlierRunWroteAndThisOneDoesNot) {
    const CTemporaryFolder folder;
    for (const char* const name :
         {"run.json", "result.json", "subfields.csv", "profiles.csv", "theta.mha", "phi.mha", "notes.txt"}) {
        test::WriteFile(folder / name, "earlier");
    }
    { const CResultFiles abandoned(folder.Path(), {report::RESULT_FILE}); }
    EXPECT_THAT(folder.Entries(), testing::SizeIs(7));
    CResultFiles files(folder.Path(), {report::RESULT_FILE, report::THETA_FILE});
    files.Commit();
    EXPECT_THAT(folder.Entries(), ElementsAre("notes.txt", "result.json", "run.json", "theta.mha"));
    EXPECT_EQ(test::ReadFile(folder / "theta.mha"), "");
}

TEST(ResultFiles, LeaveFilesOfTheirNamesAloneWhereNoRunRecordIs) {
    const CTemporaryFolder folder;
    test::WriteFile(folder / "phi.mha", "of someone else");
    CResultFiles files(folder.Path(), {report::RESULT_FILE});
    files.Commit();
    EXPECT_THAT(folder.Entries(), ElementsAre("phi.mha", "result.json", "run.json"));
}

} // namespace
} // namespace TEVRA::jobs
