// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/ProgressMonitor.h"

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace TEVRA::test {

/// Thrown by a CRecordingMonitor that was told to interrupt.
class CInterrupted : public std::runtime_error {
  public:
    CInterrupted() : std::runtime_error("interrupted by the monitor") {}
};

/// A monitor that writes down what it is told, and cancels or throws when asked to.
class CRecordingMonitor : public IProgressMonitor {
  public:
    static constexpr int NEVER = std::numeric_limits<int>::max();

    /// Everything that happened, in order: "begin 4 text", "step", "poll", "end".
    std::vector<std::string> events;
    int steps = 0;
    int polls = 0;
    int openReports = 0;
    /// Number of the poll (counted from 1) from which on the answer is to cancel.
    int cancelFromPoll = NEVER;
    /// Number of the call of BeginProgress or StepProgress (counted from 1) that throws CInterrupted.
    int throwAtCall = NEVER;

    void BeginProgress(long long announced, const char* text) override {
        events.push_back("begin " + std::to_string(announced) + " " + text);
        count_call();
        ++openReports;
    }
    void StepProgress() override {
        events.emplace_back("step");
        ++steps;
        count_call();
    }
    bool CancelRequested() override {
        events.emplace_back("poll");
        return ++polls >= cancelFromPoll;
    }
    void EndProgress() override {
        events.emplace_back("end");
        --openReports;
    }

    /// Calls of BeginProgress and StepProgress so far.
    int Calls() const noexcept { return m_calls; }

  private:
    void count_call() {
        if (++m_calls >= throwAtCall) {
            throw CInterrupted();
        }
    }

    int m_calls = 0;
};

} // namespace TEVRA::test
