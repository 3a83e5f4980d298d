// SPDX-License-Identifier: BSD-3-Clause
// What commands do to the files that are already there, and to those of other runs.
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "e2e/Results.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace TEVRA::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using Words = std::vector<std::string>;

class OutputFiles : public testing::Test {
  protected:
    OutputFiles() { WriteMetaImage(m_folder / "image.mha", ParallelFibers({40, 36, 32}, 0)); }

    SOutcome run(const Words& words) const { return RunTevra(words, {.workingFolder = m_folder.Path()}); }
    SOutcome analyze(const Words& more, const std::string& image = "image.mha") const {
        Words words = {"analyze", image, "--fiber-radius", "3"};
        words.insert(words.end(), more.begin(), more.end());
        return run(words);
    }
    void expect_refusal(const Words& words, int status, const Words& parts) const {
        ExpectRefusal(words, status, parts, {.workingFolder = m_folder.Path()});
    }

    CTemporaryFolder m_folder;
};

TEST_F(OutputFiles, OfTheUserBesideARecordOfAnotherProgramStay) {
    fs::create_directory(m_folder / "out");
    const Words names = {"phi.mha", "profiles.csv", "subfields.csv", "theta.mha"};
    for (const std::string& name : names) {
        WriteFile(m_folder / "out" / name, "of the user");
    }
    WriteFile(m_folder / "out/run.json", R"({"program": "another", "files": ["theta.mha"]})");
    expect_refusal({"analyze", "image.mha", "--fiber-radius", "3", "--quiet", "-o", "out"}, 1,
                   {"'out/run.json'", "no run of Tevra", "another output folder"});
    fs::remove(m_folder / "out/run.json");
    expect_refusal(
        {"analyze", "image.mha", "--fiber-radius", "3", "--quiet", "-o", "out", "--subfield", "20"}, 1,
        {"'out/subfields.csv'", "no run of Tevra"});
    expect_refusal({"analyze", "image.mha", "--fiber-radius", "3", "--quiet", "-o", "out", "--maps"}, 1,
                   {"'out/theta.mha'", "no run of Tevra"});
    ASSERT_EQ(analyze({"-o", "out"}).status, 0);
    for (const std::string& name : names) {
        EXPECT_EQ(ReadFile(m_folder / "out" / name), "of the user");
    }
}

TEST_F(OutputFiles, OfAnEarlierRunAreRemovedWithAWordUnlessTheyWereChanged) {
    ASSERT_EQ(analyze({"-o", "out", "--maps", "--subfield", "20", "--no-report"}).status, 0);
    WriteFile(m_folder / "out/profiles.csv", "of the user");
    const SOutcome outcome = analyze({"-o", "out"});
    ASSERT_EQ(outcome.status, 0);
    EXPECT_THAT(
        outcome.err,
        AllOf(HasSubstr("removed what the earlier run had written besides: subfields.csv theta.mha phi.mha"),
              HasSubstr("tevra: warning: left alone in 'out': profiles.csv")));
    EXPECT_THAT(OutputsIn(m_folder / "out"), ElementsAre("profiles.csv", "result.json", "run.json"));
}

TEST_F(OutputFiles, AreNotWrittenToANameThatIsEmpty) {
    ASSERT_EQ(analyze({"-o", "out", "--maps"}).status, 0);
    constexpr int WRONG_USAGE = 2;
    expect_refusal({"analyze", "image.mha", "--fiber-radius", "3", "-o", ""}, WRONG_USAGE, {"-o", "empty"});
    expect_refusal(
        {"filter", "image.mha", "--major", "8", "--minor", "4", "--resolution", "coarse", "-o", ""},
        WRONG_USAGE, {"-o", "empty"});
    expect_refusal({"distance", "out/theta.mha", "out/phi.mha", "--reference", "0,0,1", "-o", ""},
                   WRONG_USAGE, {"-o", "empty"});
    expect_refusal({"phantom", "-o", ""}, WRONG_USAGE, {"-o", "empty"});
    expect_refusal({"analyze", "image.mha", "--fiber-radius", "3", "-o", "out", "--scratch", ""}, WRONG_USAGE,
                   {"--scratch", "empty"});
}

TEST_F(OutputFiles, AreNeverTheInput) {
    constexpr int FAILED = 1;
    fs::create_directory(m_folder / "o");
    fs::rename(m_folder / "image.mha", m_folder / "o/theta.mha");
    const std::string image = ReadFile(m_folder / "o/theta.mha");
    expect_refusal({"analyze", "o/theta.mha", "--fiber-radius", "3", "--maps", "--quiet", "-o", "o"}, FAILED,
                   {"'o/theta.mha'", "to be read"});
    fs::create_symlink("o/theta.mha", m_folder / "link.mha");
    expect_refusal({"analyze", "link.mha", "--fiber-radius", "3", "--maps", "--quiet", "-o", "o"}, FAILED,
                   {"'o/theta.mha'", "to be read"});
    expect_refusal({"analyze", "o/theta.mha", "--mask", "link.mha", "--fiber-radius", "3", "--maps",
                    "--quiet", "-o", "o"},
                   FAILED, {"'o/theta.mha'", "to be read"});
    fs::rename(m_folder / "o/theta.mha", m_folder / "o/index.mha");
    expect_refusal(
        {"filter", "o/index.mha", "--major", "8", "--minor", "4", "--resolution", "coarse", "-o", "o"},
        FAILED, {"'o/index.mha'", "to be read"});
    EXPECT_EQ(ReadFile(m_folder / "o/index.mha"), image);
    EXPECT_THAT(CTemporaryFolder::EntriesOf(m_folder / "o"), ElementsAre("index.mha"));
}

