// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/ProgramRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

const std::vector<std::string> COMMANDS = {"analyze", "tensor", "info"};

TEST(Program, PrintsItsVersion) {
    const SOutcome outcome = RunTevra({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, MatchesRegex("tevra [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_EQ(outcome.err, "");
}

TEST(Program, HelpNamesEveryCommand) {
    const SOutcome outcome = RunTevra({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    for (const std::string& command : COMMANDS) {
        EXPECT_THAT(outcome.out, HasSubstr("\n  " + command + " "));
    }
}

TEST(Program, EveryCommandHasHelpOf80Columns) {
    std::vector<std::vector<std::string>> calls = {{"--help"}};
    for (const std::string& command : COMMANDS) {
        calls.push_back({command, "--help"});
    }
    for (const std::vector<std::string>& call : calls) {
        const SOutcome outcome = RunTevra(call);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.out, HasSubstr("Usage: tevra"));
        std::istringstream lines(outcome.out);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), 80U) << line;
        }
    }
}

TEST(Program, EveryOptionOfACommandIsDescribed) {
    for (const std::string& command : COMMANDS) {
        std::istringstream lines(RunTevra({command, "--help"}).out);
        bool described = true;
        for (std::string line; std::getline(lines, line);) {
            const bool isOption = line.starts_with("  -");
            EXPECT_TRUE(described || line.starts_with(std::string(30, ' ')))
                << command << ": before " << line;
            described = !isOption || line.size() > 30;
        }
    }
}

TEST(Program, WrongUsageIsOneLineThatPointsToTheHelp) {
    const std::vector<std::vector<std::string>> calls = {
        {}, {"analyse"}, {"--nonsense"}, {"analyze", "--nonsense"}, {"tensor"}, {"info", "a.tif", "b.tif"}};
    for (const std::vector<std::string>& call : calls) {
        const SOutcome outcome = RunTevra(call);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, MatchesRegex("tevra: error: [^\n]+; see 'tevra[^\n]* --help'\n"));
    }
}

TEST(Program, NamesACommandThatDoesNotExist) {
    EXPECT_THAT(RunTevra({"analyse", "image.tif"}).err, HasSubstr("no command 'analyse'"));
}

TEST(Program, OutputThatCannotBeWrittenIsAFailure) {
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "this system has no /dev/full";
    }
    for (const std::vector<std::string>& call :
         std::vector<std::vector<std::string>>{{"--version"}, {"--help"}, {"tensor", "1,0,0"}}) {
        const SOutcome outcome = RunTevra(call, {.standardOutput = "/dev/full"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err, AllOf(HasSubstr("standard output"), HasSubstr("No space left")));
    }
}

TEST(Program, AClosedPipeIsAFailureAndNoSignal) {
    const SOutcome outcome = RunTevra({"tensor", "1,0,0"}, {.standardOutputIsBroken = true});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("standard output"), HasSubstr("Broken pipe")));
}

TEST(Program, AClosedStandardOutputIsAFailure) {
    const SOutcome outcome = RunTevra({"tensor", "1,0,0"}, {.standardOutputIsClosed = true});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("standard output"));
}

} // namespace
} // namespace TEVRA::test
