// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/PendingFile.h"

#include "jobs/Failure.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <string>
#include <sys/resource.h>

namespace TEVRA::jobs {
namespace {

namespace fs = std::filesystem;
using test::CTemporaryFolder;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string failure_of(const std::function<void()>& call) {
    try {
        call();
    } catch (const CWorkError& error) {
        return error.what();
    }
    return {};
}

TEST(PendingFiles, AppearOnlyWithCommit) {
    const CTemporaryFolder folder;
    CPendingFiles files;
    files.WriteText(folder / "a.json", "one");
    files.WriteText(folder / "b.csv", "two");
    EXPECT_FALSE(fs::exists(folder / "a.json"));
    EXPECT_FALSE(fs::exists(folder / "b.csv"));
    files.Commit();
    EXPECT_THAT(folder.Entries(), ElementsAre("a.json", "b.csv"));
    EXPECT_EQ(test::ReadFile(folder / "a.json"), "one");
    EXPECT_EQ(test::ReadFile(folder / "b.csv"), "two");
}

TEST(PendingFiles, LeaveNothingWithoutCommit) {
    const CTemporaryFolder folder;
    {
        CPendingFiles files;
        files.WriteText(folder / "a.json", "one");
        test::WriteFile(files.Add(folder / "b.mha"), "two");
    }
    EXPECT_THAT(folder.Entries(), IsEmpty());
}

TEST(PendingFiles, LeaveTheFileInPlaceUntouchedWithoutCommit) {
    const CTemporaryFolder folder;
    test::WriteFile(folder / "a.json", "earlier");
    {
        CPendingFiles files;
        files.WriteText(folder / "a.json", "new");
    }
    EXPECT_THAT(folder.Entries(), ElementsAre("a.json"));
    EXPECT_EQ(test::ReadFile(folder / "a.json"), "earlier");
}

TEST(PendingFiles, ReplaceTheFileInPlaceWithCommit) {
    const CTemporaryFolder folder;
    test::WriteFile(folder / "a.json", "earlier and longer");
    CPendingFiles files;
    files.WriteText(folder / "a.json", "new");
    files.Commit();
    EXPECT_EQ(test::ReadFile(folder / "a.json"), "new");
}

TEST(PendingFiles, AreWrittenUnderANameOfTheSameEnding) {
    const CTemporaryFolder folder;
    CPendingFiles files;
    const fs::path temporary = files.Add(folder / "theta.mha");
    EXPECT_EQ(temporary.extension(), ".mha");
    EXPECT_EQ(temporary.parent_path(), folder.Path());
}

TEST(PendingFiles, KeepOneTemporaryNameWhenAnnouncedTwice) {
    const CTemporaryFolder folder;
    CPendingFiles files;
    const std::string path = files.Add(folder / "a.json");
    EXPECT_EQ(files.Add(folder / "a.json"), path);
    files.WriteText(folder / "a.json", "text");
    EXPECT_EQ(test::ReadFile(path), "text");
}

TEST(PendingFiles, RemoveObsoleteFilesWithCommitOnly) {
    const CTemporaryFolder folder;
    test::WriteFile(folder / "old", "");
    {
        CPendingFiles files;
        files.RemoveOnCommit(folder / "old");
    }
    EXPECT_THAT(folder.Entries(), ElementsAre("old"));
    CPendingFiles files;
    files.RemoveOnCommit(folder / "old");
    files.RemoveOnCommit(folder / "never there");
    files.Commit();
    EXPECT_THAT(folder.Entries(), IsEmpty());
}

TEST(PendingFiles, ReplaceWhatASymbolicLinkPointsTo) {
    const CTemporaryFolder folder;
    fs::create_directory(folder / "elsewhere");
    test::WriteFile(folder / "elsewhere/a.json", "earlier");
    fs::create_symlink("elsewhere/a.json", folder / "a.json");
    CPendingFiles files;
    files.WriteText(folder / "a.json", "new");
    files.Commit();
    EXPECT_TRUE(fs::is_symlink(folder / "a.json"));
    EXPECT_EQ(test::ReadFile(folder / "elsewhere/a.json"), "new");
}

TEST(PendingFiles, RefuseAFolderInTheirPlace) {
    const CTemporaryFolder folder;
    fs::create_directory(folder / "a.json");
    CPendingFiles files;
    EXPECT_THAT(failure_of([&] { files.Add(folder / "a.json"); }),
                AllOf(HasSubstr("a.json"), HasSubstr("not a plain file")));
}

TEST(PendingFiles, RefuseADeviceInTheirPlace) {
    CPendingFiles files;
    EXPECT_THAT(failure_of([&] { files.Add("/dev/null"); }), HasSubstr("not a plain file"));
}

TEST(PendingFiles, RefuseAFolderThatDoesNotExist) {
    const CTemporaryFolder folder;
    CPendingFiles files;
    EXPECT_THAT(failure_of([&] { files.Add(folder / "none/a.json"); }),
                AllOf(HasSubstr("none/a.json"), HasSubstr("No such file or directory")));
}

TEST(PendingFiles, RefuseANameTooLongForTheSystem) {
    const CTemporaryFolder folder;
    CPendingFiles files;
    EXPECT_NE(failure_of([&] { files.Add(folder / std::string(300, 'a')); }), "");
    EXPECT_NE(failure_of([&] { files.Add(folder / std::string(10000, 'a')); }), "");
}

TEST(PendingFilesDeathTest, AFileThatCannotBeWrittenInFullIsAFailureAndIsRemoved) {
    const CTemporaryFolder folder;
    EXPECT_EXIT(
        {
            std::signal(SIGXFSZ, SIG_IGN);
            rlimit limit{};
            limit.rlim_cur = limit.rlim_max = 1000;
            setrlimit(RLIMIT_FSIZE, &limit);
            std::string failure;
            {
                CPendingFiles files;
                failure = failure_of([&] { files.WriteText(folder / "a.json", std::string(5000, ' ')); });
            }
            std::_Exit(failure.find("File too large") != std::string::npos ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_THAT(folder.Entries(), IsEmpty());
}

TEST(OutputFolder, IsMadeWithItsParentsAndStaysWhenKept) {
    const CTemporaryFolder folder;
    {
        COutputFolder output(folder / "a/b/c/");
        EXPECT_TRUE(fs::is_directory(output.Path()));
        output.Keep();
    }
    EXPECT_TRUE(fs::is_directory(folder / "a/b/c"));
}

TEST(OutputFolder, IsRemovedAgainWithTheParentsMadeForIt) {
    const CTemporaryFolder folder;
    fs::create_directory(folder / "a");
    { const COutputFolder output(folder / "a/b/c"); }
    EXPECT_TRUE(fs::is_directory(folder / "a"));
    EXPECT_FALSE(fs::exists(folder / "a/b"));
}

TEST(OutputFolder, IsLeftAloneIfItWasThereBefore) {
    const CTemporaryFolder folder;
    fs::create_directory(folder / "a");
    { const COutputFolder output(folder / "a"); }
    EXPECT_TRUE(fs::is_directory(folder / "a"));
}

TEST(OutputFolder, RefusesAFileOfThatName) {
    const CTemporaryFolder folder;
    test::WriteFile(folder / "out", "text");
    EXPECT_THAT(failure_of([&] { const COutputFolder output(folder / "out"); }),
                AllOf(HasSubstr("out"), HasSubstr("is a file")));
    EXPECT_EQ(test::ReadFile(folder / "out"), "text");
}

TEST(OutputFolder, LeavesNoParentsWhenAPartOfThePathIsAFile) {
    const CTemporaryFolder folder;
    test::WriteFile(folder / "out", "text");
    EXPECT_NE(failure_of([&] { const COutputFolder output(folder / "out/a/b"); }), "");
    EXPECT_THAT(folder.Entries(), ElementsAre("out"));
}

} // namespace
} // namespace TEVRA::jobs
