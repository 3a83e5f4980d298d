// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace TEVRA::test {

/// What a run of the program left behind. A run ended by signal n has the status 128 + n.
struct SOutcome {
    int status = -1;
    std::string out;
    std::string err;
    std::size_t peakBytes = 0; ///< most memory that was resident at a time
};

/// Circumstances of a run.
struct SCircumstances {
    std::filesystem::path workingFolder = "/";
    /// File that standard output goes to; it is collected if there is none.
    std::optional<std::string> standardOutput{};
    /// Standard output is a pipe that nobody reads any more.
    bool standardOutputIsBroken = false;
    /// Standard output is closed before the program starts.
    bool standardOutputIsClosed = false;
    /// Largest file that may be written, in bytes: a disk that is full from there on.
    std::optional<long> fileSizeLimit{};
    /// Words of a program that starts the program, as in {"mpirun", "-n", "2"}.
    std::vector<std::string> launcher{};
};

/// The program `tevra`, started; standard input is empty.
class CProgramRun {
  public:
    explicit CProgramRun(const std::vector<std::string>& arguments, const SCircumstances& circumstances = {});
    ~CProgramRun();
    CProgramRun(const CProgramRun&) = delete;
    CProgramRun& operator=(const CProgramRun&) = delete;

    void Signal(int signal) const;
    /// True once the program has ended.
    bool HasEnded() const;
    /// Waits for the end. Call it once.
    SOutcome Wait();

  private:
    pid_t m_process = -1;
    int m_out = -1;
    int m_err = -1;
};

/// Runs `tevra` with these arguments to its end.
SOutcome RunTevra(const std::vector<std::string>& arguments, const SCircumstances& circumstances = {});

/// Runs `tevra` with these arguments; expects the exit status, nothing on standard output, one line of error
/// that holds all parts, and the same entries in the working folder as before.
void ExpectRefusal(const std::vector<std::string>& arguments, int status,
                   const std::vector<std::string>& parts, const SCircumstances& circumstances);

} // namespace TEVRA::test
