// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/PendingFile.h"

#include "jobs/AbandonedFiles.h"
#include "jobs/Failure.h"
#include "jobs/MessageNames.h"
#include "stream/OpenFile.h"
#include "stream/ScratchStore.h"

#include "VexoBase/Cancellation.h"
#include "VexoBase/ProgressMonitor.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace TEVRA::jobs {

namespace {

namespace fs = std::filesystem;

constexpr const char* LOCK_NAME = ".tevra-lock";

// Paths for the signal handler, which may neither allocate nor lock: memory that is never freed.
struct SSlot {
    enum class EState { free, taken, pending };
    std::atomic<EState> state{EState::free};
    std::array<char, PATH_MAX> path{};
};
static_assert(std::atomic<SSlot::EState>::is_always_lock_free, "read in a signal handler");
std::array<SSlot, 64> g_slots;

std::size_t register_path(const std::string& path) {
    if (path.size() >= PATH_MAX) {
        throw CWorkError("cannot write '" + path + "': the name is too long; give a shorter one");
    }
    for (std::size_t i = 0; i < g_slots.size(); ++i) {
        auto expected = SSlot::EState::free;
        if (g_slots[i].state.compare_exchange_strong(expected, SSlot::EState::taken)) {
            g_slots[i].path[path.copy(g_slots[i].path.data(), PATH_MAX)] = 0;
            g_slots[i].state = SSlot::EState::pending;
            return i;
        }
    }
    throw CWorkError("cannot write '" + path + "': this process writes " + std::to_string(g_slots.size()) +
                     " files already; let some of them be finished first");
}

void unregister_path(std::size_t slot) noexcept {
    g_slots[slot].state = SSlot::EState::free;
}

fs::path folder_of(const fs::path& target) {
    return target.has_parent_path() ? target.parent_path() : fs::path(".");
}

[[noreturn]] void throw_cannot(const std::string& what, const fs::path& path, int error,
                               const std::string& advice) {
    throw CWorkError("cannot " + what + " '" + path.string() + "': " + std::strerror(error) + "; " + advice);
}

/// An existing empty file, so that a folder that cannot be written to shows before the work and not after.
stream::SNewFile make_temporary_file(const fs::path& place, const fs::path& target) {
    try {
        return MakeTemporaryFile(place);
    } catch (const std::system_error& error) {
        throw_cannot("write", target, error.code().value(),
                     "give an output in a folder that exists and can be written to");
    }
}

/// What a slow disk takes in a fraction of a second.
constexpr off_t PIECE_BYTES = off_t{1} << 24;

/// Asks on the way whether to go on.
bool write_all(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written =
            write(file, text.data(), std::min(text.size(), static_cast<std::size_t>(PIECE_BYTES)));
        if (written < 0 && errno != EINTR) {
            return false;
        }
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        }
        if (written == PIECE_BYTES) {
            GoOnOrThrow();
        }
    }
    return true;
}

long long pieces_of(int file) {
    struct stat status {};
    const off_t bytes = fstat(file, &status) == 0 ? status.st_size : 0;
    return (bytes + PIECE_BYTES - 1) / PIECE_BYTES;
}

/// Brings a piece of a file onto the disk, where the file system can do that: `fsync` has less to do then, which nobody
/// can stop. @return 0, or the error of a disk that fails; it is told but once.
int sync_piece(int file, long long piece) noexcept {
    const int failed =
        sync_file_range(file, piece * PIECE_BYTES, PIECE_BYTES,
                        SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER);
    return failed != 0 && (errno == EIO || errno == ENOSPC || errno == EDQUOT) ? errno : 0;
}

/// Files on their way into places where earlier ones may be: all of it, or nothing of it.
class CReplacement {
  public:
    CReplacement() = default;
    ~CReplacement() {
        if (!m_isFinished) {
            undo();
        }
    }
    CReplacement(const CReplacement&) = delete;
    CReplacement& operator=(const CReplacement&) = delete;

    /// Takes what is in a place away for the time being. @return 0, or the error.
    int TakeAway(const fs::path& place) {
        std::error_code ignored;
        const fs::file_status status = fs::symlink_status(place, ignored);
        if (!fs::is_regular_file(status) && !fs::is_symlink(status)) {
            return fs::exists(status) ? EISDIR : 0;
        }
        SStep step = new_step(place);
        if (rename(place.c_str(), step.earlier.c_str()) != 0) {
            return errno;
        }
        m_steps.push_back(std::move(step));
        return 0;
    }

