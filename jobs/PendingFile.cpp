// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/PendingFile.h"

#include "jobs/Failure.h"
#include "jobs/MessageNames.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace TEVRA::jobs {

namespace {

namespace fs = std::filesystem;

// Paths for the signal handler, which may neither allocate nor lock: memory that is never freed.
struct SSlot {
    enum class EState { free, taken, pending };
    std::atomic<EState> state{EState::free};
    std::array<char, PATH_MAX> path{};
};
static_assert(std::atomic<SSlot::EState>::is_always_lock_free, "read in a signal handler");
std::array<SSlot, 64> g_slots;

std::size_t register_path(const std::string& path) {
    for (std::size_t i = 0; i < g_slots.size() && path.size() < PATH_MAX; ++i) {
        auto expected = SSlot::EState::free;
        if (g_slots[i].state.compare_exchange_strong(expected, SSlot::EState::taken)) {
            g_slots[i].path[path.copy(g_slots[i].path.data(), PATH_MAX)] = 0;
            g_slots[i].state = SSlot::EState::pending;
            return i;
        }
    }
    throw CWorkError("cannot write '" + path + "': the name is too long; give a shorter one");
}

void unregister_path(std::size_t slot) noexcept {
    g_slots[slot].state = SSlot::EState::free;
}

fs::path folder_of(const fs::path& target) {
    return target.has_parent_path() ? target.parent_path() : fs::path(".");
}

fs::path temporary_name(const fs::path& target) {
    return folder_of(target) / (".tevra-" + std::to_string(getpid()) + "-" + target.filename().string());
}

[[noreturn]] void throw_cannot(const std::string& what, const fs::path& path, int error,
                               const std::string& advice) {
    throw CWorkError("cannot " + what + " '" + path.string() + "': " + std::strerror(error) + "; " + advice);
}

/// An existing empty file, so that a folder that cannot be written to shows before the work and not after.
void make_empty_file(const fs::path& temporary, const fs::path& target) {
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0) {
        throw_cannot("write", target, errno, "give an output in a folder that exists and can be written to");
    }
    close(file);
}

bool write_all(int file, std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        }
    }
    return true;
}

} // namespace

void RemovePendingFilesNow() noexcept {
    for (const SSlot& slot : g_slots) {
        if (slot.state == SSlot::EState::pending) {
            unlink(slot.path.data());
        }
    }
}

CPendingFiles::~CPendingFiles() {
    for (const SPending& file : m_pending) {
        std::error_code ignored;
        fs::remove(file.temporary, ignored);
        unregister_path(file.slot);
    }
}

std::string CPendingFiles::Add(const fs::path& target) {
    for (const SPending& file : m_pending) {
        if (file.announced == target) {
            return file.temporary.string();
        }
    }
    std::error_code ignored;
    const fs::file_status status = fs::status(target, ignored);
    if (target.filename().empty() || (fs::exists(status) && !fs::is_regular_file(status))) {
        // Renaming onto a device or a pipe would replace it.
        throw CWorkError("cannot write '" + target.string() +
                         "': it exists and is not a plain file; give another output");
    }
    const fs::path place =
        fs::is_symlink(target, ignored) && fs::exists(status) ? fs::canonical(target) : target;
    const fs::path temporary = temporary_name(place);
    m_pending.reserve(m_pending.size() + 1);
    m_pending.push_back({target, place, temporary, register_path(temporary.string())});
    NameInMessages(temporary.string(), target.string());
    make_empty_file(temporary, target);
    return temporary.string();
}

void CPendingFiles::WriteText(const fs::path& target, std::string_view text) {
    const std::string temporary = Add(target);
    const int file = open(temporary.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    bool done = file >= 0 && write_all(file, text);
    int error = errno;
    if (file >= 0 && close(file) != 0 && done) {
        done = false;
        error = errno;
    }
    if (!done) {
        throw_cannot("write", target, error, "free some space or give another output");
    }
}

void CPendingFiles::RemoveOnCommit(const fs::path& obsolete) {
    m_obsolete.push_back(obsolete);
}

void CPendingFiles::Commit() {
    for (const fs::path& obsolete : m_obsolete) {
        std::error_code error;
        if (fs::remove(obsolete, error); error) {
            throw_cannot("remove the earlier", obsolete, error.value(), "remove it or give another output");
        }
    }
    auto next = m_pending.begin();
    for (; next != m_pending.end(); ++next) {
        if (rename(next->temporary.c_str(), next->place.c_str()) != 0) {
            const int error = errno;
            const fs::path target = next->place;
            m_pending.erase(m_pending.begin(), next);
            throw_cannot("put in place", target, error, "make the place writable or give another output");
        }
        unregister_path(next->slot);
    }
    m_pending.clear();
}

COutputFolder::COutputFolder(const fs::path& path) : m_path(path.lexically_normal()) {
    std::error_code error;
    const fs::file_status status = fs::status(m_path, error);
    if (fs::exists(status) && !fs::is_directory(status)) {
        throw CWorkError("output folder '" + m_path.string() +
                         "' exists and is a file; give the name of a folder");
    }
    std::vector<fs::path> missing;
    for (fs::path at = m_path; !at.empty() && !fs::exists(at, error); at = at.parent_path()) {
        missing.insert(missing.begin(), at);
    }
    std::vector<fs::path>& made = m_made.innermostFirst;
    for (const fs::path& folder : missing) {
        if (fs::create_directory(folder, error)) {
            made.insert(made.begin(), folder);
        } else if (error) {
            throw_cannot("make output folder", m_path, error.value(), "give a folder that can be written to");
        }
    }
}

COutputFolder::SMadeFolders::~SMadeFolders() {
    for (const fs::path& folder : innermostFirst) {
        rmdir(folder.c_str()); // fails for folders that hold something, as it should
    }
}

} // namespace TEVRA::jobs
