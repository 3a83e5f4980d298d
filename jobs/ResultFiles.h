// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/PendingFile.h"
#include "report/RunParts.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace TEVRA::jobs {

/// The files of report::Outputs that a run writes into its output folder, all together at the end.
///
/// They are announced before the work, so that a place that cannot be written to shows at once. Files that an
/// earlier run left there, and that this run does not write, are removed with `Commit`: beside the new
/// results they would mislead. A file is an earlier run's if its run.json says so, by name, size and
/// checksum. Files of the names to be written that no run has written, as no run.json lists them, are not
/// replaced.
class CResultFiles {
  public:
    /// @param names files to be written besides the run record.
    /// @param inputs what the run reads: none of it is replaced or removed.
    /// @throws CWorkError if the folder or one of the files cannot be made, if another run is at work in the
    /// folder, if an input is one of the files that would be written or removed, or if a file would be
    /// replaced that no run has written.
    CResultFiles(const std::filesystem::path& folder, std::vector<std::string> names,
                 const CInputFiles& inputs = {});

    const std::filesystem::path& Folder() const noexcept { return m_folder.Path(); }
    /// The files besides the run record.
    const std::vector<std::string>& Names() const noexcept { return m_names; }
    bool Has(std::string_view name) const;
    /// Where to write a file until `Commit`.
    std::string PathOf(const char* name) { return m_files.Add(m_folder.Path() / name); }
    void WriteText(const char* name, std::string_view text) {
        m_files.WriteText(m_folder.Path() / name, text);
    }
    /// Of the files besides the run record, as they have been written: for the record.
    std::vector<report::SFileCheck> Checks();
    void Commit();

    /// The earlier run's files that `Commit` has removed.
    const std::vector<std::string>& Removed() const noexcept { return m_removed; }
    /// Those that it has left alone, since they are not, or no longer, what the earlier run recorded.
    const std::vector<std::string>& LeftAlone() const noexcept { return m_leftAlone; }

  private:
    COutputFolder m_folder; // before the files in it, so that it goes after them
    CPendingFiles m_files;
    std::vector<std::string> m_names;
    std::vector<std::string> m_removed;
    std::vector<std::string> m_leftAlone;
};

} // namespace TEVRA::jobs
