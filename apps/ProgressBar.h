// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/NestedProgress.h"

#include "VexoBase/ProgressMonitor.h"

#include <chrono>
#include <functional>
#include <iosfwd>

namespace TEVRA::apps {

/// Whether there is someone to watch a progress bar.
enum class EProgressDisplay { hidden, shown };

/// `shown` if standard error is a terminal.
EProgressDisplay ProgressDisplayOfStandardError() noexcept;

/// The command line's progress monitor: one line that grows on a terminal and vanishes when the work is done.
///
/// It appears only for work that takes longer than half a second. Reports within reports share one bar: an
/// inner report fills the current step of the one around it, and the innermost text is shown. A stop asked
/// for by a signal leaves BeginProgress, StepProgress and CancelRequested as CInterrupted.
class CProgressBar : public IProgressMonitor {
  public:
    using Clock = std::chrono::steady_clock;

    explicit CProgressBar(std::ostream& terminal, EProgressDisplay display,
                          std::function<Clock::time_point()> now = &Clock::now);
    ~CProgressBar() override;

    void BeginProgress(long long steps, const char* text) override;
    void StepProgress() override;
    bool CancelRequested() override;
    void EndProgress() override;

    /// Wipes the bar off the terminal, so that something else can be written there; it comes back with the
    /// next step.
    void Wipe();

  private:
    void draw_if_due();

    std::ostream& m_terminal;
    EProgressDisplay m_display;
    std::function<Clock::time_point()> m_now;
    jobs::CNestedProgress m_progress;
    Clock::time_point m_drawNext;
    bool m_visible = false;
};

} // namespace TEVRA::apps
