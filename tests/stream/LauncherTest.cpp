// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Launcher.h"

#include <gtest/gtest.h>

#include <cstdlib>

using TEVRA::stream::LaunchedProcesses;

namespace {

/// An environment without a launcher to begin with.
class Launchers : public testing::Test {
  protected:
    Launchers() {
        for (const char* const name : {"OMPI_COMM_WORLD_SIZE", "PMI_SIZE", "MPI_LOCALNRANKS", "PMIX_RANK",
                                       "SLURM_STEP_NUM_TASKS", "SLURM_NTASKS"}) {
            unsetenv(name);
        }
    }
};

TEST_F(Launchers, AProgramStartedByNoneIsOnItsOwn) {
    EXPECT_EQ(LaunchedProcesses(), 1);
}

TEST_F(Launchers, MpirunSaysHowManyProcessesItStarts) {
    setenv("OMPI_COMM_WORLD_SIZE", "3", 1);
    setenv("PMIX_RANK", "2", 1);
    EXPECT_EQ(LaunchedProcesses(), 3);
}

TEST_F(Launchers, OneProcessOfMpirunInAJobOfSlurmIsOnItsOwn) {
    setenv("OMPI_COMM_WORLD_SIZE", "1", 1);
    setenv("PMIX_RANK", "0", 1);
    setenv("SLURM_STEP_NUM_TASKS", "4", 1);
    EXPECT_EQ(LaunchedProcesses(), 1);
}

TEST_F(Launchers, ThoseOfTheProcessManagerInterfaceSayItInTheirWay) {
    setenv("PMI_SIZE", "5", 1);
    EXPECT_EQ(LaunchedProcesses(), 5);
}

TEST_F(Launchers, SrunWithPmixIsKnownByItsRanks) {
    setenv("PMIX_RANK", "0", 1);
    setenv("SLURM_STEP_NUM_TASKS", "8", 1);
    EXPECT_EQ(LaunchedProcesses(), 8);
}

TEST_F(Launchers, TasksOfSlurmWithoutMpiAreEachOnTheirOwn) {
    setenv("SLURM_STEP_NUM_TASKS", "8", 1);
    setenv("SLURM_NTASKS", "8", 1);
    EXPECT_EQ(LaunchedProcesses(), 1);
}

TEST_F(Launchers, NonsenseIsNoLauncher) {
    setenv("OMPI_COMM_WORLD_SIZE", "many", 1);
    EXPECT_EQ(LaunchedProcesses(), 1);
    setenv("OMPI_COMM_WORLD_SIZE", "-3", 1);
    EXPECT_EQ(LaunchedProcesses(), 1);
}

} // namespace
