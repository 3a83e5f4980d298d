// SPDX-License-Identifier: BSD-3-Clause
// `tevra analyze` by several processes; built with MPI only.
#include "e2e/Images.h"
#include "e2e/ProgramRun.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
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
    for (const std::string radius : {"2", "3"}) { // sampled and recursive smoothing
        const Words options = {"--fiber-radius", radius, "--subfield", "10", "--fourth-order", "--maps"};
        for (const int processes : {1, 2, 3, 4}) {
            const std::string output = "by" + std::to_string(processes);
            const SOutcome outcome = run(processes, output, options);
            ASSERT_EQ(outcome.status, 0) << outcome.err;
            for (const char* const name :
                 {"result.json", "subfields.csv", "profiles.csv", "theta.mha", "phi.mha"}) {
                EXPECT_TRUE(ReadFile(m_folder / ("by1/" + std::string(name))) ==
                            ReadFile(m_folder / (output + "/" + name)))
                    << name << " of " << processes << " processes";
            }
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

} // namespace
} // namespace TEVRA::test