    /// Puts a file into its place. @return 0, or the error.
    int Put(const fs::path& file, const fs::path& place) {
        std::error_code ignored;
        SStep step;
        step.place = place;
        if (fs::is_regular_file(fs::symlink_status(place, ignored))) {
            step = new_step(place);
            // With a second name the place is never empty. Not all file systems know such.
            if (link(place.c_str(), step.earlier.c_str()) != 0 &&
                rename(place.c_str(), step.earlier.c_str()) != 0) {
                return errno;
            }
        }
        const int error = rename(file.c_str(), place.c_str()) == 0 ? 0 : errno;
        step.isReplaced = error == 0;
        m_steps.push_back(std::move(step));
        return error;
    }

    /// All is in its place: what was there before goes.
    void Finish() noexcept {
        m_isFinished = true;
        for (const SStep& step : m_steps) {
            if (!step.earlier.empty()) {
                unlink(step.earlier.c_str());
            }
        }
    }

  private:
    struct SStep {
        fs::path place{};
        fs::path earlier{}; // another name of what was in the place; empty if there was nothing
        bool isReplaced = false;
        stream::COpenFile held{}; // so that nobody takes what was there for abandoned
    };

    static SStep new_step(const fs::path& place) {
        SStep step;
        step.place = place;
        step.earlier =
            folder_of(place) / (TEMPORARY_START + stream::RandomWord() + "-" + place.filename().string());
        step.held = stream::COpenFile(open(place.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (step.held.IsOpen()) {
            stream::TryLock(step.held.Descriptor());
        }
        return step;
    }

    void undo() noexcept {
        // What cannot be undone stays.
        std::for_each(m_steps.rbegin(), m_steps.rend(), [](const SStep& step) {
            if (!step.earlier.empty()) {
                static_cast<void>(rename(step.earlier.c_str(), step.place.c_str()));
                unlink(
                    step.earlier.c_str()); // renaming one name of a file to another of its names does nothing
            } else if (step.isReplaced) {
                unlink(step.place.c_str());
            }
        });
    }

    std::vector<SStep> m_steps;
    bool m_isFinished = false;
};

} // namespace

void RequireRoom(const std::vector<SRoomOfFile>& files) {
    std::vector<stream::COpenFile> taken;
    int error = 0;
    std::size_t at = 0;
    for (; at < files.size() && error == 0; ++at) {
        taken.emplace_back(open(files[at].path.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC));
        const int file = taken.back().Descriptor();
        const auto length = static_cast<off_t>(files[at].bytes);
        const bool isTaken = taken.back().IsOpen() &&
                             (length == 0 || fallocate(file, 0, 0, length) == 0 ||
                              ((errno == EOPNOTSUPP || errno == ENOSYS) && ftruncate(file, length) == 0));
        error = isTaken ? 0 : errno;
    }
    for (const stream::COpenFile& file : taken) {
        if (file.IsOpen() && ftruncate(file.Descriptor(), 0) != 0 && error == 0) {
            error = errno;
        }
    }
    if (error != 0) {
        throw CWorkError("there is no room for '" + files[at - 1].path + "' (" +
                         stream::BytesText(files[at - 1].bytes) + "): " + std::strerror(error) +
                         "; free some space or give another output");
    }
}

void RemovePendingFilesNow() noexcept {
    for (const SSlot& slot : g_slots) {
        if (slot.state == SSlot::EState::pending) {
            unlink(slot.path.data());
        }
    }
}

CInputFiles::CInputFiles(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        std::error_code error;
        const fs::path file = fs::exists(path, error) ? path : path.substr(0, path.find(":/"));
        add(file);
        for (fs::directory_iterator entry(file, error), end; !error && entry != end; entry.increment(error)) {
            add(entry->path());
        }
    }
}

void CInputFiles::add(const fs::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) == 0) {
        m_files.emplace(status.st_dev, status.st_ino);
    }
}

bool CInputFiles::Contain(const fs::path& file) const {
    struct stat status {};
    return stat(file.c_str(), &status) == 0 && m_files.contains({status.st_dev, status.st_ino});
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
    if (m_inputs.Contain(target)) {
        throw CWorkError("cannot write '" + target.string() +
                         "': it is one of the files to be read; give another output");
    }
    const fs::path place =
        fs::is_symlink(target, ignored) && fs::exists(status) ? fs::canonical(target) : target;
    if (m_folders.insert(folder_of(place)).second) {
        RemoveAbandonedFiles(folder_of(place));
    }
    m_pending.reserve(m_pending.size() + 1);
    stream::SNewFile temporary = make_temporary_file(place, target);
    try {
        const std::size_t slot = register_path(temporary.path);
        m_pending.push_back({target, place, temporary.path, std::move(temporary.file), slot});
    } catch (...) {
        unlink(temporary.path.c_str());
        throw;
    }
    NameInMessages(temporary.path, target.string());
    return temporary.path;
}

