// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/PendingFile.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace TEVRA::jobs {

/// The files of report::Outputs that a run writes into its output folder, all together at the end.
///
/// They are announced before the work, so that a place that cannot be written to shows at once. Tables and
/// maps that an earlier run left there, and that this run does not write, are removed with `Commit`: beside
/// the new results they would mislead. Only a run.json shows that files of these names are an earlier run's.
class CResultFiles {
  public:
    /// @param names files to be written besides the run record.
    /// @throws CWorkError if the folder or one of the files cannot be made.
    CResultFiles(const std::filesystem::path& folder, std::vector<std::string> names);

    const std::filesystem::path& Folder() const noexcept { return m_folder.Path(); }
    /// The files besides the run record.
    const std::vector<std::string>& Names() const noexcept { return m_names; }
    bool Has(std::string_view name) const;
    /// Where to write a file until `Commit`.
    std::string PathOf(const char* name) { return m_files.Add(m_folder.Path() / name); }
    void WriteText(const char* name, std::string_view text) {
        m_files.WriteText(m_folder.Path() / name, text);
    }
    void Commit();

  private:
    COutputFolder m_folder; // before the files in it, so that it goes after them
    CPendingFiles m_files;
    std::vector<std::string> m_names;
};

} // namespace TEVRA::jobs
