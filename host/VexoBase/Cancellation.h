// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <stdexcept>

namespace TEVRA {

/// The progress monitor has asked to stop.
class CCancelled : public std::runtime_error {
  public:
    CCancelled() : std::runtime_error("Stopped: the progress monitor has asked for it.") {}
};

/// Asks the calling thread's monitor whether to go on.
/// @throws CCancelled if not, and what the monitor throws.
void GoOnOrThrow();

/// Asks the same in work without steps of its own: seldom enough to cost next to nothing, often enough for
/// somebody who waits.
class CPolls {
  public:
    /// @param workBetween two questions, in whatever the work is counted in: some milliseconds of it.
    explicit CPolls(long long workBetween) noexcept : m_workBetween(workBetween) {}

    /// @param work done since the last call, 0 or more.
    void Add(long long work) {
        m_work += work;
        if (m_work >= m_workBetween) {
            m_work = 0;
            GoOnOrThrow();
        }
    }

  private:
    long long m_workBetween;
    long long m_work = 0;
};

} // namespace TEVRA
