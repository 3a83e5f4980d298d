// SPDX-License-Identifier: BSD-3-Clause
#include "apps/ProgressBar.h"

#include "apps/Interruption.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::apps {
namespace {

using namespace std::chrono_literals;
using testing::EndsWith;
using testing::HasSubstr;

class ProgressBar : public testing::Test {
  protected:
    CProgressBar make_bar(EProgressDisplay display = EProgressDisplay::shown) {
        return CProgressBar(m_terminal, display, [this] { return m_now; });
    }
    /// What was drawn last.
    std::string last_line() const {
        const std::string text = m_terminal.str();
        const std::size_t start = text.rfind('\r');
        return start == std::string::npos ? "" : text.substr(start + 1);
    }

    std::ostringstream m_terminal;
    CProgressBar::Clock::time_point m_now{};
};

TEST_F(ProgressBar, ShowsNothingForShortWork) {
    CProgressBar bar = make_bar();
    bar.BeginProgress(10, "smoothing");
    for (int i = 0; i < 10; ++i) {
        m_now += 49ms;
        bar.StepProgress();
    }
    bar.EndProgress();
    bar.Wipe();
    EXPECT_EQ(m_terminal.str(), "");
}

TEST_F(ProgressBar, ShowsTextAndShareOfLongWork) {
    CProgressBar bar = make_bar();
    bar.BeginProgress(4, "smoothing");
    m_now += 1s;
    bar.StepProgress();
    EXPECT_THAT(last_line(), HasSubstr("]  25 % smoothing"));
}

TEST_F(ProgressBar, IsFullAfterTheLastStepWhateverTheirNumber) {
    for (int steps = 1; steps <= 200; ++steps) {
        CProgressBar bar = make_bar();
        bar.BeginProgress(steps, "smoothing");
        for (int i = 0; i < steps; ++i) {
            m_now += 1s;
            bar.StepProgress();
        }
        ASSERT_THAT(last_line(), HasSubstr("] 100 % smoothing")) << steps;
    }
}

TEST_F(ProgressBar, ShowsNothingAtAllWhereNobodyWatches) {
    CProgressBar bar = make_bar(EProgressDisplay::hidden);
    bar.BeginProgress(4, "smoothing");
    m_now += 10s;
    bar.StepProgress();
    bar.EndProgress();
    bar.Wipe();
    EXPECT_EQ(m_terminal.str(), "");
}

TEST_F(ProgressBar, AnInnerReportFillsTheStepOfTheOuterOne) {
    CProgressBar bar = make_bar();
    m_now += 1s;
    bar.BeginProgress(2, "outer");
    bar.StepProgress();
    bar.BeginProgress(2, "inner");
    m_now += 1s;
    bar.StepProgress();
    EXPECT_THAT(last_line(), HasSubstr("]  75 % inner"));
    bar.EndProgress();
    m_now += 1s;
    bar.StepProgress();
    EXPECT_THAT(last_line(), HasSubstr("] 100 % outer"));
}

TEST_F(ProgressBar, NeverGoesBackWithinTheOutermostReport) {
    CProgressBar bar = make_bar();
    bar.BeginProgress(2, "outer");
    for (int repeat = 0; repeat < 2; ++repeat) {
        bar.BeginProgress(1, "inner");
        m_now += 1s;
        bar.StepProgress();
        EXPECT_THAT(last_line(), HasSubstr("]  50 %"));
        bar.EndProgress();
    }
}

TEST_F(ProgressBar, StartsAnewWithTheNextReport) {
    CProgressBar bar = make_bar();
    m_now += 1s;
    bar.BeginProgress(1, "first");
    bar.StepProgress();
    bar.EndProgress();
    m_now += 1s;
    bar.BeginProgress(4, "second");
    EXPECT_THAT(last_line(), HasSubstr("]   0 % second"));
}

TEST_F(ProgressBar, IsWipedOffAtTheEnd) {
    {
        CProgressBar bar = make_bar();
        m_now += 1s;
        bar.BeginProgress(1, "smoothing");
    }
    EXPECT_THAT(m_terminal.str(), EndsWith("\r\033[K"));
}

TEST_F(ProgressBar, DrawsAtMostTenTimesASecond) {
    CProgressBar bar = make_bar();
    m_now += 1s;
    bar.BeginProgress(1000, "smoothing");
    const std::size_t before = m_terminal.str().size();
    for (int i = 0; i < 99; ++i) {
        m_now += 1ms;
        bar.StepProgress();
    }
    EXPECT_EQ(m_terminal.str().size(), before);
    m_now += 1ms;
    bar.StepProgress();
    EXPECT_GT(m_terminal.str().size(), before);
}

TEST_F(ProgressBar, StaysFullWhenMoreStepsComeThanAnnounced) {
    CProgressBar bar = make_bar();
    bar.BeginProgress(0, "smoothing");
    m_now += 1s;
    bar.StepProgress();
    bar.StepProgress();
    EXPECT_THAT(last_line(), HasSubstr("] 100 % smoothing"));
}

TEST_F(ProgressBar, FitsIntoEightyColumnsWhateverTheText) {
    CProgressBar bar = make_bar();
    m_now += 1s;
    bar.BeginProgress(1, std::string(200, 'x').c_str());
    const std::string line = last_line();
    EXPECT_LT(line.find('\033'), 80U);
}

TEST_F(ProgressBar, ThrowsFromEveryQuestionOnceASignalAskedToStop) {
    const CInterruptionScope scope;
    CProgressBar bar = make_bar();
    bar.BeginProgress(4, "smoothing");
    EXPECT_FALSE(bar.CancelRequested());
    std::raise(SIGINT);
    EXPECT_THROW(bar.StepProgress(), CInterrupted);
    EXPECT_THROW(bar.CancelRequested(), CInterrupted);
    EXPECT_THROW(bar.BeginProgress(1, "inner"), CInterrupted);
    EXPECT_NO_THROW(bar.EndProgress());
}

} // namespace
} // namespace TEVRA::apps
