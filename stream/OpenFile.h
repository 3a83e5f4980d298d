// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <sys/types.h>

namespace TEVRA::stream {

/// An open file, closed with the object.
class COpenFile {
  public:
    COpenFile() = default;
    /// Takes over a descriptor, or -1 for none.
    explicit COpenFile(int descriptor) noexcept : m_descriptor(descriptor) {}
    ~COpenFile();
    COpenFile(COpenFile&& other) noexcept;
    COpenFile& operator=(COpenFile&& other) noexcept;
    COpenFile(const COpenFile&) = delete;
    COpenFile& operator=(const COpenFile&) = delete;

    bool IsOpen() const noexcept { return m_descriptor >= 0; }
    int Descriptor() const noexcept { return m_descriptor; }
    /// Gives the descriptor to the caller, who closes it.
    int Release() noexcept;

  private:
    int m_descriptor = -1;
};

/// 16 hexadecimal digits that nobody can foretell. @throws std::system_error if the system has none.
std::string RandomWord();

/// A file that was not there before.
struct SNewFile {
    std::string path;
    COpenFile file; ///< for reading and writing
};

/// Makes a file with a random word between `start`, its path included, and `end`. Nothing that has such a
/// name is opened or overwritten, be it a link. @throws std::system_error
SNewFile MakeNewFile(const std::string& start, const std::string& end, mode_t mode);

/// Whether `path` still is the name of the open file, and no symbolic link to it.
bool IsNameOf(const std::string& path, int file) noexcept;

/// Brings the names in a folder onto the disk, where the file system can.
/// @return 0, or the error of a disk that fails.
int SyncFolder(const std::string& folder) noexcept;

} // namespace TEVRA::stream
