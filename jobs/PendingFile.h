// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace TEVRA::jobs {

/// Output files that appear all together or not at all.
///
/// Each file is written beside its place under another name of the same ending and renamed by `Commit`.
/// Whatever is not committed is removed: when the object is destroyed, and when a second signal ends the
/// process.
///
///     CPendingFiles files;
///     WriteMetaImage(files.Add("out/theta.mha"), theta, spacing);
///     files.WriteText("out/result.json", text);
///     files.Commit();
class CPendingFiles {
  public:
    CPendingFiles() = default;
    ~CPendingFiles();
    CPendingFiles(const CPendingFiles&) = delete;
    CPendingFiles& operator=(const CPendingFiles&) = delete;

    /// Announces an output file and makes it, empty, under its temporary name, so that a place that cannot be
    /// written to shows before the work and not after it. A symbolic link to a file stays one.
    /// Announcing it again changes nothing. Error messages of the program show the target's name.
    /// @return the path to write to until `Commit`.
    /// @throws CWorkError if the folder lets no file be made, or if something else than a file has the name.
    std::string Add(const std::filesystem::path& target);
    /// Announces a file if it is not yet and writes the text into it. @throws CWorkError if that fails.
    void WriteText(const std::filesystem::path& target, std::string_view text);
    /// Announces that a file goes when the others come: one of an earlier run that this run does not write.
    void RemoveOnCommit(const std::filesystem::path& obsolete);
    /// Renames every file into place, in the order announced; files in their places are replaced.
    /// @throws CWorkError if a file cannot be renamed; those not yet renamed are removed later.
    void Commit();

  private:
    struct SPending {
        std::filesystem::path announced;
        std::filesystem::path place; // what a symbolic link points to
        std::filesystem::path temporary;
        std::size_t slot;
    };
    std::vector<SPending> m_pending;
    std::vector<std::filesystem::path> m_obsolete;
};

/// The folder that a command writes its files into: made with its parents if it does not exist. Folders made
/// for a command that then fails are removed again.
class COutputFolder {
  public:
    /// @throws CWorkError if the folder cannot be made or something else has that name.
    explicit COutputFolder(const std::filesystem::path& path);

    const std::filesystem::path& Path() const noexcept { return m_path; }
    /// The command has succeeded: the folders stay.
    void Keep() noexcept { m_made.innermostFirst.clear(); }

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

    std::filesystem::path m_path;
    SMadeFolders m_made;
};

/// Removes every pending file of the process; callable in a signal handler, after which the process must end.
void RemovePendingFilesNow() noexcept;

} // namespace TEVRA::jobs
