// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "e2e/ProgramRun.h"

#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::test {

/// How many processes have recorded, in this folder or one within, that their slices are smooth, so that another run may
/// go on with them.
int ResumeRecords(const std::filesystem::path& folder);

/// What starts a shell command for every process: by mpirun if there are several. In the command "$@" is the program
/// with its arguments.
std::vector<std::string> ShellLauncher(int processes, const std::string& command);

/// A run with `--resume` that ends before its results are there.
struct SKilledRun {
    std::filesystem::path workingFolder; ///< results go into `out` in it
    std::vector<std::string> arguments;
    int signal = SIGKILL; ///< sent to the last process
    int processes = 1;
    std::string command = "exec \"$@\""; ///< as of ShellLauncher
};

/// Starts the run, and sends it the signal once all of its processes have recorded that their slices are smooth. On a
/// busy machine a run may be over, or at its last files, before the signal arrives: it is started again then.
/// @return the run that was ended with all of its records left; none after some attempts.
std::optional<SOutcome> RunUntilKilled(const SKilledRun& run);

} // namespace TEVRA::test