TEST_F(OutputFiles, AreNeverTheDataBehindAHeader) {
    fs::create_directory(m_folder / "o");
    const std::string pixels(40 * 36 * 32, 'x');
    std::ofstream(m_folder / "o/phi.mha", std::ios::binary) << pixels;
    std::ofstream(m_folder / "o/scan.mhd") << "ObjectType = Image\nNDims = 3\nDimSize = 40 36 32\n"
                                              "ElementType = MET_UCHAR\nElementDataFile = phi.mha\n";
    expect_refusal({"analyze", "o/scan.mhd", "--fiber-radius", "3", "--maps", "--quiet", "-o", "o"}, 1,
                   {"'o/phi.mha'", "to be read"});
    EXPECT_EQ(ReadFile(m_folder / "o/phi.mha"), pixels);
}

TEST_F(OutputFiles, OfDistanceAreNeverItsMaps) {
    constexpr int FAILED = 1;
    ASSERT_EQ(analyze({"-o", "o", "--maps"}).status, 0);
    const std::string theta = ReadFile(m_folder / "o/theta.mha");
    fs::create_hard_link(m_folder / "o/theta.mha", m_folder / "d.mha");
    for (const std::string output : {"o/theta.mha", "o/phi.mha", "d.mha"}) {
        expect_refusal({"distance", "o/theta.mha", "o/phi.mha", "--reference", "0,0,1", "-o", output}, FAILED,
                       {"'" + output + "'", "to be read"});
    }
    EXPECT_EQ(ReadFile(m_folder / "o/theta.mha"), theta);
}

TEST_F(OutputFiles, ThatARunReadsAreNotRemovedAsAnEarlierRuns) {
    ASSERT_EQ(analyze({"-o", "o", "--maps"}).status, 0);
    expect_refusal({"analyze", "o/theta.mha", "--fiber-radius", "3", "--quiet", "-o", "o"}, 1,
                   {"'o/theta.mha'", "to be read", "another output folder"});
    EXPECT_TRUE(fs::exists(m_folder / "o/theta.mha"));
}

/// Runs that work long enough to be met.
class RunsAtWork : public OutputFiles {
  protected:
    static constexpr std::size_t FILES = 5; // two texts and three maps

    RunsAtWork() { WriteMetaImage(m_folder / "large.mha", ParallelFibers({200, 200, 160}, 0)); }

    /// @return once it has announced its files.
    void start(const Words& more = {}) {
        Words words = {"analyze", "large.mha", "--fiber-radius", "3", "--maps", "--no-report", "-o", "out"};
        words.insert(words.end(), more.begin(), more.end());
        m_run.emplace(words, SCircumstances{.workingFolder = m_folder.Path()});
        while (!m_run->HasEnded() && temporary_files().size() < FILES) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ASSERT_FALSE(m_run->HasEnded());
    }
    Words temporary_files() const {
        Words names;
        if (fs::exists(m_folder / "out")) {
            names = CTemporaryFolder::EntriesOf(m_folder / "out");
        }
        names.erase(std::remove_if(names.begin(), names.end(),
                                   [](const std::string& name) {
                                       return !name.starts_with(".tevra-") ||
                                              name.starts_with(".tevra-resume") || name == ".tevra-lock";
                                   }),
                    names.end());
        return names;
    }

    std::optional<CProgramRun> m_run;
};

TEST_F(RunsAtWork, ThatWereKilledLeaveFilesThatTheNextOneRemoves) {
    start();
    m_run->Signal(SIGKILL);
    ASSERT_EQ(m_run->Wait().status, 128 + SIGKILL);
    EXPECT_EQ(temporary_files().size(), FILES);
    ASSERT_EQ(analyze({"-o", "out"}).status, 0);
    EXPECT_THAT(OutputsIn(m_folder / "out"), ElementsAre("result.json", "run.json"));
}

TEST_F(RunsAtWork, HaveTheOutputFolderForThemselves) {
    for (const Words& more : {Words{}, Words{"--resume"}}) {
        fs::remove_all(m_folder / "out");
        start(more);
        Words second = {"-o", "out"};
        second.insert(second.end(), more.begin(), more.end());
        const SOutcome refused = analyze(second);
        const bool wasAtWork = !m_run->HasEnded();
        const SOutcome first = m_run->Wait();
        ASSERT_TRUE(wasAtWork);
        EXPECT_EQ(refused.status, 1);
        EXPECT_THAT(refused.err, AllOf(HasSubstr("tevra: error: another run writes into 'out' (process "),
                                       HasSubstr(" on "), HasSubstr("another output folder")));
        EXPECT_EQ(first.status, 0) << first.err;
        EXPECT_EQ(nlohmann::json::parse(ReadFile(m_folder / "out/run.json"))["input"]["path"], "large.mha");
        EXPECT_THAT(OutputsIn(m_folder / "out"),
                    ElementsAre("confidence.mha", "phi.mha", "result.json", "run.json", "theta.mha"));
    }
}

TEST_F(RunsAtWork, AreLeftAloneByFilesOfOtherCommandsIntoTheirFolder) {
    start();
    const Words before = temporary_files();
    const SOutcome phantom =
        run({"phantom", "-o", "out/phantom.tif", "--size", "20,20,20", "--fiber-radius", "2"});
    const bool wasAtWork = !m_run->HasEnded();
    const SOutcome first = m_run->Wait();
    ASSERT_TRUE(wasAtWork);
    EXPECT_EQ(phantom.status, 0) << phantom.err;
    EXPECT_EQ(first.status, 0) << first.err;
    EXPECT_THAT(OutputsIn(m_folder / "out"), ElementsAre("confidence.mha", "phantom.tif", "phi.mha",
                                                         "result.json", "run.json", "theta.mha"));
}

} // namespace
} // namespace TEVRA::test
