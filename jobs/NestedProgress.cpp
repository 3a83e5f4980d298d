// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/NestedProgress.h"

#include <algorithm>

namespace TEVRA::jobs {

void CNestedProgress::Begin(long long steps, const char* text) {
    m_reports.push_back({std::max(steps, 1LL), 0, text != nullptr ? text : ""});
    update();
}

void CNestedProgress::Step() {
    if (!m_reports.empty()) {
        SReport& report = m_reports.back();
        report.done = std::min(report.done + 1, report.steps);
        update();
    }
}

void CNestedProgress::End() {
    if (!m_reports.empty()) {
        m_reports.pop_back();
    }
    if (m_reports.empty()) {
        m_fraction = 0.0;
    }
}

void CNestedProgress::update() {
    double done = 0.0;
    double share = 1.0; // of the whole that the report fills
    for (const SReport& report : m_reports) {
        const auto steps = static_cast<double>(report.steps);
        done +=
            share * (static_cast<double>(report.done) / steps); // in this order n of n steps are exactly 1
        share /= steps;
    }
    m_fraction = std::max(m_fraction, std::min(done, 1.0));
}

} // namespace TEVRA::jobs
