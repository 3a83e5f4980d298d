// SPDX-License-Identifier: BSD-3-Clause
// `tevra analyze` by several processes; built with MPI only.
#include "e2e/Images.h"
#include "e2e/KilledRun.h"
#include "e2e/ProgramRun.h"
#include "e2e/Results.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using Words = std::vector<std::string>;

/// Lets Open MPI work in a container: as root, without a network, and without the right to read another
/// process's memory.
void prepare_launcher() {
    setenv("OMPI_ALLOW_RUN_AS_ROOT", "1", 1);
    setenv("OMPI_ALLOW_RUN_AS_ROOT_CONFIRM", "1", 1);
    setenv("OMPI_MCA_btl", "self,vader", 1);
    setenv("OMPI_MCA_btl_vader_single_copy_mechanism", "none", 1);
}

class Ranks : public testing::Test {
  protected:
    Ranks() {
        prepare_launcher();
        WriteMetaImage(m_folder / "image.mha", ParallelFibers({48, 41, 37}, 1));
    }
    SOutcome run(int processes, const std::string& output, const Words& more) {
        Words words = {"analyze", "image.mha", "--threads", "1", "-o", output};
        words.insert(words.end(), more.begin(), more.end());
        return RunTevra(words, {.workingFolder = m_folder.Path(),
                                .launcher = {"mpirun", "--oversubscribe", "-n", std::to_string(processes)}});
    }

    CTemporaryFolder m_folder;
};

TEST_F(Ranks, ResultsAreTheSameFilesForAnyNumberOfProcesses) {
    struct SCase {
        const char* estimator;
        const char* radius;
    };
    for (const SCase& one : {SCase{"line-voting", "3"}, SCase{"structure-tensor", "2.4"},
                             SCase{"hessian", "2"} /* sampled smoothing */, SCase{"hessian", "3"}}) {
        const Words options = {"--fiber-radius", one.radius, "--estimator",    one.estimator,
                               "--subfield",     "10",       "--fourth-order", "--maps"};
        for (const int processes : {1, 2, 3, 4}) {
            const std::string output = "by" + std::to_string(processes);
            const SOutcome outcome = run(processes, output, options);
            ASSERT_EQ(outcome.status, 0) << outcome.err;
            ExpectSameResults(m_folder / "by1", m_folder / output);
        }
    }
}

TEST_F(Ranks, AMaskIsSharedToo) {
    SGreyImage mask = Constant({48, 41, 37}, 0);
    for (std::size_t i = 0; i < mask.pixels.size(); i += 3) {
        mask.pixels[i] = '\7';
    }
    WriteMetaImage(m_folder / "mask.mha", mask);
    const Words options = {"--fiber-radius", "3", "--mask", "mask.mha", "--maps"};
    ASSERT_EQ(run(1, "one", options).status, 0);
    ASSERT_EQ(run(3, "three", options).status, 0);
    EXPECT_TRUE(ReadFile(m_folder / "one/result.json") == ReadFile(m_folder / "three/result.json"));
    EXPECT_TRUE(ReadFile(m_folder / "one/phi.mha") == ReadFile(m_folder / "three/phi.mha"));
    mask.pixels.back() = '\5'; // in the slices of the last process only
    WriteMetaImage(m_folder / "mask.mha", mask);
    const SOutcome outcome = run(3, "broken", options);
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("not two-valued"));
    EXPECT_FALSE(fs::exists(m_folder / "broken"));
}

TEST_F(Ranks, AFailureOfAllIsReportedOnceAndEndsTheJob) {
    fs::remove(m_folder / "image.mha");
    const SOutcome outcome = run(3, "out", {"--fiber-radius", "3"});
    EXPECT_NE(outcome.status, 0);
    const std::string message = "tevra: error: image.mha: there is no such file";
    EXPECT_THAT(outcome.err, HasSubstr(message));
    EXPECT_THAT(outcome.err.substr(outcome.err.find(message) + 1), Not(HasSubstr(message)));
    EXPECT_THAT(m_folder.Entries(), ElementsAre());
}

TEST_F(Ranks, AFailureOfOneEndsAllWithItsMessage) {
    // The second process may write only small files, and fails on the maps. Memory to share with the first
    // one would be too large a file as well.
    setenv("OMPI_MCA_btl", "self,tcp", 1);
    setenv("OMPI_MCA_btl_tcp_if_include", "lo", 1);
    const std::string tevra = TEVRA_PROGRAM;
    const std::string words = " analyze image.mha --fiber-radius 3 --maps -o out";
    SCircumstances circumstances{.workingFolder = m_folder.Path()};
    circumstances.launcher = {"mpirun",
                              "--oversubscribe",
                              "-n",
                              "1",
                              "sh",
                              "-c",
                              "exec " + tevra + words,
                              ":",
                              "-n",
                              "1",
                              "sh",
                              "-c",
                              "ulimit -f 1; exec " + tevra + words};
    const SOutcome outcome = RunTevra({}, circumstances);
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("process 1: tevra: error: "));
    EXPECT_THAT(outcome.err, HasSubstr("File too large"));
    EXPECT_THAT(m_folder.Entries(), ElementsAre("image.mha"));
}

