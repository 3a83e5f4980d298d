// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/ResultFiles.h"

#include "jobs/AbandonedFiles.h"
#include "jobs/Failure.h"
#include "jobs/FileChecks.h"
#include "report/Outputs.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <optional>
#include <system_error>
#include <utility>

namespace TEVRA::jobs {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

/// A file that the record of an earlier run lists.
struct SEarlierFile {
    std::string name;
    std::optional<report::SFileCheck> check; // none if the record has none
};

/// Names come from a file: they must not lead out of the folder.
bool is_plain_name(const std::string& name) {
    return !name.empty() && name.front() != '.' && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos && name != report::RUN_RECORD_FILE;
}

std::optional<report::SFileCheck> check_in(const Json& record, const std::string& name) {
    const Json check = record.value("file_checks", Json::object()).value(name, Json::object());
    if (!check.is_object() || !check.contains("bytes") || !check["bytes"].is_number_unsigned() ||
        !check.contains("checksum") || !check["checksum"].is_string()) {
        return std::nullopt;
    }
    return report::SFileCheck{name, check["bytes"], check["checksum"]};
}

/// None if there is no record, or one of another program.
std::optional<std::vector<SEarlierFile>> earlier_run(const fs::path& folder) {
    constexpr std::uintmax_t MOST_BYTES = 1 << 24; // records have some thousands
    const fs::path path = folder / report::RUN_RECORD_FILE;
    std::error_code error;
    if (!fs::is_regular_file(path, error) || fs::file_size(path, error) > MOST_BYTES) {
        return std::nullopt;
    }
    std::ifstream text(path);
    const Json record = Json::parse(text, nullptr, false);
    const auto has = [&record](const char* key, Json::value_t type) {
        return record.contains(key) && record[key].type() == type;
    };
    if (!record.is_object() || !has("program", Json::value_t::string) || record["program"] != "tevra" ||
        !has("files", Json::value_t::array) ||
        (record.contains("file_checks") && !record["file_checks"].is_object())) {
        return std::nullopt;
    }
    std::vector<SEarlierFile> files;
    for (const Json& name : record["files"]) {
        if (name.is_string() && is_plain_name(name)) {
            files.push_back({name, check_in(record, name)});
        }
    }
    return files;
}

std::vector<SEarlierFile> earlier_files(const fs::path& folder) {
    return earlier_run(folder).value_or(std::vector<SEarlierFile>());
}

/// Refuses to replace what no run of this program has written. Inputs, and what is no plain file, are refused with words
/// of their own.
void require_none_of_others(const fs::path& folder, const std::vector<std::string>& names,
                            const CInputFiles& inputs) {
    if (HasUnfinishedFile(folder, report::RUN_RECORD_FILE)) {
        return; // a run was killed here, perhaps when its files were there and its record was not
    }
    const auto earlier = earlier_run(folder);
    const auto is_of_others = [&](const std::string& name) {
        std::error_code ignored;
        const bool isOfEarlierRun =
            earlier && (name == report::RUN_RECORD_FILE ||
                        std::any_of(earlier->begin(), earlier->end(),
                                    [&name](const SEarlierFile& file) { return file.name == name; }));
        const fs::file_status target = fs::status(folder / name, ignored);
        const bool isPlain = !fs::exists(target) || fs::is_regular_file(target);
        return !isOfEarlierRun && isPlain && !inputs.Contain(folder / name) &&
               fs::exists(fs::symlink_status(folder / name, ignored));
    };
    std::vector<std::string> all = names;
    all.emplace_back(report::RUN_RECORD_FILE);
    const auto other = std::find_if(all.begin(), all.end(), is_of_others);
    if (other != all.end()) {
        throw CWorkError(
            "'" + (folder / *other).string() +
            "' would be replaced, but no run of Tevra has written it; move it away or give another "
            "output folder");
    }
}

bool is_unchanged(const fs::path& folder, const SEarlierFile& file) {
    const std::optional<report::SFileCheck> now = CheckOf(folder / file.name, file.name);
    return file.check && now && now->bytes == file.check->bytes && now->checksum == file.check->checksum;
}

} // namespace

CResultFiles::CResultFiles(const fs::path& folder, std::vector<std::string> names, const CInputFiles& inputs)
    : m_folder(folder), m_files(inputs), m_names(std::move(names)) {
    require_none_of_others(m_folder.Path(), m_names, inputs);
    for (const std::string& name : m_names) {
        m_files.Add(m_folder.Path() / name);
    }
    m_files.Add(m_folder.Path() /
                report::RUN_RECORD_FILE); // last: its presence says that the others are complete
    for (const SEarlierFile& file : earlier_files(m_folder.Path())) {
        if (!Has(file.name) && inputs.Contain(m_folder.Path() / file.name)) {
            throw CWorkError("'" + (m_folder.Path() / file.name).string() +
                             "' is one of the files to be read, and a result of the run that this one would "
                             "replace; give another output folder");
        }
    }
}

bool CResultFiles::Has(std::string_view name) const {
    return std::find(m_names.begin(), m_names.end(), name) != m_names.end();
}

std::vector<report::SFileCheck> CResultFiles::Checks() {
    std::vector<report::SFileCheck> checks;
    for (const std::string& name : m_names) {
        if (const auto check = CheckOf(PathOf(name.c_str()), name)) {
            checks.push_back(*check);
        }
    }
    return checks;
}

void CResultFiles::Commit() {
    std::error_code ignored;
    for (const SEarlierFile& file : earlier_files(m_folder.Path())) {
        const fs::path path = m_folder.Path() / file.name;
        if (Has(file.name) || !fs::exists(fs::symlink_status(path, ignored))) {
            continue;
        }
        if (is_unchanged(m_folder.Path(), file)) {
            m_files.RemoveOnCommit(path);
            m_removed.push_back(file.name);
        } else {
            m_leftAlone.push_back(file.name);
        }
    }
    m_files.Commit();
    m_folder.Keep();
}

} // namespace TEVRA::jobs
