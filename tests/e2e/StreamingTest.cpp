// SPDX-License-Identifier: BSD-3-Clause
// Memory, scratch files and threads of `tevra analyze`.
#include "e2e/Images.h"
#include "e2e/KilledRun.h"
#include "e2e/ProgramRun.h"
#include "e2e/Results.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <csignal>
#include <fstream>
#include <limits>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace TEVRA::test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

using Words = std::vector<std::string>;

constexpr std::size_t MEGABYTE = std::size_t{1} << 20;

/// Wavy fibers, written slice by slice so that this process stays small.
void write_raw_volume(const fs::path& path, int extent) {
    std::ofstream file(path, std::ios::binary);
    std::string slice(static_cast<std::size_t>(extent) * static_cast<std::size_t>(extent), '\0');
    for (int z = 0; z < extent; ++z) {
        std::size_t at = 0;
        for (int y = 0; y < extent; ++y) {
            for (int x = 0; x < extent; ++x) {
                const bool isFiber = (x + z / 4) % 16 < 7 && (y + z / 7) % 15 < 7;
                slice[at++] = static_cast<char>(isFiber ? 200 : 40 + (x * 7 + y * 5 + z * 3) % 13);
            }
        }
        file.write(slice.data(), static_cast<std::streamsize>(slice.size()));
    }
}

class Streaming : public testing::Test {
  protected:
    SOutcome run(const std::string& output, const Words& more, SCircumstances circumstances = {}) {
        Words words = {"analyze", "image.raw", "--raw", m_layout, "--fiber-radius", "3", "-o", output};
        words.insert(words.end(), more.begin(), more.end());
        circumstances.workingFolder = m_folder.Path();
        return RunTevra(words, circumstances);
    }
    void write_volume(int extent) {
        write_raw_volume(m_folder / "image.raw", extent);
        const std::string text = std::to_string(extent);
        m_layout = text + "," + text + "," + text + ",u8";
    }
    Json record(const std::string& output) const {
        return Json::parse(ReadFile(m_folder / (output + "/run.json")));
    }
    void expect_same_files(const std::string& a, const std::string& b) const {
        ExpectSameResults(m_folder / a, m_folder / b);
    }

    CTemporaryFolder m_folder;
    std::string m_layout;
};

/// An estimator and too little memory for its smoothed slices.
struct SNarrowCase {
    const char* name;
    const char* estimator;
    std::size_t megabytes;
};

void PrintTo(const SNarrowCase& one, std::ostream* out) {
    *out << one.name;
}

class StreamingEstimators : public Streaming, public testing::WithParamInterface<SNarrowCase> {};

TEST_P(StreamingEstimators, StayWithinTheirMemoryOnAVolumeThatDoesNotFit) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs memory of its own";
#endif
    write_volume(320); // 125 MB of smoothed slices, 250 or 375 MB of maps
    const std::string estimator = GetParam().estimator;
    const SOutcome narrow =
        run("narrow", {"--estimator", estimator, "--memory", std::to_string(GetParam().megabytes) + "M",
                       "--subfield", "100", "--maps"});
    ASSERT_EQ(narrow.status, 0) << narrow.err;
    EXPECT_LE(narrow.peakBytes, GetParam().megabytes * MEGABYTE);
    EXPECT_EQ(record("narrow")["memory"]["scratch_place"], "file");
    EXPECT_EQ(record("narrow")["memory"]["scratch_bytes"], std::size_t{320} * 320 * 320 * 4);
    EXPECT_LE(narrow.peakBytes, record("narrow")["memory"]["expected_bytes"].get<std::size_t>());

    const SOutcome roomy = run("roomy", {"--estimator", estimator, "--memory", "1G", "--subfield", "100",
                                         "--maps", "--threads", "3"});
    ASSERT_EQ(roomy.status, 0) << roomy.err;
    EXPECT_EQ(record("roomy")["memory"]["scratch_place"], "memory");
    EXPECT_LE(roomy.peakBytes, record("roomy")["memory"]["expected_bytes"].get<std::size_t>());
    expect_same_files("narrow", "roomy");
    std::vector<std::string> files = {"phi.mha",  "profiles.csv",  "result.json",
                                      "run.json", "subfields.csv", "theta.mha"};
    if (estimator != "hessian") {
        files.insert(files.begin(), "confidence.mha");
    }
    EXPECT_EQ(OutputsIn(m_folder / "narrow"), files);
}

