// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Failure.h"

#include "apps/Interruption.h"

#include <exception>
#include <map>
#include <mutex>
#include <new>
#include <ostream>

namespace TEVRA::apps {

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

std::string with_names(std::string message) {
    SFileNames& files = file_names();
    const std::lock_guard lock(files.mutex);
    // Backwards: of two paths that begin alike the longer one first.
    for (auto file = files.nameOf.rbegin(); file != files.nameOf.rend(); ++file) {
        const auto& [path, name] = *file;
        for (std::size_t at = message.find(path); at != std::string::npos;
             at = message.find(path, at + name.size())) {
            message.replace(at, path.size(), name);
        }
    }
    return message;
}

std::string on_one_line(const std::string& message) {
    std::string line;
    for (const char c : message) {
        const bool blank = c == '\n' || c == '\r' || c == ' ';
        if (!blank) {
            line += c;
        } else if (!line.empty() && line.back() != ' ') {
            line += ' ';
        }
    }
    if (line.ends_with(' ')) {
        line.pop_back();
    }
    return line;
}

} // namespace

void NameInMessages(const std::string& path, const std::string& name) {
    SFileNames& files = file_names();
    const std::lock_guard lock(files.mutex);
    files.nameOf[path] = name;
}

void PrintError(std::ostream& errors, const std::string& message) {
    errors << "tevra: error: " << on_one_line(with_names(message)) << std::endl;
}

void PrintWarning(std::ostream& errors, const std::string& message) {
    errors << "tevra: warning: " << on_one_line(with_names(message)) << std::endl;
}

int RunGuarded(const std::function<void()>& work, std::ostream& errors) {
    try {
        work();
        return STATUS_DONE;
    } catch (const CInterrupted& interruption) {
        PrintError(errors, "stopped by the user; no output was written");
        return 128 + interruption.Signal();
    } catch (const CAlreadyReported& failure) {
        return failure.Status();
    } catch (const CUsageError& failure) {
        PrintError(errors, failure.what());
        return STATUS_WRONG_USAGE;
    } catch (const std::bad_alloc&) {
        PrintError(errors,
                   "not enough memory; analyse a smaller part of the image or use a machine with more "
                   "memory");
        return STATUS_FAILED;
    } catch (const std::exception& failure) {
        PrintError(errors, failure.what());
        return STATUS_FAILED;
    }
}

} // namespace TEVRA::apps
