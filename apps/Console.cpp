// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Console.h"

#include "apps/Failure.h"

#include <iostream>

namespace TEVRA::apps {

CConsole::CConsole(EVerbosity verbosity)
    : m_verbosity(verbosity),
      m_bar(std::cerr,
            verbosity == EVerbosity::quiet ? EProgressDisplay::hidden : ProgressDisplayOfStandardError()),
      m_installed(m_bar) {}

void CConsole::Say(const std::string& text) {
    if (m_verbosity == EVerbosity::normal) {
        m_bar.Wipe();
        std::cerr << "tevra: " << text << std::endl;
    }
}

void CConsole::Warn(const std::string& text) {
    m_bar.Wipe();
    PrintWarning(std::cerr, text);
}

} // namespace TEVRA::apps