INSTANTIATE_TEST_SUITE_P(All, StreamingEstimators,
                         testing::Values(SNarrowCase{"Hessian", "hessian", 64},
                                         SNarrowCase{"LineVoting", "line-voting", 180}),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_F(Streaming, ResultsAreTheSameFilesInAnyMemory) {
    write_volume(60);
    for (const char* const layout : {"60,60,60,u8", "900,240,u8"}) {
        m_layout = layout;
        for (const char* const estimator : {"line-voting", "structure-tensor", "hessian"}) {
            SCOPED_TRACE(std::string(layout) + " by " + estimator);
            const auto status_in = [&](const std::string& output, std::size_t bytes, const char* threads) {
                return run(output, {"--subfield", "20", "--maps", "--estimator", estimator, "--threads",
                                    threads, "--memory", std::to_string(bytes)})
                    .status;
            };
            ASSERT_EQ(status_in("roomy", 1024 * MEGABYTE, "1"), 0);
            // Plans that take less and less, down to the one that takes least.
            std::size_t bytes = record("roomy")["memory"]["expected_bytes"];
            std::size_t files = 0;
            while (status_in("narrow", bytes - 1, "1") == 0) {
                expect_same_files("roomy", "narrow");
                ASSERT_LT(record("narrow")["memory"]["expected_bytes"].get<std::size_t>(), bytes);
                bytes = record("narrow")["memory"]["expected_bytes"];
                ++files;
            }
            // A plane is one slice, which needs not less for being in a file.
            EXPECT_GE(files, m_layout.starts_with("60") ? 2U : 0U);
            ASSERT_EQ(status_in("narrow", bytes, "1"), 0) << "what is expected suffices";
            expect_same_files("roomy", "narrow");
            ASSERT_EQ(status_in("narrow", 1024 * MEGABYTE, "2"), 0);
            expect_same_files("roomy", "narrow");
        }
    }
}

TEST_F(Streaming, ResultsAreTheSameFilesForAnyNumberOfThreads) {
    write_volume(60);
    run("one", {"--threads", "1", "--subfield", "20", "--maps", "--fourth-order"});
    for (const std::string threads : {"2", "5", "16"}) {
        run("more", {"--threads", threads, "--subfield", "20", "--maps", "--fourth-order"});
        expect_same_files("one", "more");
    }
}

TEST_F(Streaming, ADryRunOnlySaysWhatItWouldNeed) {
    write_volume(60);
    const SOutcome outcome = run("out", {"--dry-run", "--memory", "2G"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("of 2.0 GB allowed"), HasSubstr("scratch: 844 kB")));
    EXPECT_THAT(m_folder.Entries(), ElementsAre("image.raw"));
}

TEST_F(Streaming, SaysWhatItNeedsBeforeItStarts) {
    write_volume(60);
    EXPECT_THAT(run("out", {}).err, HasSubstr("tevra: memory: up to "));
}

TEST_F(Streaming, TooLittleMemoryIsRefusedWithWhatIsNeeded) {
    write_volume(60);
    const SOutcome outcome = run("out", {"--memory", "1M"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("tevra: error: this analysis needs"), HasSubstr("--memory")));
    EXPECT_THAT(m_folder.Entries(), ElementsAre("image.raw"));
    EXPECT_EQ(run("out", {"--memory", "lots"}).status, 2);
}

TEST_F(Streaming, AScratchFolderThatDoesNotExistIsNamed) {
    write_volume(200);
    const SOutcome outcome = run("out", {"--memory", "80M", "--threads", "1", "--scratch", "nowhere"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("'nowhere'"), HasSubstr("--scratch")));
    EXPECT_THAT(m_folder.Entries(), ElementsAre("image.raw"));
}

TEST_F(Streaming, AFullScratchDiskIsOneClearError) {
    write_volume(200);
    SCircumstances full;
    full.fileSizeLimit = 1 << 20;
    const SOutcome outcome = run("out", {"--memory", "80M", "--threads", "1"}, full);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("31 MB of intermediate images"), HasSubstr("File too large"),
                                   HasSubstr("--scratch")));
    EXPECT_THAT(m_folder.Entries(), ElementsAre("image.raw"));
}

