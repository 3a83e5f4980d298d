// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/Communicator.h"
#include "stream/Streamed.h"

#include <functional>

namespace TEVRA::test {

/// Runs `work` on as many threads as there are ranks, each with a communicator of its own, and rethrows what
/// the first of them throws. A rank that throws ends the waiting of the others.
void RunRanks(int ranks, const std::function<void(stream::ICommunicator&)>& work);

/// The answer of several processes together.
SAnswer StreamedByRanks(const SCase& task, int ranks,
                        const stream::SStreamResources& resources = {1, PLENTY, "/tmp"});

} // namespace TEVRA::test
