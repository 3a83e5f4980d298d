// SPDX-License-Identifier: BSD-3-Clause
#include "python/src/Progress.h"

namespace TEVRA::python {

namespace {

constexpr std::chrono::milliseconds INTERVAL{50};
constexpr int TOTAL = 1000;

} // namespace

void CPythonProgress::BeginProgress(long long steps, const char* text) {
    const bool isOutermost = m_progress.IsIdle();
    m_progress.Begin(steps, text);
    tell(isOutermost ? EUrgency::now : EUrgency::whenDue);
}

void CPythonProgress::StepProgress() {
    m_progress.Step();
    tell(EUrgency::whenDue);
}

bool CPythonProgress::CancelRequested() {
    tell(EUrgency::whenDue);
    return false;
}

void CPythonProgress::EndProgress() {
    if (m_progress.Fraction() >= 1.0) {
        tell(EUrgency::now); // the end is never left out
    }
    m_progress.End();
}

void CPythonProgress::tell(EUrgency urgency) {
    const Clock::time_point now = Clock::now();
    if (urgency == EUrgency::whenDue && now < m_tellNext) {
        return;
    }
    m_tellNext = now + INTERVAL;
    const py::gil_scoped_acquire locked;
    try {
        if (PyErr_CheckSignals() != 0) {
            throw py::error_already_set();
        }
        if (!m_function.is_none()) {
            const int done = static_cast<int>(m_progress.Fraction() * TOTAL);
            const py::object answer = m_function(done, TOTAL, m_progress.Text());
            if (answer.is(py::bool_(false))) {
                throw CCancelledError();
            }
        }
    } catch (...) {
        throw CPythonStop(std::current_exception());
    }
}

} // namespace TEVRA::python
