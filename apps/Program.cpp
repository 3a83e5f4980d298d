// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Program.h"

#include "apps/Commands.h"
#include "apps/Failure.h"
#include "apps/HelpFormatter.h"
#include "apps/Interruption.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <string>
#include <unistd.h>
#include <vector>

namespace TEVRA::apps {

namespace {

/// Files opened later must not take the numbers of closed standard streams: what is printed would land in
/// them. A stream that was closed is opened for reading only, so that writing to it still fails.
void occupy_standard_streams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) == -1 && errno == EBADF && open("/dev/null", O_RDONLY) < 0) {
            return;
        }
    }
}

/// "-.5" is a number, not an option: the parser knows that for "-0.5" only.
std::string with_leading_zero(std::string argument) {
    if (argument.size() > 2 && argument[0] == '-' && argument[1] == '.' &&
        std::isdigit(static_cast<unsigned char>(argument[2])) != 0) {
        argument.insert(1, 1, '0');
    }
    return argument;
}

std::vector<std::string> arguments_last_first(int argc, const char* const* argv) {
    std::vector<std::string> arguments;
    for (int i = argc - 1; i > 0; --i) {
        arguments.push_back(with_leading_zero(argv[i]));
    }
    return arguments;
}

std::string usage_message(const CLI::App& program, const std::string& firstArgument,
                          const CLI::ParseError& error) {
    const std::vector<CLI::App*> commands = program.get_subcommands();
    if (!commands.empty()) {
        return std::string(error.what()) + "; see 'tevra " + commands.front()->get_name() + " --help'";
    }
    if (!firstArgument.starts_with('-')) {
        return "there is no command '" + firstArgument + "'; see 'tevra --help'";
    }
    return std::string(error.what()) + "; see 'tevra --help'";
}

void flush_standard_output() {
    if (!std::cout.flush()) {
        throw CWorkError(std::string("cannot write to standard output: ") + std::strerror(errno) +
                         "; what was printed is incomplete");
    }
}

int run_command(const std::vector<SCommand>& commands) {
    return RunGuarded(
        [&commands] {
            const CInterruptionScope interruptible;
            for (const SCommand& command : commands) {
                if (command.parser->parsed()) {
                    command.run();
                }
            }
            flush_standard_output();
        },
        std::cerr);
}

} // namespace

const char* ProgramVersion() noexcept {
    return TEVRA_VERSION;
}

int RunProgram(int argc, const char* const* argv) {
    occupy_standard_streams();
    // A closed pipe and a full quota are failed writes, reported like any other.
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
    sigaction(SIGXFSZ, &ignore, nullptr);

    CLI::App program("Measures how fibers lie in 2D and 3D grey-value images.", "tevra");
    program.set_version_flag("--version", std::string("tevra ") + ProgramVersion(),
                             "Print the version and end");
    program.set_help_flag("-h,--help", "Print this help and end");
    program.formatter(NewHelpFormatter()); // commands added later inherit it
    program.footer("'tevra COMMAND --help' explains a command.");
    program.require_subcommand(0, 1);
    // Commands in the order of the help text.
    const std::vector<SCommand> commands = {AddAnalyzeCommand(program),  AddFilterCommand(program),
                                            AddDistanceCommand(program), AddBetaCommand(program),
                                            AddTensorCommand(program),   AddPhantomCommand(program),
                                            AddInfoCommand(program)};
    for (const SCommand& command : commands) {
        command.parser->group("Commands");
    }
    try {
        program.parse(arguments_last_first(argc, argv));
    } catch (const CLI::ParseError& request) {
        if (request.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return RunGuarded(
                [&] {
                    program.exit(request);
                    flush_standard_output();
                },
                std::cerr);
        }
        PrintError(std::cerr, usage_message(program, argc > 1 ? argv[1] : "", request));
        return STATUS_WRONG_USAGE;
    }
    if (program.get_subcommands().empty()) {
        PrintError(std::cerr, "no command given; see 'tevra --help'");
        return STATUS_WRONG_USAGE;
    }
    return run_command(commands);
}

} // namespace TEVRA::apps
