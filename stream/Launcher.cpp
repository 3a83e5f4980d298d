// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Launcher.h"

#include <algorithm>
#include <cstdlib>

namespace TEVRA::stream {

int LaunchedProcesses() {
    for (const char* const name : {"OMPI_COMM_WORLD_SIZE", "PMI_SIZE", "MPI_LOCALNRANKS"}) {
        if (const char* const text = std::getenv(name); text != nullptr) {
            return std::max(1, std::atoi(text));
        }
    }
    return 1;
}

} // namespace TEVRA::stream
