// SPDX-License-Identifier: BSD-3-Clause
#include "stream/FileLock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace TEVRA::stream {
namespace {

/// Belongs to the descriptor, as the locks of whole files do, and not to the process.
ELocking try_record(int file, short kind) noexcept {
    struct flock record {};
    record.l_type = kind;
    record.l_whence = SEEK_SET;
    if (fcntl(file, F_OFD_SETLK, &record) == 0) {
        return ELocking::taken;
    }
    return errno == EACCES || errno == EAGAIN ? ELocking::heldByOther : ELocking::unsupported;
}

ELocking try_whole(int file, int kind, short recordKind) noexcept {
    while (flock(file, kind | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) {
            return ELocking::heldByOther;
        }
        if (errno != EINTR) {
            return try_record(file, recordKind);
        }
    }
    return ELocking::taken;
}

COpenFile open_plain_file(const std::string& path, int flags) {
    // Whoever may write to the folder may have put a pipe or a link there: neither is waited for or followed.
    COpenFile file(open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666));
    struct stat status {};
    if (!file.IsOpen() || fstat(file.Descriptor(), &status) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
    if (!S_ISREG(status.st_mode)) {
        throw std::system_error(EEXIST, std::generic_category());
    }
    return file;
}

std::string own_name() {
    std::array<char, 256> host{};
    gethostname(host.data(), host.size() - 1);
    return "process " + std::to_string(getpid()) + " on " + host.data();
}

/// As the holder has written it, if that can be a name.
std::string holder_of(int file) {
    std::array<char, 300> text{};
    const ssize_t count = pread(file, text.data(), text.size(), 0);
    const std::string_view name(text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    const std::string_view line = name.substr(0, name.find('\n'));
    const bool isName = line.starts_with("process ") &&
                        std::all_of(line.begin(), line.end(), [](char c) { return c >= ' ' && c <= '~'; });
    return isName ? std::string(line) : "another process";
}

void write_holder(int file) noexcept {
    const std::string name = own_name() + "\n";
    // Only a courtesy to whoever meets the lock: nothing depends on it.
    if (ftruncate(file, 0) == 0) {
        [[maybe_unused]] const ssize_t written = pwrite(file, name.data(), name.size(), 0);
    }
}

} // namespace

ELocking TryLock(int file) noexcept {
    return try_whole(file, LOCK_EX, F_WRLCK);
}

ELocking TryShare(int file) noexcept {
    return try_whole(file, LOCK_SH, F_RDLCK);
}

ELocking TryRecordLock(int file) noexcept {
    return try_record(file, F_WRLCK);
}

CFileLock::CFileLock(const std::string& path) : m_path(path) {
    constexpr int ATTEMPTS = 100; // file systems that number files anew at each look would take for ever
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        try {
            m_file = open_plain_file(path, O_RDWR | O_CREAT);
        } catch (const std::system_error& error) {
            if (error.code().value() != EACCES || attempt > 0) {
                throw;
            }
            RemoveAbandonedLock(path); // of another user, perhaps: in a shared folder it may go
            continue;
        }
        if (TryLock(m_file.Descriptor()) == ELocking::heldByOther) {
            throw CLockedError(holder_of(m_file.Descriptor()));
        }
        // Its last holder may have removed it after it was opened: such a lock keeps nobody out.
        if (IsNameOf(path, m_file.Descriptor())) {
            break;
        }
    }
    write_holder(m_file.Descriptor());
}

CFileLock::~CFileLock() {
    unlink(m_path.c_str()); // still locked: nobody else can have it
}

void RemoveAbandonedLock(const std::string& path) {
    const COpenFile file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.IsOpen()) {
        return;
    }
    switch (TryShare(file.Descriptor())) {
    case ELocking::heldByOther:
        throw CLockedError(holder_of(file.Descriptor()));
    case ELocking::taken:
        if (IsNameOf(path, file.Descriptor())) {
            unlink(path.c_str());
        }
        break;
    case ELocking::unsupported:
        break;
    }
}

} // namespace TEVRA::stream
