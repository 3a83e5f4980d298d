// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Program.h"

#include "apps/Commands.h"
#include "apps/Failure.h"
#include "apps/HelpFormatter.h"
#include "apps/Interruption.h"
#include "apps/NearestName.h"

#include "Numeric/InstructionSet.h"
#include "volume/SliceFile.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
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

/// Whether a word behind `--maps` is meant for a format: images have an ending or are there.
bool may_be_format(const std::string& word) {
    std::error_code error;
    const bool isName = !word.empty() && word.find_first_of("./:-") == std::string::npos;
    return isName && (volume::SliceFormatNamed(word) || !std::filesystem::exists(word, error));
}

/// `--maps` may stand alone. The parser knows options with an optional value, but takes the next word for it
/// whatever it is: of `--maps fibers.tif` the image.
std::string with_default_format(const std::string& argument, const char* next) {
    const bool standsAlone = argument == "--maps" && (next == nullptr || !may_be_format(next));
    return standsAlone ? argument + "=" + NameOf(volume::ESliceFormat::mha) : argument;
}

std::vector<std::string> arguments_last_first(int argc, const char* const* argv) {
    std::vector<std::string> arguments;
    for (int i = argc - 1; i > 0; --i) {
        arguments.push_back(
            with_default_format(with_leading_zero(argv[i]), i + 1 < argc ? argv[i + 1] : nullptr));
    }
    return arguments;
}

/// What the parser could not place and what looks like an option: its name, without a value behind it.
std::optional<std::string> unknown_option(const CLI::App& parser) {
    for (const std::string& argument : parser.remaining()) {
        const bool isOption = argument.size() > 1 && argument[0] == '-' && argument != "--" &&
                              std::isdigit(static_cast<unsigned char>(argument[1])) == 0;
        if (isOption) {
            return argument.substr(0, argument.find('='));
        }
    }
    return std::nullopt;
}

/// The option that stands in the place of another one's value, as in `--export -o DIR`: the parser would take it for the
/// value, and complain of what is missing then.
std::optional<std::string> option_as_value(const CLI::App& command,
                                           const std::vector<std::string>& lastFirst) {
    const auto option = [&command](const std::string& name) {
        return name.size() > 1 && name.front() == '-' ? command.get_option_no_throw(name) : nullptr;
    };
    for (std::size_t i = lastFirst.size(); i-- > 1;) {
        const CLI::Option* const asking = option(lastFirst[i]);
        if (asking != nullptr && asking->get_items_expected_min() > 0 &&
            option(lastFirst[i - 1]) != nullptr) {
            return lastFirst[i] + " asks for a value, but is followed by the option " + lastFirst[i - 1];
        }
    }
    return std::nullopt;
}

/// An option with one value that was given several.
std::optional<std::string> repeated_option(const CLI::App& command) {
    for (const CLI::Option* option : command.get_options()) {
        if (!option->get_positional() && option->get_items_expected_max() == 1 && option->count() > 1) {
            return option->get_name() + " is given " + std::to_string(option->count()) +
                   " times; give it once";
        }
    }
    return std::nullopt;
}

/// Words that there was no place for, in the order in which they were given.
std::optional<std::string> words_too_many(const CLI::App& command, int argc, const char* const* argv) {
    const std::vector<std::string> remaining = command.remaining();
    std::string words;
    for (int i = 2; i < argc; ++i) {
        if (std::string_view(argv[i]) != "--" &&
            std::find(remaining.begin(), remaining.end(), argv[i]) != remaining.end()) {
            words += (words.empty() ? "'" : " '") + std::string(argv[i]) + "'";
        }
    }
    return words.empty()
               ? std::nullopt
               : std::optional(command.get_name() + " has no place for " + words +
                               "; a value with blanks or several numbers is one word, as in 'a b' or 1,2");
}

