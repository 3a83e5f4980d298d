// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/ProgressMonitor.h"

#include <exception>

namespace TEVRA::Impl {

/// One progress report: begun on construction, ended on every way out of the scope. What the monitor throws
/// at the end passes on, unless another exception is on its way already.
class CProgressScope {
  public:
    CProgressScope(IProgressMonitor& monitor, long long steps, const char* text) : m_monitor(monitor) {
        m_monitor.BeginProgress(steps, text);
    }
    // NOLINTNEXTLINE(bugprone-exception-escape): as documented
    ~CProgressScope() noexcept(false) {
        try {
            m_monitor.EndProgress();
        } catch (...) {
            if (std::uncaught_exceptions() == m_exceptionsAtBegin) {
                throw;
            }
        }
    }
    CProgressScope(const CProgressScope&) = delete;
    CProgressScope& operator=(const CProgressScope&) = delete;

    void Step() { m_monitor.StepProgress(); }
    /// Advances by one step; false if the user asked to stop.
    bool StepAndGoOn() {
        m_monitor.StepProgress();
        return !m_monitor.CancelRequested();
    }

  private:
    IProgressMonitor& m_monitor;
    int m_exceptionsAtBegin = std::uncaught_exceptions();
};

} // namespace TEVRA::Impl