TEST_F(Streaming, PixelsWithoutAValueCountAsDarkest) {
    constexpr int EXTENT = 40;
    std::vector<float> pixels;
    for (int z = 0; z < EXTENT; ++z) {
        for (int y = 0; y < EXTENT; ++y) {
            for (int x = 0; x < EXTENT; ++x) {
                const bool isFiber = x % 12 < 5 && y % 12 < 5;
                pixels.push_back(isFiber ? 3.5F : -1.25F + 0.001F * static_cast<float>(x + y));
            }
        }
    }
    const auto write = [&] {
        std::ofstream file(m_folder / "image.raw", std::ios::binary);
        file.write(reinterpret_cast<const char*>(pixels.data()),
                   static_cast<std::streamsize>(pixels.size() * sizeof(float)));
    };
    m_layout = "40,40,40,f32";
    const std::vector<std::size_t> places = {0, 777, 30000};
    constexpr float DARKEST = -1.25F;
    pixels[500] = DARKEST;
    for (const std::size_t place : places) {
        pixels[place] = DARKEST;
    }
    write();
    run("dark", {"--maps", "--subfield", "15", "--no-report"}); // which tells of such pixels
    for (const std::size_t place : places) {
        pixels[place] = std::numeric_limits<float>::quiet_NaN();
    }
    write();
    const SOutcome outcome = run("missing", {"--maps", "--subfield", "15", "--no-report"});
    EXPECT_THAT(outcome.err, HasSubstr("tevra: warning: 3 pixels have no value (NaN) and count as darkest"));
    EXPECT_EQ(record("missing")["input"]["nan_pixels"], 3);
    expect_same_files("dark", "missing");
}

TEST_F(Streaming, AFullScratchDiskLeavesNothingToResumeFrom) {
    write_volume(200);
    SCircumstances full;
    full.fileSizeLimit = 1 << 20;
    EXPECT_EQ(run("out", {"--resume", "--memory", "80M", "--threads", "1"}, full).status, 1);
    fs::create_directory(m_folder / "disk");
    EXPECT_EQ(run("out", {"--resume", "--memory", "80M", "--threads", "1", "--scratch", "disk"}, full).status,
              1);
    EXPECT_THAT(CTemporaryFolder::EntriesOf(m_folder / "disk"), ElementsAre());
    EXPECT_THAT(m_folder.Entries(), ElementsAre("disk", "image.raw"));
}

/// Runs that are killed once they have smoothed the image.
class Resuming : public Streaming {
  protected:
    Resuming() { write_volume(180); }

    /// The arguments of an analysis into `out` that another one can go on with.
    Words resumable(const Words& more) const {
        Words words = {"analyze", "image.raw", "--raw", m_layout,  "--fiber-radius",
                       "3",       "-o",        "out",   "--resume"};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    void run_until_killed(const Words& more, int signal = SIGKILL) {
        const auto killed = RunUntilKilled(
            {.workingFolder = m_folder.Path(), .arguments = resumable(more), .signal = signal});
        ASSERT_TRUE(killed.has_value());
        ASSERT_EQ(killed->status, 128 + signal);
    }
    Words kept_files() const {
        Words names;
        for (const std::string& name : CTemporaryFolder::EntriesOf(m_folder / "out")) {
            if (name.starts_with(".tevra-resume")) {
                names.push_back(name);
            }
        }
        return names;
    }
};

TEST_F(Resuming, AKilledRunIsContinuedToTheSameFiles) {
    for (const std::string estimator : {"line-voting", "structure-tensor", "hessian"}) {
        SCOPED_TRACE(estimator);
        const Words options = {"--subfield", "50", "--maps", "--estimator", estimator};
        run_until_killed(options);
        EXPECT_THAT(kept_files(), ElementsAre(".tevra-resume-1-of-1",
                                              MatchesRegex("\\.tevra-resume-1-of-1-[0-9a-f]{16}\\.scratch"),
                                              ".tevra-resume-1-of-1.lock"));
        Words resumed = options;
        resumed.insert(resumed.end(), {"--resume", "--threads", "3"});
        const SOutcome outcome = run("out", resumed);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr("going on with the smoothed slices of an earlier run"));
        EXPECT_FALSE(record("out")["seconds"].contains("foreground"));
        EXPECT_FALSE(record("out")["seconds"].contains("columns"));
        run("whole", options);
        expect_same_files("out", "whole");
        EXPECT_THAT(kept_files(), ElementsAre());
        fs::remove_all(m_folder / "out");
    }
}

