// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Ranks.h"

#include "apps/Failure.h"
#include "apps/Interruption.h"
#include "jobs/Ranks.h"

#include <exception>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

namespace TEVRA::apps {

namespace {

/// The program ends with this status; what there was to say has been said.
[[noreturn]] void end_quietly(int status) {
    throw CAlreadyReported(status);
}

std::string message_of(const std::function<void()>& failing, int& status) {
    std::ostringstream message;
    status = RunGuarded(failing, message);
    return message.str();
}

} // namespace

void DoAsRanks(const std::function<void(stream::ICommunicator&)>& work) {
    const std::unique_ptr<stream::ICommunicator> ranks = stream::StartedProcesses();
    if (ranks->Size() == 1) {
        work(*ranks);
        return;
    }
    int status = STATUS_DONE;
    try {
        work(*ranks);
        return;
    } catch (const jobs::CElsewhereError&) {
        end_quietly(STATUS_FAILED);
    } catch (const jobs::CAgreedFailure& failure) {
        std::cerr << message_of([&failure] { failure.Rethrow(); }, status);
        end_quietly(status);
    } catch (...) {
        const bool isStopped = InterruptionRequested();
        const std::exception_ptr failure = std::current_exception();
        const std::string message = message_of([&failure] { std::rethrow_exception(failure); }, status);
        if (!isStopped) {
            std::cerr << "process " << ranks->Rank() << ": " << message << std::flush;
        } else if (ranks->IsFirst()) {
            // By the user, or by the launcher since another process has failed and said why.
            PrintError(std::cerr, "the job was stopped; what was not finished was not written");
        }
    }
    ranks->Abort(status);
    end_quietly(status);
}

} // namespace TEVRA::apps
