// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA::stream {

/// How many processes an MPI launcher says it has started, by the environment that it gives them; 1 without
/// one.
int LaunchedProcesses();

} // namespace TEVRA::stream