TEST_F(Resuming, AnotherImageOrRadiusStartsOver) {
    run_until_killed({"--subfield", "50", "--maps"});
    const SOutcome wider = run("out", {"--resume", "--subfield", "50", "--maps", "--grey-window", "0,250"});
    ASSERT_EQ(wider.status, 0) << wider.err;
    EXPECT_THAT(wider.err, HasSubstr("tevra: warning: the earlier run in 'out' was of another image"));
    EXPECT_TRUE(record("out")["seconds"].contains("foreground"));
    run("whole", {"--subfield", "50", "--maps", "--grey-window", "0,250"});
    expect_same_files("out", "whole");

    run_until_killed({"--subfield", "50", "--maps"});
    std::fstream(m_folder / "image.raw", std::ios::binary | std::ios::in | std::ios::out) << "new pixels";
    EXPECT_THAT(run("out", {"--resume"}).err, HasSubstr("starting over"));
}

TEST_F(Resuming, OneFolderForScratchServesAnalysesWithResultsInOthers) {
    fs::create_directory(m_folder / "disk");
    const Words options = {"--subfield", "50", "--maps", "--scratch", "disk", "--resume"};
    run_until_killed({options.begin(), options.end() - 1});
    EXPECT_THAT(kept_files(), ElementsAre());
    const Words kept = CTemporaryFolder::EntriesOf(m_folder / "disk");
    EXPECT_THAT(kept, ElementsAre(MatchesRegex("\\.tevra-resume-[0-9a-f]+-1-of-1"),
                                  MatchesRegex("\\.tevra-resume-[0-9a-f]+-1-of-1-[0-9a-f]{16}\\.scratch"),
                                  MatchesRegex("\\.tevra-resume-[0-9a-f]+-1-of-1\\.lock")));
    EXPECT_THAT(run("others", options).err, Not(HasSubstr("going on")));
    EXPECT_EQ(CTemporaryFolder::EntriesOf(m_folder / "disk"), kept);
    EXPECT_THAT(run("out/", options).err, HasSubstr("going on"));
    expect_same_files("out", "others");
    EXPECT_THAT(CTemporaryFolder::EntriesOf(m_folder / "disk"), ElementsAre());
}

TEST_F(Resuming, ARunStoppedByCtrlCIsContinuedToo) {
    run_until_killed({}, SIGINT);
    EXPECT_THAT(
        OutputsIn(m_folder / "out"),
        ElementsAre(".tevra-resume-1-of-1", MatchesRegex("\\.tevra-resume-1-of-1-[0-9a-f]{16}\\.scratch")));
    EXPECT_THAT(run("out", {"--resume"}).err, HasSubstr("going on"));
}

TEST_F(Resuming, SlicesInASharedScratchFolderAreOfOneRunAtATime) {
    // As in two containers, whose results lie in different folders of one name.
    fs::create_directory(m_folder / "disk");
    const Words options = {"--subfield", "50", "--maps", "--scratch", "disk", "--resume"};
    // Nice to the second one, which is to meet it at work.
    CProgramRun first(resumable({options.begin(), options.end() - 1}),
                      {.workingFolder = m_folder.Path(), .launcher = {"nice", "-n", "19"}});
    while (!first.HasEnded() && CTemporaryFolder::EntriesOf(m_folder / "disk").size() < 2) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    fs::rename(m_folder / "out", m_folder / "elsewhere");
    const SOutcome second = run("out", options);
    const bool wasAtWork = !first.HasEnded();
    fs::remove_all(m_folder / "out");
    fs::rename(m_folder / "elsewhere", m_folder / "out");
    const SOutcome outcome = first.Wait();
    ASSERT_TRUE(wasAtWork);
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.err, AllOf(HasSubstr("tevra: error: another run keeps its smoothed slices"),
                                  HasSubstr("(process "), HasSubstr("another folder")));
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    run("whole", {"--subfield", "50", "--maps"});
    expect_same_files("out", "whole");
    EXPECT_THAT(CTemporaryFolder::EntriesOf(m_folder / "disk"), ElementsAre());
}

TEST_F(Resuming, ADamagedRecordStartsOver) {
    run_until_killed({});
    WriteFile(m_folder / "out/.tevra-resume-1-of-1", "nonsense");
    const SOutcome outcome = run("out", {"--resume"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("starting over"));
    EXPECT_THAT(kept_files(), ElementsAre());
}

} // namespace
} // namespace TEVRA::test
