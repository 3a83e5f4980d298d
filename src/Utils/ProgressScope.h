// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/ProgressMonitor.h"

namespace TEVRA::Impl {

/// One progress report: begun on construction, ended on every way out of the scope.
class CProgressScope {
  public:
    CProgressScope(IProgressMonitor& monitor, long long steps, const char* text) : m_monitor(monitor) {
        m_monitor.BeginProgress(steps, text);
    }
    ~CProgressScope() {
        try {
            m_monitor.EndProgress();
        } catch (
            ...) { // NOLINT(bugprone-empty-catch): a destructor must not throw; the report is over anyway
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
};

} // namespace TEVRA::Impl
