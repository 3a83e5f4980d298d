// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/FileLock.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace TEVRA::jobs {

/// The files that a command reads: none of its outputs may be one of them, under whatever name.
///
/// An image may be a folder, whose entries count, and a dataset of a file, as in "scan.h5:/grey".
class CInputFiles {
  public:
    CInputFiles() = default;
    explicit CInputFiles(const std::vector<std::string>& paths);

    /// Whether a file is one of them, by device and inode, through links.
    bool Contain(const std::filesystem::path& file) const;

  private:
    void add(const std::filesystem::path& file);

    std::set<std::pair<dev_t, ino_t>> m_files;
};

/// Output files that appear all together or not at all.
///
/// Each file is written beside its place under another name of the same ending and renamed by `Commit`.
/// Whatever is not committed is removed: when the object is destroyed, when a second signal ends the
/// process, and, after any other end, by the next run that writes into the folder.
///
///     CPendingFiles files;
///     WriteMetaImage(files.Add("out/theta.mha"), theta, spacing);
///     files.WriteText("out/result.json", text);
///     files.Commit();
class CPendingFiles {
  public:
    CPendingFiles() = default;
    /// @param inputs that must not be replaced.
    explicit CPendingFiles(const CInputFiles& inputs) : m_inputs(inputs) {}
    ~CPendingFiles();
    CPendingFiles(const CPendingFiles&) = delete;
    CPendingFiles& operator=(const CPendingFiles&) = delete;

    /// Announces an output file and makes it, empty, under its temporary name, so that a place that cannot be
    /// written to shows before the work and not after it. A symbolic link to a file stays one.
    /// Announcing it again changes nothing. Error messages of the program show the target's name.
    /// @return the path to write to until `Commit`.
    /// @throws CWorkError if the folder lets no file be made, if something else than a file has the name, or
    /// if it is an input.
    std::string Add(const std::filesystem::path& target);
    /// Announces a file if it is not yet and writes the text into it, asking the calling thread's monitor on the way
    /// whether to go on. @throws CWorkError if that fails, CCancelled if not.
    void WriteText(const std::filesystem::path& target, std::string_view text);
    /// Announces that a file goes when the others come: one of an earlier run that this run does not write.
    void RemoveOnCommit(const std::filesystem::path& obsolete);
    /// Renames every file into place, in the order announced; files in their places are replaced. What the
    /// last one replaces goes first of all: while it is missing, the others may be of two runs. Everything is
    /// brought onto the disk before, in between and after. The first of these takes as long as the disk does, and reports
    /// its progress to the calling thread's monitor.
    /// @throws CWorkError if that fails, and what the monitor throws: then all is as it was.
    void Commit();

  private:
    struct SPending {
        std::filesystem::path announced;
        std::filesystem::path place; // what a symbolic link points to
        std::filesystem::path temporary;
        stream::COpenFile file; // locked
        std::size_t slot;
    };
    void sync_files() const;
    void sync_folders() const;

    CInputFiles m_inputs;
    std::set<std::filesystem::path> m_folders; // that files are renamed in
    std::vector<SPending> m_pending;
    std::vector<std::filesystem::path> m_obsolete;
};

/// The folder that a command writes its files into: made with its parents if it does not exist. Folders made
/// for a command that then fails are removed again. No two runs write into one folder at a time.
class COutputFolder {
  public:
    /// @throws CWorkError if the folder cannot be made, if something else has that name, or if another run
    /// writes into it.
    explicit COutputFolder(const std::filesystem::path& path);

    const std::filesystem::path& Path() const noexcept { return m_path; }
    /// The command has succeeded: the folders stay, and other runs may write into them.
    void Keep() noexcept {
        m_made.innermostFirst.clear();
        m_guard.reset();
    }

  private:
    /// Removes the folders unless they hold something. A member of its own so that it works
    /// when the constructor fails half-way too.
    struct SMadeFolders {
        SMadeFolders() = default;
        SMadeFolders(const SMadeFolders&) = delete;
        SMadeFolders& operator=(const SMadeFolders&) = delete;
        ~SMadeFolders();
        std::vector<std::filesystem::path> innermostFirst;
    };

    /// The file whose lock keeps other runs out, until the run ends.
    class CGuard;
    struct SDeleteGuard {
        void operator()(CGuard* guard) const noexcept;
    };

    std::filesystem::path m_path;
    SMadeFolders m_made;
    std::unique_ptr<CGuard, SDeleteGuard> m_guard; // goes before the folder does
};

/// A file under its temporary name, and what it will take.
struct SRoomOfFile {
    std::string path;
    std::size_t bytes;
};

/// Makes sure that there is room for files side by side, so that a full disk shows before the work. They are empty again
/// after it: what others take meanwhile shows when they are written. Where the file system takes no room in advance,
/// nothing is known.
/// @throws CWorkError if there is none.
void RequireRoom(const std::vector<SRoomOfFile>& files);

/// Removes every pending file of the process; callable in a signal handler, after which the process must end.
void RemovePendingFilesNow() noexcept;

} // namespace TEVRA::jobs