void CPendingFiles::WriteText(const fs::path& target, std::string_view text) {
    const std::string temporary = Add(target);
    stream::COpenFile file(open(temporary.c_str(), O_WRONLY | O_TRUNC | O_NOFOLLOW | O_CLOEXEC));
    const bool isWritten = file.IsOpen() && write_all(file.Descriptor(), text);
    int error = isWritten ? 0 : errno;
    if (file.IsOpen() && close(file.Release()) != 0 && isWritten) {
        error = errno;
    }
    if (error != 0) {
        throw_cannot("write", target, error, "free some space or give another output");
    }
}

void CPendingFiles::RemoveOnCommit(const fs::path& obsolete) {
    m_folders.insert(folder_of(obsolete));
    m_obsolete.push_back(obsolete);
}

void CPendingFiles::sync_files() const {
    const auto cannot_write = [](const SPending& file, int error) {
        throw_cannot("write", file.announced, error, "free some space or give another output");
    };
    long long pieces = 0;
    for (const SPending& file : m_pending) {
        pieces += pieces_of(file.file.Descriptor()) + 1;
    }
    CProgressReport progress(CProgressMonitor::Obj(), pieces, "Bringing results onto the disk...");
    for (const SPending& file : m_pending) {
        const int descriptor = file.file.Descriptor();
        const long long all = pieces_of(descriptor);
        for (long long piece = 0; piece < all; ++piece) {
            if (const int error = sync_piece(descriptor, piece); error != 0) {
                cannot_write(file, error);
            }
            progress.Step();
        }
        // Some file systems have nothing to bring onto a disk.
        if (fsync(descriptor) != 0 && errno != EINVAL && errno != EROFS && errno != ENOTSUP) {
            cannot_write(file, errno);
        }
        progress.Step();
    }
}

void CPendingFiles::sync_folders() const {
    for (const fs::path& folder : m_folders) {
        if (const int error = stream::SyncFolder(folder.string()); error != 0) {
            throw_cannot("write into", folder, error, "check the disk or give another output");
        }
    }
}

void CPendingFiles::Commit() {
    sync_files(); // the last chance to stop
    CReplacement replacement;
    const auto put = [&replacement](const SPending& file) {
        if (const int error = replacement.Put(file.temporary, file.place); error != 0) {
            throw_cannot("put in place", file.place, error, "make the place writable or give another output");
        }
    };
    const auto take_away = [&replacement](const fs::path& place) {
        if (const int error = replacement.TakeAway(place); error != 0) {
            throw_cannot("remove the earlier", place, error, "remove it or give another output");
        }
    };
    const auto last = m_pending.end() - (m_pending.empty() ? 0 : 1);
    if (last != m_pending.end() && m_pending.size() + m_obsolete.size() > 1) {
        take_away(last->place);
        sync_folders();
    }
    std::for_each(m_obsolete.begin(), m_obsolete.end(), take_away);
    std::for_each(m_pending.begin(), last, put);
    sync_folders();
    std::for_each(last, m_pending.end(), put);
    sync_folders();
    replacement.Finish();
    for (const SPending& file : m_pending) {
        unregister_path(file.slot);
    }
    m_pending.clear();
    m_obsolete.clear();
}

/// A second signal removes the file of the lock as it does pending ones.
class COutputFolder::CGuard {
  public:
    explicit CGuard(const std::string& path) : m_lock(path), m_slot(register_path(path)) {}
    ~CGuard() { unregister_path(m_slot); }
    CGuard(const CGuard&) = delete;
    CGuard& operator=(const CGuard&) = delete;

  private:
    stream::CFileLock m_lock;
    std::size_t m_slot;
};

void COutputFolder::SDeleteGuard::operator()(CGuard* guard) const noexcept {
    delete guard;
}

COutputFolder::COutputFolder(const fs::path& path) : m_path(path.lexically_normal()) {
    if (path.empty()) {
        throw CWorkError("the output folder has an empty name; give the name of a folder");
    }
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
    try {
        m_guard.reset(new CGuard((m_path / LOCK_NAME).string()));
    } catch (const stream::CLockedError& locked) {
        throw CWorkError("another run writes into '" + m_path.string() + "' (" + locked.Holder() +
                         "); wait until it has ended, or give another output folder");
    } catch (const std::system_error& failure) {
        throw_cannot("write into", m_path, failure.code().value(), "give a folder that can be written to");
    }
}

COutputFolder::SMadeFolders::~SMadeFolders() {
    for (const fs::path& folder : innermostFirst) {
        rmdir(folder.c_str()); // fails for folders that hold something, as it should
    }
}

} // namespace TEVRA::jobs
