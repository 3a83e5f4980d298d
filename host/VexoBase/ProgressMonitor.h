// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA {

/// Where algorithms report how far they are and ask whether to go on.
///
/// Reports nest: a report begun inside another ends before it. A monitor is asked on the thread that called
/// the algorithm. An exception thrown by a monitor passes through the algorithm to its caller.
class IProgressMonitor {
  public:
    IProgressMonitor() = default;
    IProgressMonitor(const IProgressMonitor&) = delete;
    IProgressMonitor& operator=(const IProgressMonitor&) = delete;
    virtual ~IProgressMonitor();

    /// Starts a report of `steps` steps under the given text.
    virtual void BeginProgress(long long steps, const char* text) = 0;
    virtual void StepProgress() = 0;
    /// True if the user asked to stop.
    virtual bool CancelRequested() = 0;
    virtual void EndProgress() = 0;
};

/// The host's monitor. It is silent and never cancels, until an application installs its own.
class CProgressMonitor {
  public:
    /// The monitor that algorithms hold: passes everything on to the one installed on the calling thread.
    static IProgressMonitor& Obj();
};

/// Installs a monitor for the calling thread as long as the scope lives; the one before comes back then.
class CProgressMonitorScope {
  public:
    explicit CProgressMonitorScope(IProgressMonitor& monitor);
    ~CProgressMonitorScope();
    CProgressMonitorScope(const CProgressMonitorScope&) = delete;
    CProgressMonitorScope& operator=(const CProgressMonitorScope&) = delete;

  private:
    IProgressMonitor* m_previous;
};

/// Begins a report and ends it on every way out of the scope. What the monitor throws at the end passes on,
/// unless another exception is on its way already.
class CProgressReport {
  public:
    CProgressReport(IProgressMonitor& monitor, long long steps, const char* text);
    ~CProgressReport() noexcept(false);
    CProgressReport(const CProgressReport&) = delete;
    CProgressReport& operator=(const CProgressReport&) = delete;

    void Step() { m_monitor.StepProgress(); }

  private:
    IProgressMonitor& m_monitor;
    int m_exceptionsAtBegin;
};

} // namespace TEVRA
