// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace TEVRA::apps {

/// A sub-command: its place in the command line, and what it does once the command line is read.
///
/// Adding it only declares its options; `run` is called after the parser has filled them in. It reports
/// failures by throwing (see Failure.h), writes results asked for to standard output and all else to standard
/// error.
struct SCommand {
    CLI::App* parser;
    std::function<void()> run;
};

SCommand AddAnalyzeCommand(CLI::App& program);
SCommand AddBetaCommand(CLI::App& program);
SCommand AddDistanceCommand(CLI::App& program);
SCommand AddFilterCommand(CLI::App& program);
SCommand AddInfoCommand(CLI::App& program);
SCommand AddPhantomCommand(CLI::App& program);
SCommand AddTensorCommand(CLI::App& program);

} // namespace TEVRA::apps
