// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "apps/ProgressBar.h"
#include "jobs/ResultFiles.h"

#include <string>

namespace TEVRA::apps {

/// How much a command says on standard error besides failures and warnings.
enum class EVerbosity { quiet, normal };

/// What a command says on standard error while it works: a progress bar and lines of their own. As long as it
/// lives, the bar is the progress monitor of the thread.
class CConsole {
  public:
    explicit CConsole(EVerbosity verbosity);

    /// Prints `tevra: TEXT`, unless quiet.
    void Say(const std::string& text);
    /// Prints `tevra: warning: TEXT`, quiet or not.
    void Warn(const std::string& text);
    IProgressMonitor& Progress() noexcept { return m_bar; }

  private:
    EVerbosity m_verbosity;
    CProgressBar m_bar;
    CProgressMonitorScope m_installed;
};

/// Says which files of an earlier run have gone with it, and warns of those that have not.
void SayEarlierFiles(const jobs::CResultFiles& files, CConsole& console);

} // namespace TEVRA::apps
