// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Console.h"

#include "apps/Failure.h"
#include "apps/PrintableText.h"

#include <iostream>
#include <vector>

namespace TEVRA::apps {

namespace {

std::string list_of(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) {
        list += (list.empty() ? "" : " ") + name;
    }
    return list;
}

} // namespace

CConsole::CConsole(EVerbosity verbosity)
    : m_verbosity(verbosity),
      m_bar(std::cerr,
            verbosity == EVerbosity::quiet ? EProgressDisplay::hidden : ProgressDisplayOfStandardError()),
      m_installed(m_bar) {}

void CConsole::Say(const std::string& text) {
    if (m_verbosity == EVerbosity::normal) {
        m_bar.Wipe();
        std::cerr << "tevra: " << PrintableText(text) << std::endl;
    }
}

void CConsole::Warn(const std::string& text) {
    m_bar.Wipe();
    PrintWarning(std::cerr, text);
}

void SayEarlierFiles(const jobs::CResultFiles& files, CConsole& console) {
    if (!files.Removed().empty()) {
        console.Say("removed what the earlier run had written besides: " + list_of(files.Removed()));
    }
    if (!files.LeftAlone().empty()) {
        console.Warn(
            "left alone in '" + files.Folder().string() + "': " + list_of(files.LeftAlone()) +
            "; named by the record of an earlier run, but not (or no longer) as that run wrote them, "
            "and not of these results");
    }
}

} // namespace TEVRA::apps
