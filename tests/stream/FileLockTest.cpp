// SPDX-License-Identifier: BSD-3-Clause
#include "stream/FileLock.h"
#include "stream/OpenFile.h"

#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <csignal>
#include <fcntl.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

using namespace TEVRA::stream;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using TEVRA::test::CTemporaryFolder;
using TEVRA::test::ReadFile;
using TEVRA::test::WriteFile;

namespace {

COpenFile opened(const std::filesystem::path& path) {
    return COpenFile(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
}

/// Another process that does something and then waits for its end.
class CChild {
  public:
    template <typename Work>
    explicit CChild(const Work& work) {
        int ends[2];
        if (pipe(ends) != 0 || (m_process = fork()) < 0) {
            throw std::runtime_error("no second process");
        }
        if (m_process == 0) {
            work();
            [[maybe_unused]] const ssize_t written = write(ends[1], "x", 1);
            for (;;) {
                pause();
            }
        }
        char ready = 0;
        [[maybe_unused]] const ssize_t read = ::read(ends[0], &ready, 1);
        close(ends[0]);
        close(ends[1]);
    }
    ~CChild() { Kill(); }
    CChild(const CChild&) = delete;
    CChild& operator=(const CChild&) = delete;

    pid_t Process() const { return m_process; }
    void Kill() {
        if (m_process > 0) {
            kill(m_process, SIGKILL);
            waitpid(m_process, nullptr, 0);
            m_process = -1;
        }
    }

  private:
    pid_t m_process = -1;
};

TEST(FileLocks, OfWholeFilesKeepOthersOutUntilTheyAreClosed) {
    const CTemporaryFolder folder;
    COpenFile first = opened(folder / "a");
    const COpenFile second = opened(folder / "a");
    EXPECT_EQ(TryLock(first.Descriptor()), ELocking::taken);
    EXPECT_EQ(TryLock(second.Descriptor()), ELocking::heldByOther);
    EXPECT_EQ(TryShare(second.Descriptor()), ELocking::heldByOther);
    first = COpenFile();
    EXPECT_EQ(TryShare(second.Descriptor()), ELocking::taken);
}

TEST(FileLocks, ByRecordKeepOthersOutUntilTheyAreClosed) {
    const CTemporaryFolder folder;
    COpenFile first = opened(folder / "a");
    const COpenFile second = opened(folder / "a");
    EXPECT_EQ(TryRecordLock(first.Descriptor()), ELocking::taken);
    EXPECT_EQ(TryRecordLock(second.Descriptor()), ELocking::heldByOther);
    { const COpenFile third = opened(folder / "a"); } // does not give up the lock of the process
    EXPECT_EQ(TryRecordLock(second.Descriptor()), ELocking::heldByOther);
    first = COpenFile();
    EXPECT_EQ(TryRecordLock(second.Descriptor()), ELocking::taken);
}

TEST(FileLocks, CanBeSharedByThoseWhoOnlyAsk) {
    const CTemporaryFolder folder;
    const COpenFile first = opened(folder / "a");
    const COpenFile second = opened(folder / "a");
    EXPECT_EQ(TryShare(first.Descriptor()), ELocking::taken);
    EXPECT_EQ(TryShare(second.Descriptor()), ELocking::taken);
    EXPECT_EQ(TryLock(second.Descriptor()), ELocking::heldByOther);
}

TEST(FileLocks, NameTheirHolderAndGoWithIt) {
    const CTemporaryFolder folder;
    const std::string path = folder / "lock";
    CChild child([&path] { new CFileLock(path); });
    try {
        const CFileLock lock(path);
        FAIL() << "two processes hold the lock";
    } catch (const CLockedError& error) {
        EXPECT_THAT(error.Holder(),
                    MatchesRegex("process " + std::to_string(child.Process()) + " on [^\n]+"));
    }
    child.Kill();
    EXPECT_THAT(folder.Entries(), ElementsAre("lock"));
    { const CFileLock lock(path); }
    EXPECT_THAT(folder.Entries(), IsEmpty());
}

TEST(FileLocks, SayAnotherProcessWhereTheFileDoesNotTellTheHolder) {
    const CTemporaryFolder folder;
    WriteFile(folder / "lock", "process \x1b[2J");
    const COpenFile held = opened(folder / "lock");
    ASSERT_EQ(TryLock(held.Descriptor()), ELocking::taken);
    try {
        const CFileLock lock(folder / "lock");
        FAIL() << "two hold the lock";
    } catch (const CLockedError& error) {
        EXPECT_EQ(error.Holder(), "another process");
    }
}

TEST(FileLocks, AreNotMadeThroughLinksNorInPlaceOfOtherThings) {
    const CTemporaryFolder folder;
    WriteFile(folder / "victim", "precious");
    std::filesystem::create_symlink("victim", folder / "link");
    EXPECT_THROW(CFileLock(folder / "link"), std::system_error);
    EXPECT_EQ(ReadFile(folder / "victim"), "precious");
    std::filesystem::create_directory(folder / "folder");
    EXPECT_THROW(CFileLock(folder / "folder"), std::system_error);
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0666), 0);
    EXPECT_THROW(CFileLock(folder / "pipe"), std::system_error);
    EXPECT_THROW(CFileLock(folder / "none/lock"), std::system_error);
}

TEST(FileLocks, ThatAreAbandonedAreRemovedAndOthersAreNot) {
    const CTemporaryFolder folder;
    WriteFile(folder / "abandoned", "process 1 on nowhere\n");
    RemoveAbandonedLock(folder / "abandoned");
    RemoveAbandonedLock(folder / "never there");
    EXPECT_THAT(folder.Entries(), IsEmpty());
    const CFileLock lock(folder / "held");
    EXPECT_THROW(RemoveAbandonedLock(folder / "held"), CLockedError);
    EXPECT_THAT(folder.Entries(), ElementsAre("held"));
}

TEST(NewFiles, HaveNamesThatNobodyCanForetell) {
    const CTemporaryFolder folder;
    std::set<std::string> names;
    for (int i = 0; i < 20; ++i) {
        const SNewFile made = MakeNewFile(folder / "a-", "-b", 0666);
        EXPECT_THAT(std::filesystem::path(made.path).filename().string(), MatchesRegex("a-[0-9a-f]{16}-b"));
        EXPECT_TRUE(IsNameOf(made.path, made.file.Descriptor()));
        names.insert(made.path);
    }
    EXPECT_EQ(names.size(), 20U);
    EXPECT_THROW(MakeNewFile(folder / "none/a", "", 0666), std::system_error);
}

TEST(NewFiles, KnowWhenTheirNameIsAnotherFiles) {
    const CTemporaryFolder folder;
    const SNewFile made = MakeNewFile(folder / "a", "", 0666);
    std::filesystem::rename(made.path, folder / "b");
    EXPECT_FALSE(IsNameOf(made.path, made.file.Descriptor()));
    std::filesystem::create_symlink("b", made.path);
    EXPECT_FALSE(IsNameOf(made.path, made.file.Descriptor()));
}

} // namespace
