// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/PendingFile.h"

#include "jobs/Failure.h"
#include "stream/OpenFile.h"
#include "support/RecordingMonitor.h"
#include "support/TemporaryFolder.h"

#include "VexoBase/Cancellation.h"
#include "VexoBase/ProgressMonitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>
#include <vector>

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

TEST(PendingFiles, AskWhileALongTextIsWrittenWhetherToGoOn) {
    const CTemporaryFolder folder;
    const std::string text((2 << 24) + 1, 'x'); // two pieces and a bit
    for (int poll = 1; poll <= 2; ++poll) {
        test::CRecordingMonitor monitor;
        monitor.cancelFromPoll = poll;
        const CProgressMonitorScope scope(monitor);
        CPendingFiles files;
        EXPECT_THROW(files.WriteText(folder / "a.json", text), CCancelled);
        EXPECT_EQ(monitor.polls, poll);
    }
    EXPECT_THAT(folder.Entries(), IsEmpty());
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    CPendingFiles files;
    files.WriteText(folder / "a.json", text);
    EXPECT_EQ(monitor.polls, 2);
    files.Commit();
    EXPECT_EQ(fs::file_size(folder / "a.json"), text.size());
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

TEST(PendingFiles, AreRefusedWhereThereAreTooManyAtATime) {
    const CTemporaryFolder folder;
    CPendingFiles files;
    for (int number = 0; number < 64; ++number) {
        files.Add(folder / std::to_string(number));
    }
    EXPECT_THAT(failure_of([&] { files.Add(folder / "one more"); }),
                AllOf(HasSubstr("one more"), HasSubstr("writes 64 files already")));
    EXPECT_EQ(folder.Entries().size(), 64U);
    files.Commit();
    files.Add(folder / "one more");
}

TEST(PendingFiles, HaveNamesThatNobodyCanForetell) {
    const CTemporaryFolder folder;
    std::set<std::string> names;
    for (int run = 0; run < 10; ++run) {
        CPendingFiles files;
        names.insert(fs::path(files.Add(folder / "a.json")).filename().string());
    }
    EXPECT_EQ(names.size(), 10U);
    EXPECT_THAT(names, testing::Each(testing::MatchesRegex("\\.tevra-[0-9a-f]{16}-a\\.json")));
}

TEST(PendingFiles, RemoveThoseThatAKilledRunHasLeftAndNoOthers) {
    const CTemporaryFolder folder;
    const std::vector<std::string> abandoned = {".tevra-123-theta.mha", ".tevra-00ff00ff00ff00ff-run.json"};
    const std::vector<std::string> others = {".tevra-lock",    ".tevra-resume-1-of-1", ".tevra-notes",
                                             ".tevra-12",      "tevra-12-a",           ".tevra--a",
                                             ".tevra-12-link", ".tevra-13-folder"};
    for (const std::string& name : abandoned) {
        test::WriteFile(folder / name, "left");
    }
    for (const std::string& name : others) {
        if (name == ".tevra-12-link") {
            fs::create_symlink("elsewhere", folder / name);
        } else if (name == ".tevra-13-folder") {
            fs::create_directory(folder / name);
        } else {
            test::WriteFile(folder / name, "of others");
        }
    }
    CPendingFiles living;
    const std::string held = fs::path(living.Add(folder / "b.json")).filename();
    EXPECT_EQ(folder.Entries().size(), others.size() + 1);
    test::WriteFile(folder / abandoned.front(), "left again");
    CPendingFiles files;
    const std::string own = fs::path(files.Add(folder / "a.json")).filename();
    std::vector<std::string> left = others;
    left.insert(left.end(), {held, own});
    EXPECT_THAT(folder.Entries(), testing::UnorderedElementsAreArray(left));
    living.Commit();
    EXPECT_EQ(test::ReadFile(folder / "b.json"), "");
}

TEST(PendingFiles, AreNeverTheInputs) {
    const CTemporaryFolder folder;
    test::WriteFile(folder / "t.mha", "angles");
    fs::create_hard_link(folder / "t.mha", folder / "hard.mha");
    fs::create_symlink("t.mha", folder / "soft.mha");
    fs::create_directory(folder / "slices");
    test::WriteFile(folder / "slices/1.tif", "slice");
    test::WriteFile(folder / "scan.h5", "dataset");
    const CInputFiles inputs({folder / "t.mha", (folder / "slices").string(),
                              (folder / "scan.h5").string() + ":/grey", (folder / "none").string(), ""});
    CPendingFiles files(inputs);
    for (const char* const name :
         {"t.mha", "hard.mha", "soft.mha", "slices/1.tif", "scan.h5", "slices/../t.mha"}) {
        EXPECT_THAT(failure_of([&] { files.Add(folder / name); }),
                    AllOf(HasSubstr(name), HasSubstr("to be read")));
    }
    files.Add(folder / "other.mha");
    files.Commit();
    EXPECT_EQ(test::ReadFile(folder / "t.mha"), "angles");
}

/// Files of an earlier run, and those that shall replace them.
class Replacements : public testing::Test {
  protected:
    Replacements() {
        for (const char* const name : {"a", "b", "run", "obsolete"}) {
            test::WriteFile(m_folder / name, "earlier");
        }
        for (const char* const name : {"new", "a", "b", "run"}) {
            m_files->WriteText(m_folder / name, "later");
        }
        m_files->RemoveOnCommit(m_folder / "obsolete");
    }
    void put_a_folder_into_the_place_of(const std::string& name) {
        fs::remove(m_folder / name);
        fs::create_directories(m_folder / name / "in it");
    }

    CTemporaryFolder m_folder;
    std::optional<CPendingFiles> m_files{std::in_place};
};

TEST_F(Replacements, AreUndoneWhenOneFails) {
    put_a_folder_into_the_place_of("b");
    EXPECT_THAT(failure_of([&] { m_files->Commit(); }),
                AllOf(HasSubstr("'" + (m_folder / "b").string() + "'"), HasSubstr("directory")));
    m_files.reset();
    EXPECT_THAT(m_folder.Entries(), ElementsAre("a", "b", "obsolete", "run"));
    for (const char* const name : {"a", "run", "obsolete"}) {
        EXPECT_EQ(test::ReadFile(m_folder / name), "earlier") << name;
    }
}

TEST_F(Replacements, AreUndoneWhenTheLastFails) {
    put_a_folder_into_the_place_of("run");
    EXPECT_NE(failure_of([&] { m_files->Commit(); }), "");
    m_files.reset();
    EXPECT_THAT(m_folder.Entries(), ElementsAre("a", "b", "obsolete", "run"));
    EXPECT_EQ(test::ReadFile(m_folder / "a"), "earlier");
    EXPECT_EQ(test::ReadFile(m_folder / "b"), "earlier");
    EXPECT_EQ(test::ReadFile(m_folder / "obsolete"), "earlier");
}

TEST_F(Replacements, CanBeStoppedUntilTheyBegin) {
    constexpr int PIECES = 3;
    fs::resize_file(m_files->Add(m_folder / "a"), PIECES << 24); // 16 MiB each; takes no room
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    constexpr int FILES = 4;
    // The beginning, then a step for each piece of a file and one for the file: others are of one piece.
    constexpr int CALLS = 1 + PIECES + (FILES - 1) + FILES;
    for (int call = 1; call <= CALLS; ++call) {
        monitor.throwAtCall = monitor.Calls() + call;
        EXPECT_THROW(m_files->Commit(), test::CInterrupted) << call;
        EXPECT_EQ(monitor.openReports, 0);
        for (const char* const name : {"a", "b", "run", "obsolete"}) {
            EXPECT_EQ(test::ReadFile(m_folder / name), "earlier") << name;
        }
        EXPECT_FALSE(fs::exists(m_folder / "new"));
    }
    m_files.reset();
    EXPECT_THAT(m_folder.Entries(), ElementsAre("a", "b", "obsolete", "run"));
}

TEST_F(Replacements, AskNobodyOnceTheyHaveBegun) {
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    m_files->Commit();
    EXPECT_EQ(monitor.events.back(), "end");
    EXPECT_EQ(monitor.polls, 0);
    EXPECT_EQ(monitor.steps, 4 + 4); // as above
}

TEST_F(Replacements, ReplaceAllAndLeaveNothingElse) {
    m_files->Commit();
    EXPECT_THAT(m_folder.Entries(), ElementsAre("a", "b", "new", "run"));
    for (const char* const name : {"a", "b", "new", "run"}) {
        EXPECT_EQ(test::ReadFile(m_folder / name), "later") << name;
    }
}

/// The names that files in a folder get and lose, in order.
class CRenames {
  public:
    explicit CRenames(const fs::path& folder) : m_watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        inotify_add_watch(m_watch.Descriptor(), folder.c_str(), IN_MOVE);
    }
    /// As in "-run", "+a".
    std::vector<std::string> Of(const std::vector<std::string>& names) const {
        std::vector<std::string> renames;
        std::array<char, 1 << 16> buffer{};
        const ssize_t count = read(m_watch.Descriptor(), buffer.data(), buffer.size());
        for (ssize_t at = 0; at < count;) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof(event));
            const std::string name = buffer.data() + at + sizeof(event);
            if (std::find(names.begin(), names.end(), name) != names.end()) {
                renames.push_back(((event.mask & IN_MOVED_FROM) != 0U ? "-" : "+") + name);
            }
            at += static_cast<ssize_t>(sizeof(event) + event.len);
        }
        return renames;
    }

  private:
    stream::COpenFile m_watch;
};

