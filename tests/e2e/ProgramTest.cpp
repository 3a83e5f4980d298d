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
using testing::Not;

const std::vector<std::string> COMMANDS = {"analyze", "filter",  "distance", "beta",
                                           "tensor",  "phantom", "info"};

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

TEST(Program, TheHelpOfTheAnalysisHasItsManyOptionsUnderHeadings) {
    const std::string help = RunTevra({"analyze", "--help"}).out;
    const auto at = [&help](const std::string& text) {
        const std::size_t place = help.find("\n" + text);
        EXPECT_NE(place, std::string::npos) << text;
        return place;
    };
    EXPECT_LT(at("Options:"), at("  -o,--output"));
    EXPECT_LT(at("  -o,--output"), at("Options of axes:"));
    EXPECT_LT(at("Options of the foreground:"), at("  --mask"));
    EXPECT_LT(at("Options of what is written:"), at("  --maps"));
    EXPECT_LT(at("Options of the run:"), at("  --threads"));
    EXPECT_EQ(help.find("\n\n\n"), std::string::npos);
}

TEST(Program, WrongUsageIsOneLineThatPointsToTheHelp) {
    const std::vector<std::vector<std::string>> calls = {
        {}, {"analyse"}, {"--nonsense"}, {"analyze", "--nonsense"}, {"tensor"}, {"info", "a.tif", "b.tif"}};
    for (const std::vector<std::string>& call : calls) {
        const SOutcome outcome = RunTevra(call);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, MatchesRegex("tevra: error: [^\n]+(; see|\\? See) 'tevra[^\n]* --help'\n"));
    }
}

TEST(Program, SaysOfAnOptionWithoutItsValueWhatFollowsInstead) {
    EXPECT_EQ(RunTevra({"analyze", "scan.tif", "--fiber-radius", "3", "--export", "-o", "out"}).err,
              "tevra: error: --export asks for a value, but is followed by the option -o; see 'tevra analyze "
              "--help'\n");
    EXPECT_THAT(RunTevra({"phantom", "-o", "--size", "3,3"}).err,
                HasSubstr("-o asks for a value, but is followed by the option --size"));
    // Numbers below 0 are values, and --maps may stand alone.
    EXPECT_THAT(
        RunTevra({"analyze", "none.tif", "--fiber-radius", "3", "--maps", "--threshold", "-3", "-o", "out"},
                 {.workingFolder = "/tmp"})
            .err,
        HasSubstr("none.tif: there is no such file"));
}

TEST(Program, SaysOfAnOptionGivenTwiceThatItIs) {
    EXPECT_THAT(
        RunTevra({"analyze", "scan.tif", "--fiber-radius", "3", "--fiber-radius", "4", "-o", "out"}).err,
        HasSubstr("--fiber-radius is given 2 times; give it once"));
}

TEST(Program, BehindTwoHyphensAllWordsAreImages) {
    EXPECT_THAT(RunTevra({"analyze", "--", "-scan.tif", "--fiber-radius", "3", "-o", "out"}).err,
                AllOf(HasSubstr("is required"), Not(HasSubstr("'--'"))));
    EXPECT_THAT(RunTevra({"info", "--", "-scan.tif"}, {.workingFolder = "/tmp"}).err,
                HasSubstr("-scan.tif: there is no such file"));
}

TEST(Program, NamesWordsTooManyInTheirOrder) {
    EXPECT_THAT(
        RunTevra({"tensor", "0.7", "0", "0.2"}).err,
        HasSubstr("tensor has no place for '0' '0.2'; a value with blanks or several numbers is one word"));
}

TEST(Program, NamesACommandThatDoesNotExistAndTheNearestThatDoes) {
    EXPECT_EQ(RunTevra({"analyse", "image.tif"}).err,
              "tevra: error: there is no command 'analyse'; did you mean analyze? See 'tevra --help'\n");
    EXPECT_EQ(RunTevra({"scan.tif"}).err,
              "tevra: error: there is no command 'scan.tif'; see 'tevra --help'\n");
}

TEST(Program, NamesAnUnknownOptionBeforeWhatIsMissing) {
    for (const std::vector<std::string>& call : std::vector<std::vector<std::string>>{
             {"analyze", "scan.tif", "--fibre-radius", "3", "-o", "out"},
             {"analyze", "--fibre-radius=3"},
             {"analyze", "scan.tif", "-o", "out", "--fiber-radius", "3", "--fibre-radius", "-3"}}) {
        EXPECT_EQ(RunTevra(call).err, "tevra: error: --fibre-radius is no option of analyze; did you mean "
                                      "--fiber-radius? See 'tevra analyze --help'\n");
    }
    EXPECT_EQ(RunTevra({"filter", "scan.tif", "-x"}).err,
              "tevra: error: -x is no option of filter; see 'tevra filter --help'\n");
    EXPECT_EQ(RunTevra({"--versoin"}).err, "tevra: error: --versoin is no option of tevra; did you mean "
                                           "--version? See 'tevra --help'\n");
}

TEST(Program, StillNamesAMissingOptionWhereAllOthersAreKnown) {
    EXPECT_THAT(RunTevra({"analyze", "scan.tif", "-o", "out"}).err, HasSubstr("--fiber-radius is required"));
    EXPECT_THAT(RunTevra({"info", "a.tif", "-5"}).err, Not(HasSubstr("is no option")));
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

TEST(Program, TakesAKnownInstructionSetFromTheEnvironment) {
    for (const char* const set : {"TEVRA_INSTRUCTION_SET=baseline", "TEVRA_INSTRUCTION_SET="}) {
        EXPECT_EQ(RunTevra({"tensor", "1,0,0"}, {.launcher = {"env", set}}).status, 0) << set;
    }
}

TEST(Program, RefusesAnUnknownInstructionSetAndNamesTheKnownOnes) {
    const SOutcome outcome =
        RunTevra({"tensor", "1,0,0"}, {.launcher = {"env", "TEVRA_INSTRUCTION_SET=sse9"}});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "tevra: error: TEVRA_INSTRUCTION_SET: 'sse9' is no instruction set; there are "
                           "baseline, avx2, avx512\n");
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
