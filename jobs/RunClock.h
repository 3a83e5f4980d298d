// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace TEVRA::jobs {

/// When a run began and how long it has taken, pauses left out.
class CRunClock {
  public:
    CRunClock();

    /// UTC, ISO 8601, as in "2030-01-02T03:04:05Z".
    const std::string& StartTime() const noexcept { return m_startTime; }
    double Seconds() const;

    /// Until `Resume` no time passes.
    void Pause();
    void Resume();

  private:
    using Clock = std::chrono::steady_clock;

    std::string m_startTime;
    Clock::time_point m_start;
    std::optional<Clock::time_point> m_pausedSince;
};

} // namespace TEVRA::jobs
