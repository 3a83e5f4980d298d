// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Launcher.h"

#include <algorithm>
#include <cstdlib>
#include <initializer_list>

namespace TEVRA::stream {
namespace {

/// The first of these variables of the environment that there is, as a number; 1 without any.
int first_of(std::initializer_list<const char*> names) {
    for (const char* const name : names) {
        if (const char* const text = std::getenv(name); text != nullptr) {
            return static_cast<int>(std::clamp(std::strtol(text, nullptr, 10), 1L, 1L << 20));
        }
    }
    return 1;
}

} // namespace

int LaunchedProcesses() {
    const int processes = first_of({"OMPI_COMM_WORLD_SIZE", "PMI_SIZE", "MPI_LOCALNRANKS"});
    // Slurm starts all kinds of programs: those with a rank in PMIx are to talk to each other.
    if (processes == 1 && std::getenv("PMIX_RANK") != nullptr) {
        return first_of({"OMPI_COMM_WORLD_SIZE", "SLURM_STEP_NUM_TASKS"});
    }
    return processes;
}

} // namespace TEVRA::stream
