// SPDX-License-Identifier: BSD-3-Clause
#include "stream/OpenFile.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace TEVRA::stream {

COpenFile::~COpenFile() {
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

COpenFile::COpenFile(COpenFile&& other) noexcept : m_descriptor(other.Release()) {}

COpenFile& COpenFile::operator=(COpenFile&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

int COpenFile::Release() noexcept {
    return std::exchange(m_descriptor, -1);
}

std::string RandomWord() {
    constexpr const char* DIGITS = "0123456789abcdef";
    std::array<unsigned char, 8> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw std::system_error(errno, std::generic_category());
    }
    std::string word;
    for (const unsigned byte : bytes) {
        word += DIGITS[byte / 16];
        word += DIGITS[byte % 16];
    }
    return word;
}

SNewFile MakeNewFile(const std::string& start, const std::string& end, mode_t mode) {
    SNewFile made{start + RandomWord() + end, {}};
    made.file = COpenFile(open(made.path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    if (!made.file.IsOpen()) {
        throw std::system_error(errno, std::generic_category());
    }
    return made;
}

bool IsNameOf(const std::string& path, int file) noexcept {
    struct stat named {};
    struct stat opened {};
    return lstat(path.c_str(), &named) == 0 && fstat(file, &opened) == 0 && named.st_dev == opened.st_dev &&
           named.st_ino == opened.st_ino;
}

int SyncFolder(const std::string& folder) noexcept {
    const COpenFile opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Many network file systems know no such thing: only a disk that fails is a failure.
    return opened.IsOpen() && fsync(opened.Descriptor()) != 0 && (errno == EIO || errno == ENOSPC) ? errno
                                                                                                   : 0;
}

} // namespace TEVRA::stream
