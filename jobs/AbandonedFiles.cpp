// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/AbandonedFiles.h"

#include "stream/FileLock.h"

#include <algorithm>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace TEVRA::jobs {

namespace {

namespace fs = std::filesystem;

/// What a file is called when it is finished; empty if that is no name of an unfinished one. Earlier versions had the
/// process number where the random word is.
std::string_view finished_name(std::string_view name) {
    const std::string_view start = TEMPORARY_START;
    if (!name.starts_with(start)) {
        return {};
    }
    name.remove_prefix(start.size());
    const std::size_t end = name.find_first_not_of("0123456789abcdef");
    return end != 0 && end != std::string_view::npos && name[end] == '-' ? name.substr(end + 1)
                                                                         : std::string_view();
}

/// Only what can be locked, and what has not got another name's content meanwhile.
void remove_if_abandoned(const std::string& path) {
    const stream::COpenFile file(open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (file.IsOpen() && fstat(file.Descriptor(), &status) == 0 && S_ISREG(status.st_mode) &&
        stream::TryLock(file.Descriptor()) == stream::ELocking::taken &&
        stream::IsNameOf(path, file.Descriptor())) {
        unlink(path.c_str());
    }
}

} // namespace

stream::SNewFile MakeTemporaryFile(const fs::path& target) {
    constexpr mode_t MODE = 0666;
    constexpr int ATTEMPTS = 10;
    const std::string start = (target.parent_path() / TEMPORARY_START).string();
    const std::string end = "-" + target.filename().string();
    stream::SNewFile made = stream::MakeNewFile(start, end, MODE);
    for (int attempt = 1; attempt < ATTEMPTS; ++attempt) {
        if (stream::TryLock(made.file.Descriptor()) != stream::ELocking::heldByOther &&
            stream::IsNameOf(made.path, made.file.Descriptor())) {
            break;
        }
        // Before it was locked, another run has taken it for abandoned.
        unlink(made.path.c_str());
        made = stream::MakeNewFile(start, end, MODE);
    }
    return made;
}

void RemoveAbandonedFiles(const fs::path& folder) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        if (!finished_name(entry->path().filename().string()).empty()) {
            remove_if_abandoned(entry->path().string());
        }
    }
}

bool HasUnfinishedFile(const fs::path& folder, std::string_view name) {
    std::error_code error;
    const fs::directory_iterator entries(folder, error);
    return !error && std::any_of(begin(entries), end(entries), [name](const fs::directory_entry& entry) {
        return finished_name(entry.path().filename().string()) == name;
    });
}

} // namespace TEVRA::jobs
