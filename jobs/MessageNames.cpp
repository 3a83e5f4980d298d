// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/MessageNames.h"

#include <algorithm>
#include <map>
#include <mutex>

namespace TEVRA::jobs {

namespace {

/// The names of files under their paths.
struct SFileNames {
    std::mutex mutex;
    std::map<std::string, std::string> nameOf;
};

SFileNames& file_names() {
    static SFileNames names;
    return names;
}

} // namespace

void NameInMessages(const std::string& path, const std::string& name) {
    SFileNames& files = file_names();
    const std::lock_guard lock(files.mutex);
    files.nameOf[path] = name;
}

std::string WithNames(std::string message) {
    SFileNames& files = file_names();
    const std::lock_guard lock(files.mutex);
    // Backwards: of two paths that begin alike the longer one first.
    std::for_each(files.nameOf.rbegin(), files.nameOf.rend(), [&message](const auto& file) {
        const auto& [path, name] = file;
        for (std::size_t at = message.find(path); at != std::string::npos;
             at = message.find(path, at + name.size())) {
            message.replace(at, path.size(), name);
        }
    });
    return message;
}

} // namespace TEVRA::jobs
