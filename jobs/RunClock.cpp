// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/RunClock.h"

#include <array>
#include <ctime>

namespace TEVRA::jobs {

namespace {

std::string utc_now() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

} // namespace

CRunClock::CRunClock() : m_startTime(utc_now()), m_start(Clock::now()) {}

double CRunClock::Seconds() const {
    return std::chrono::duration<double>(m_pausedSince.value_or(Clock::now()) - m_start).count();
}

void CRunClock::Pause() {
    if (!m_pausedSince) {
        m_pausedSince = Clock::now();
    }
}

void CRunClock::Resume() {
    if (m_pausedSince) {
        m_start += Clock::now() - *m_pausedSince;
        m_pausedSince.reset();
    }
}

} // namespace TEVRA::jobs
