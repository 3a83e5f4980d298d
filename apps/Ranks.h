// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/Communicator.h"

#include <functional>
#include <stdexcept>
#include <string>

namespace TEVRA::apps {

/// Another process of the job has failed and says why.
class CElsewhereError : public std::runtime_error {
  public:
    CElsewhereError() : std::runtime_error("another process has failed") {}
};

/// Runs the work of a command as one of the processes that were started for it.
///
/// A process that fails says so and ends all others; none is left waiting.
/// @throws what the work throws, if the process is on its own.
void DoAsRanks(const std::function<void(stream::ICommunicator&)>& work);

/// Does some work on every process. If it fails on some, the first of these throws its exception and the
/// others CElsewhereError: one message for a failure that all share.
void DoTogether(stream::ICommunicator& ranks, const std::function<void()>& work);

/// The text of rank 0.
std::string SharedText(stream::ICommunicator& ranks, const std::string& text);

} // namespace TEVRA::apps
