// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/ResultFiles.h"

#include "report/Outputs.h"

#include <algorithm>
#include <utility>

namespace TEVRA::jobs {

CResultFiles::CResultFiles(const std::filesystem::path& folder, std::vector<std::string> names)
    : m_folder(folder), m_names(std::move(names)) {
    for (const std::string& name : m_names) {
        m_files.Add(m_folder.Path() / name);
    }
    m_files.Add(m_folder.Path() /
                report::RUN_RECORD_FILE); // last: its presence says that the others are complete
    if (!std::filesystem::exists(m_folder.Path() / report::RUN_RECORD_FILE)) {
        return;
    }
    for (const report::SOutput& output : report::Outputs()) {
        if (output.condition != report::EOutputCondition::always && !Has(output.file)) {
            m_files.RemoveOnCommit(m_folder.Path() / output.file);
        }
    }
}

bool CResultFiles::Has(std::string_view name) const {
    return std::find(m_names.begin(), m_names.end(), name) != m_names.end();
}

void CResultFiles::Commit() {
    m_files.Commit();
    m_folder.Keep();
}

} // namespace TEVRA::jobs
