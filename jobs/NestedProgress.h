// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <vector>

namespace TEVRA::jobs {

/// Reports within reports as one: an inner report fills the current step of the one around it, and the
/// innermost text counts.
class CNestedProgress {
  public:
    void Begin(long long steps, const char* text);
    void Step();
    void End();

    bool IsIdle() const noexcept { return m_reports.empty(); }
    /// Share of the outermost report that is done, [0, 1]; never goes back within it.
    double Fraction() const noexcept { return m_fraction; }
    /// Of the innermost report; empty if there is none.
    std::string Text() const { return m_reports.empty() ? std::string() : m_reports.back().text; }

  private:
    struct SReport {
        long long steps;
        long long done;
        std::string text;
    };
    void update();

    std::vector<SReport> m_reports; // outermost first
    double m_fraction = 0.0;
};

} // namespace TEVRA::jobs
