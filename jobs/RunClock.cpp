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

CRunClock::CRunClock() : m_startTime(utc_now()), m_start(std::chrono::steady_clock::now()) {}

double CRunClock::Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
}

} // namespace TEVRA::jobs
