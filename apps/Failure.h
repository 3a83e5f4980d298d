// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/Failure.h"

#include <functional>
#include <iosfwd>
#include <stdexcept>
#include <string>

namespace TEVRA::apps {

/// Exit statuses of the program; a run stopped by signal number n ends with 128 + n.
inline constexpr int STATUS_DONE = 0;
inline constexpr int STATUS_FAILED = 1;
inline constexpr int STATUS_WRONG_USAGE = 2;

/// The command line itself is wrong: an option's value, or options that exclude each other.
class CUsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

using jobs::CWorkError;

/// The work has failed and has said why; the program ends with this status. It is no std::exception, so that
/// nothing on the way takes it for one to be reported.
class CAlreadyReported {
  public:
    explicit CAlreadyReported(int status) noexcept : m_status(status) {}
    int Status() const noexcept { return m_status; }

  private:
    int m_status;
};

/// Does the work and turns whatever leaves it as an exception into one line `tevra: error: ...`.
/// @return the program's exit status.
int RunGuarded(const std::function<void()>& work, std::ostream& errors);

/// Writes the line `tevra: error: MESSAGE`, with line breaks in the message replaced by blanks.
void PrintError(std::ostream& errors, const std::string& message);

/// Writes the line `tevra: warning: MESSAGE`, likewise.
void PrintWarning(std::ostream& errors, const std::string& message);

} // namespace TEVRA::apps
