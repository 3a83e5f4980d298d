// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/NestedProgress.h"
#include "python/src/Failure.h"
#include "python/src/Pybind.h"

#include "VexoBase/ProgressMonitor.h"

#include <chrono>
#include <utility>

namespace TEVRA::python {

/// Tells a Python function of the progress, and hears it, Ctrl-C and other signals' handlers ask for a stop.
/// Works without the interpreter's lock; takes it a few times a second.
class CPythonProgress : public IProgressMonitor {
  public:
    /// @param function called as function(done, total, text); None for nobody to tell.
    explicit CPythonProgress(py::object function) : m_function(std::move(function)) {}

    void BeginProgress(long long steps, const char* text) override;
    void StepProgress() override;
    bool CancelRequested() override;
    void EndProgress() override;

  private:
    enum class EUrgency { whenDue, now };
    void tell(EUrgency urgency);

    using Clock = std::chrono::steady_clock;

    py::object m_function;
    jobs::CNestedProgress m_progress;
    Clock::time_point m_tellNext;
};

/// Calls `work` without the interpreter's lock, reporting to `progress`.
/// @throws what `work` throws, and what stopped it.
template <typename WorkT>
void Work(const py::object& progress, const WorkT& work) {
    CPythonProgress monitor(progress);
    try {
        const py::gil_scoped_release unlocked;
        const CProgressMonitorScope scope(monitor);
        work();
    } catch (const CPythonStop& stop) {
        stop.Rethrow();
    }
}

} // namespace TEVRA::python