TEST_F(Ranks, AnImageThatAllFailOnDoesNotStopTheOthersOfABatch) {
    WriteMetaImage(m_folder / "constant.mha", Constant({48, 41, 37}, 7));
    WriteMetaImage(m_folder / "nan.mha",
                   SMetaImage{{48, 41, 37}, "MET_FLOAT", std::string(4UL * 48 * 41 * 37, '\377')});
    SGreyImage border = Constant({48, 41, 37}, 40);
    std::fill_n(border.pixels.begin(), 48 * 41 * 3, '\310'); // no pixel within is foreground
    WriteMetaImage(m_folder / "border.mha", border);
    for (const char* const estimator : {"line-voting", "hessian"}) {
        fs::remove_all(m_folder / "out");
        const SOutcome outcome = RunTevra(
            {"analyze", "constant.mha", "nan.mha", "border.mha", "image.mha", "--fiber-radius", "3",
             "--border", "9", "--estimator", estimator, "--threads", "1", "-o", "out"},
            {.workingFolder = m_folder.Path(), .launcher = {"mpirun", "--oversubscribe", "-n", "3"}});
        EXPECT_NE(outcome.status, 0);
        EXPECT_THAT(outcome.err, HasSubstr("3 of 4 images failed"));
        EXPECT_THAT(outcome.err, Not(ContainsRegex("process [0-9]: tevra"))) << "one message for all";
        const std::string table = ReadFile(m_folder / "out/summary.csv");
        EXPECT_THAT(table, HasSubstr("\nconstant.mha,constant,\"no foreground: all pixels"));
        EXPECT_THAT(table, HasSubstr("\nnan.mha,nan,\"the image has no finite value"));
        EXPECT_THAT(table, HasSubstr("\nborder.mha,border,\"no foreground: no pixel inside"));
        EXPECT_THAT(table, HasSubstr("\nimage.mha,image,,"));
    }
}

TEST_F(Ranks, AMaskThatIsNoneInTheSlicesOfOneIsReportedOnce) {
    SGreyImage mask = Constant({48, 41, 37}, 0);
    mask.pixels.front() = '\7';
    mask.pixels[mask.pixels.size() - 2] = '\6';
    mask.pixels.back() = '\5';
    WriteMetaImage(m_folder / "mask.mha", mask);
    const SOutcome outcome = run(3, "out", {"--fiber-radius", "3", "--mask", "mask.mha"});
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("tevra: error: mask 'mask.mha': the mask is not two-valued"));
    EXPECT_THAT(outcome.err, Not(ContainsRegex("process [0-9]: tevra"))) << "one message for all";
    EXPECT_FALSE(fs::exists(m_folder / "out"));
}

TEST_F(Ranks, TasksOfSlurmShareTheWorkLikeProcessesOfMpirun) {
    // What tells a program of `srun --mpi=pmix` from one of mpirun.
    const SOutcome outcome = RunTevra({"analyze", "image.mha", "--fiber-radius", "3", "-o", "out"},
                                      {.workingFolder = m_folder.Path(),
                                       .launcher = {"mpirun", "--oversubscribe", "-n", "2", "env", "-u",
                                                    "OMPI_COMM_WORLD_SIZE", "SLURM_STEP_NUM_TASKS=2"}});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(Json::parse(ReadFile(m_folder / "out/run.json"))["parameters"]["processes"], 2);
}

TEST_F(Ranks, MoreProcessesThanSlicesAreRefused) {
    WriteMetaImage(m_folder / "image.mha", ParallelFibers({60, 50}, 0));
    const SOutcome outcome = run(2, "out", {"--fiber-radius", "3"});
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("the image has 1 slice"));
}

/// Jobs of which the last process is killed once all have smoothed their slices.
class ResumingRanks : public Ranks {
  protected:
    ResumingRanks() {
        SGreyImage image = ParallelFibers({140, 140, 120}, 1);
        constexpr auto SLICE = std::size_t{140} * 140;
        for (std::size_t i = 0; i < image.pixels.size(); ++i) { // no slice is like another
            image.pixels[i] = static_cast<char>(static_cast<unsigned char>(image.pixels[i]) - i / SLICE / 4);
        }
        WriteMetaImage(m_folder / "image.mha", image);
    }
    /// So many subfields that much is left to do after the smoothing.
    static Words options() { return {"--fiber-radius", "3", "--subfield", "8", "--maps", "--resume"}; }

