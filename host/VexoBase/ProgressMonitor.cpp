// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/ProgressMonitor.h"

#include <exception>

namespace TEVRA {
namespace {

thread_local IProgressMonitor* t_installed = nullptr;

/// Passes everything on to the calling thread's monitor, if there is one.
class CForwardingMonitor : public IProgressMonitor {
  public:
    void BeginProgress(long long steps, const char* text) override {
        if (t_installed != nullptr) {
            t_installed->BeginProgress(steps, text);
        }
    }
    void StepProgress() override {
        if (t_installed != nullptr) {
            t_installed->StepProgress();
        }
    }
    bool CancelRequested() override { return t_installed != nullptr && t_installed->CancelRequested(); }
    void EndProgress() override {
        if (t_installed != nullptr) {
            t_installed->EndProgress();
        }
    }
};

} // namespace

IProgressMonitor::~IProgressMonitor() = default;

IProgressMonitor& CProgressMonitor::Obj() {
    static CForwardingMonitor monitor;
    return monitor;
}

CProgressMonitorScope::CProgressMonitorScope(IProgressMonitor& monitor) : m_previous(t_installed) {
    t_installed = &monitor;
}

CProgressMonitorScope::~CProgressMonitorScope() {
    t_installed = m_previous;
}

CProgressReport::CProgressReport(IProgressMonitor& monitor, long long steps, const char* text)
    : m_monitor(monitor), m_exceptionsAtBegin(std::uncaught_exceptions()) {
    m_monitor.BeginProgress(steps, text);
}

// NOLINTNEXTLINE(bugprone-exception-escape): as documented
CProgressReport::~CProgressReport() noexcept(false) {
    try {
        m_monitor.EndProgress();
    } catch (...) {
        if (std::uncaught_exceptions() == m_exceptionsAtBegin) {
            throw;
        }
    }
}

} // namespace TEVRA
