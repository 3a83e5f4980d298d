// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA::apps {

/// The program `tevra`: reads the command line, runs the command, returns the exit status.
int RunProgram(int argc, const char* const* argv);

/// The program's version, as in "0.1.0".
const char* ProgramVersion() noexcept;

} // namespace TEVRA::apps