std::vector<std::string> option_names(const CLI::App& parser) {
    std::vector<std::string> names;
    for (const CLI::Option* option : parser.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

std::vector<std::string> command_names(const CLI::App& program) {
    std::vector<std::string> names;
    for (const CLI::App* command : program.get_subcommands({})) {
        names.push_back(command->get_name());
    }
    return names;
}

/// "REFUSAL; did you mean 'NAME'? See 'HELP'", if a name is near; else "REFUSAL; see 'HELP'".
std::string with_nearest(const std::string& refusal, const std::optional<std::string>& nearest,
                         const std::string& help) {
    return nearest ? refusal + "; did you mean " + *nearest + "? See '" + help + "'"
                   : refusal + "; see '" + help + "'";
}

/// An unknown option comes before all else: what is missing is missing because of it, more often than not.
std::string usage_message(const CLI::App& program, int argc, const char* const* argv,
                          const CLI::ParseError& error) {
    const std::string firstArgument = argc > 1 ? argv[1] : "";
    const std::vector<CLI::App*> commands = program.get_subcommands();
    if (const auto unknown = unknown_option(program)) {
        return with_nearest(*unknown + " is no option of tevra", NearestName(*unknown, option_names(program)),
                            "tevra --help");
    }
    if (!commands.empty()) {
        const CLI::App& command = *commands.front();
        const std::string help = "tevra " + command.get_name() + " --help";
        if (const auto unknown = unknown_option(command)) {
            return with_nearest(*unknown + " is no option of " + command.get_name(),
                                NearestName(*unknown, option_names(command)), help);
        }
        if (const auto repeated = repeated_option(command)) {
            return with_nearest(*repeated, std::nullopt, help);
        }
        if (const auto words = words_too_many(command, argc, argv)) {
            return with_nearest(*words, std::nullopt, help);
        }
        return with_nearest(error.what(), std::nullopt, help);
    }
    if (!firstArgument.starts_with('-')) {
        return with_nearest("there is no command '" + firstArgument + "'",
                            NearestName(firstArgument, command_names(program)), "tevra --help");
    }
    return with_nearest(error.what(), std::nullopt, "tevra --help");
}

void flush_standard_output() {
    if (!std::cout.flush()) {
        throw CWorkError(std::string("cannot write to standard output: ") + std::strerror(errno) +
                         "; what was printed is incomplete");
    }
}

/// Inner loops are those of the best instruction set of the processor, unless the environment names another.
/// @throws CUsageError for one that is unknown or not supported.
void choose_instruction_set() {
    constexpr const char* VARIABLE = "TEVRA_INSTRUCTION_SET";
    const char* const name = std::getenv(VARIABLE); // NOLINT(concurrency-mt-unsafe): before any thread starts
    if (name == nullptr || *name == '\0') {
        return;
    }
    try {
        Impl::UseInstructionSet(std::string_view(name));
    } catch (const std::invalid_argument& refusal) {
        throw CUsageError(std::string(VARIABLE) + ": " + refusal.what());
    }
}

int run_command(const std::vector<SCommand>& commands) {
    return RunGuarded(
        [&commands] {
            choose_instruction_set();
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
    const std::vector<std::string> arguments = arguments_last_first(argc, argv);
    for (const SCommand& command : commands) {
        const std::string name = command.parser->get_name();
        const auto refusal = !arguments.empty() && name == arguments.back()
                                 ? option_as_value(*command.parser, arguments)
                                 : std::nullopt;
        if (refusal) {
            PrintError(std::cerr, with_nearest(*refusal, std::nullopt, "tevra " + name + " --help"));
            return STATUS_WRONG_USAGE;
        }
    }
    try {
        program.parse(std::vector<std::string>(arguments));
    } catch (const CLI::ParseError& request) {
        if (request.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return RunGuarded(
                [&] {
                    program.exit(request);
                    flush_standard_output();
                },
                std::cerr);
        }
        PrintError(std::cerr, usage_message(program, argc, argv, request));
        return STATUS_WRONG_USAGE;
    }
    if (program.get_subcommands().empty()) {
        PrintError(std::cerr, "no command given; see 'tevra --help'");
        return STATUS_WRONG_USAGE;
    }
    return run_command(commands);
}

} // namespace TEVRA::apps
