// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Communicator.h"

#include "stream/Launcher.h"

#include "volume/Failure.h"

#include <string>

namespace TEVRA::stream {

std::unique_ptr<ICommunicator> StartedProcesses() {
    if (const int processes = LaunchedProcesses(); processes > 1) {
        // Each would do all of the work and write into the others' files.
        throw volume::CEnvironmentError(
            std::to_string(processes) +
            " processes were started to share the work, but this program was built "
            "without MPI; start one, or build with -DTEVRA_MPI=ON");
    }
    return SingleProcess();
}

} // namespace TEVRA::stream
