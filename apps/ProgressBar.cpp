// SPDX-License-Identifier: BSD-3-Clause
#include "apps/ProgressBar.h"

#include "apps/Interruption.h"

#include <algorithm>
#include <ostream>
#include <unistd.h>
#include <utility>

namespace TEVRA::apps {

namespace {

constexpr std::chrono::milliseconds PATIENCE{500}; // work shorter than this shows no bar
constexpr std::chrono::milliseconds REDRAW_INTERVAL{100};
constexpr int BAR_WIDTH = 30;
constexpr std::size_t TEXT_WIDTH = 36; // bar, text and per cent fit into 80 columns

std::string bar_line(double fraction, const std::string& text) {
    const int filled = static_cast<int>(fraction * BAR_WIDTH);
    std::string percent = std::to_string(static_cast<int>(fraction * 100.0));
    percent.insert(0, 3 - std::min<std::size_t>(3, percent.size()), ' ');
    return "[" + std::string(filled, '#') + std::string(BAR_WIDTH - filled, ' ') + "] " + percent + " % " +
           text.substr(0, TEXT_WIDTH);
}

} // namespace

EProgressDisplay ProgressDisplayOfStandardError() noexcept {
    return isatty(STDERR_FILENO) == 1 ? EProgressDisplay::shown : EProgressDisplay::hidden;
}

CProgressBar::CProgressBar(std::ostream& terminal, EProgressDisplay display,
                           std::function<Clock::time_point()> now)
    : m_terminal(terminal), m_display(display), m_now(std::move(now)), m_drawNext(m_now() + PATIENCE) {}

CProgressBar::~CProgressBar() {
    Wipe();
}

void CProgressBar::BeginProgress(long long steps, const char* text) {
    ThrowIfInterrupted();
    m_progress.Begin(steps, text);
    draw_if_due();
}

void CProgressBar::StepProgress() {
    ThrowIfInterrupted();
    if (!m_progress.IsIdle()) {
        m_progress.Step();
        draw_if_due();
    }
}

bool CProgressBar::CancelRequested() {
    ThrowIfInterrupted();
    return false;
}

void CProgressBar::EndProgress() {
    m_progress.End();
}

void CProgressBar::Wipe() {
    if (std::exchange(m_visible, false)) {
        m_terminal << "\r\033[K" << std::flush;
    }
}

void CProgressBar::draw_if_due() {
    if (m_display == EProgressDisplay::hidden) {
        return;
    }
    const Clock::time_point now = m_now();
    if (now < m_drawNext) {
        return;
    }
    m_drawNext = now + REDRAW_INTERVAL;
    m_terminal << '\r' << bar_line(m_progress.Fraction(), m_progress.Text()) << "\033[K" << std::flush;
    m_visible = true;
}

} // namespace TEVRA::apps
