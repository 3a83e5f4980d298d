// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA::apps {

/// Thrown where a stop asked for by a signal is noticed. It is no std::exception, so that nothing on the way
/// takes it for a failure.
class CInterrupted {
  public:
    explicit CInterrupted(int signal) noexcept : m_signal(signal) {}
    int Signal() const noexcept { return m_signal; }

  private:
    int m_signal;
};

/// As long as it lives, SIGINT, SIGTERM and SIGHUP ask for a stop instead of ending the process. A second
/// such signal removes the pending files and ends the process at once.
class CInterruptionScope {
  public:
    CInterruptionScope();
    ~CInterruptionScope();
    CInterruptionScope(const CInterruptionScope&) = delete;
    CInterruptionScope& operator=(const CInterruptionScope&) = delete;
};

/// True once a signal has asked for a stop.
bool InterruptionRequested() noexcept;

/// @throws CInterrupted once a signal has asked for a stop.
void ThrowIfInterrupted();

} // namespace TEVRA::apps
