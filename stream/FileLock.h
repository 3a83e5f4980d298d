// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/OpenFile.h"

#include <stdexcept>
#include <string>

namespace TEVRA::stream {

enum class ELocking {
    taken,       ///< until the descriptor is closed or the process ends, however it ends
    heldByOther, ///< by another process, or by this one through another descriptor
    unsupported  ///< the file system locks no files
};

/// Tries to lock an open file for this descriptor alone; does not wait. File systems that cannot lock whole
/// files lock a record instead.
ELocking TryLock(int file) noexcept;
/// The same shared with others who do so: tells whether anybody has the file for himself.
ELocking TryShare(int file) noexcept;
/// A lock by record only, which is what the above fall back on.
ELocking TryRecordLock(int file) noexcept;

/// Somebody else holds the lock.
class CLockedError : public std::runtime_error {
  public:
    explicit CLockedError(const std::string& holder)
        : std::runtime_error("locked by " + holder), m_holder(holder) {}
    /// "process 4711 on node7", or "another process".
    const std::string& Holder() const noexcept { return m_holder; }

  private:
    std::string m_holder;
};

/// Holds something that other processes may want as well: what a small file stands for, which names its
/// holder and goes with the lock. One that a killed process has left is taken over.
class CFileLock {
  public:
    /// @throws CLockedError; std::system_error if the file cannot be made. Where the file system has no locks
    /// nobody is kept out.
    explicit CFileLock(const std::string& path);
    ~CFileLock();
    CFileLock(const CFileLock&) = delete;
    CFileLock& operator=(const CFileLock&) = delete;

    const std::string& Path() const noexcept { return m_path; }

  private:
    std::string m_path;
    COpenFile m_file;
};

/// Removes the file of a lock whose holder has ended; nothing if there is none.
/// @throws CLockedError if the holder is alive.
void RemoveAbandonedLock(const std::string& path);

} // namespace TEVRA::stream
