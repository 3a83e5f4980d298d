// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Launcher.h"

#include <algorithm>
#include <cstdlib>

namespace TEVRA::stream {

int LaunchedProcesses() {
    for (const char* const name : {"OMPI_COMM_WORLD_SIZE", "PMI_SIZE", "MPI_LOCALNRANKS"}) {
        if (const char* const text = std::getenv(name); text != nullptr) {
            return static_cast<int>(std::clamp(std::strtol(text, nullptr, 10), 1L, 1L << 20));
        }
    }
    return 1;
}

} // namespace TEVRA::stream
