// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <chrono>
#include <string>

namespace TEVRA::jobs {

/// When a run began and how long it has taken.
class CRunClock {
  public:
    CRunClock();

    /// UTC, ISO 8601, as in "2030-01-02T03:04:05Z".
    const std::string& StartTime() const noexcept { return m_startTime; }
    double Seconds() const;

  private:
    std::string m_startTime;
    std::chrono::steady_clock::time_point m_start;
};

} // namespace TEVRA::jobs