    /// @param command as of ShellLauncher.
    SOutcome run_shells(int processes, const std::string& command) {
        return RunTevra(arguments(),
                        {.workingFolder = m_folder.Path(), .launcher = ShellLauncher(processes, command)});
    }
    void run_until_killed(int processes, const std::string& command = "exec \"$@\"") {
        ASSERT_TRUE(RunUntilKilled({.workingFolder = m_folder.Path(),
                                    .arguments = arguments(),
                                    .processes = processes,
                                    .command = command})
                        .has_value());
        ASSERT_FALSE(fs::exists(m_folder / "out/result.json"));
    }
    Json seconds() const { return Json::parse(ReadFile(m_folder / "out/run.json"))["seconds"]; }
    void expect_results_of_a_whole_run() {
        ASSERT_EQ(run(1, "whole", options()).status, 0);
        ExpectSameResults(m_folder / "out", m_folder / "whole");
        EXPECT_EQ(ResumeRecords(m_folder.Path()), 0);
        EXPECT_THAT(OutputsIn(m_folder / "out"),
                    ElementsAre("confidence.mha", "phi.mha", "profiles.csv", "result.json", "run.json",
                                "subfields.csv", "theta.mha"));
    }

    /// What a process that was killed while it smoothed has left on another machine's disk.
    void leave_unfinished_slices(const std::string& from, const std::string& to) const {
        for (const std::string& name : CTemporaryFolder::EntriesOf(m_folder / from)) {
            const fs::path unfinished = m_folder / to / name;
            if (name.ends_with(".scratch") && !fs::exists(unfinished)) {
                WriteFile(unfinished, std::string(fs::file_size(m_folder / from / name), '\0'));
            }
        }
    }

  private:
    static Words arguments() {
        Words words = {"analyze", "image.mha", "--threads", "1", "-o", "out"};
        const Words more = options();
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
};

TEST_F(ResumingRanks, AKilledJobIsContinuedToTheSameFiles) {
    for (const int processes : {2, 3}) {
        run_until_killed(processes);
        const SOutcome outcome = run(processes, "out", options());
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr("going on with the smoothed slices of an earlier run"));
        EXPECT_FALSE(seconds().contains("foreground"));
        expect_results_of_a_whole_run();
        fs::remove_all(m_folder / "out");
    }
}

TEST_F(ResumingRanks, AnotherNumberOfProcessesStartsOver) {
    for (const int processes : {1, 3}) {
        run_until_killed(2);
        const SOutcome outcome = run(processes, "out", options());
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr("number of processes"));
        EXPECT_THAT(outcome.err, HasSubstr("starting over"));
        EXPECT_TRUE(seconds().contains("foreground"));
        expect_results_of_a_whole_run();
        fs::remove_all(m_folder / "out");
    }
}

TEST_F(ResumingRanks, AllStartOverIfOneHadNotFinished) {
    run_until_killed(2);
    fs::remove(m_folder / "out/.tevra-resume-2-of-2");
    const SOutcome outcome = run(2, "out", options());
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("incomplete; starting over"));
    EXPECT_THAT(outcome.err, Not(HasSubstr("going on")));
    expect_results_of_a_whole_run();
}

TEST_F(ResumingRanks, SlicesOnDisksOfTheirOwnAreUsedOnlyWhereTheyWereFinished) {
    fs::create_directory(m_folder / "disk0");
    fs::create_directory(m_folder / "disk1");
    const std::string onDisks = "exec \"$@\" --scratch disk$OMPI_COMM_WORLD_RANK";
    run_until_killed(2, onDisks);
    EXPECT_THAT(run_shells(2, onDisks).err, HasSubstr("going on"));
    expect_results_of_a_whole_run();

    fs::remove_all(m_folder / "out");
    run_until_killed(2, onDisks);
    leave_unfinished_slices("disk0", "disk1");
    leave_unfinished_slices("disk1", "disk0");
    const SOutcome swapped = run_shells(2, "exec \"$@\" --scratch disk$((1 - OMPI_COMM_WORLD_RANK))");
    ASSERT_EQ(swapped.status, 0) << swapped.err;
    EXPECT_TRUE(seconds().contains("foreground"));
    ExpectSameResults(m_folder / "out", m_folder / "whole");
}

} // namespace
} // namespace TEVRA::test