TEST_F(Replacements, TakeTheLastAwayFirstOfAll) {
    const CRenames renames(m_folder.Path());
    m_files->Commit();
    EXPECT_THAT(renames.Of({"new", "a", "b", "run", "obsolete"}),
                ElementsAre("-run", "-obsolete", "+new", "+a", "+b", "+run"));
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

TEST(OutputFolder, IsOfOneRunAtATime) {
    const CTemporaryFolder folder;
    {
        const COutputFolder output(folder / "out");
        const std::string failure = failure_of([&] { const COutputFolder second(folder / "out/../out"); });
        EXPECT_THAT(failure, AllOf(HasSubstr("another run"), HasSubstr("/out'"),
                                   HasSubstr("process " + std::to_string(getpid()) + " on ")));
    }
    EXPECT_THAT(folder.Entries(), IsEmpty());
    COutputFolder output(folder / "out");
    output.Keep();
    EXPECT_THAT(CTemporaryFolder::EntriesOf(folder / "out"), IsEmpty());
    EXPECT_EQ(failure_of([&] { const COutputFolder second(folder / "out"); }), "");
}

TEST(OutputFolder, RefusesAnEmptyName) {
    EXPECT_THAT(failure_of([&] { const COutputFolder output(""); }), HasSubstr("empty name"));
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
