// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/Communicator.h"

#include <functional>

namespace TEVRA::apps {

/// Runs the work of a command as one of the processes that were started for it.
///
/// A process that fails says so and ends all others; none is left waiting.
/// @throws what the work throws, if the process is on its own.
void DoAsRanks(const std::function<void(stream::ICommunicator&)>& work);

} // namespace TEVRA::apps
