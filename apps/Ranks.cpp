// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Ranks.h"

#include "apps/Failure.h"
#include "apps/Interruption.h"

#include <exception>
#include <iostream>
#include <span>
#include <sstream>

namespace TEVRA::apps {

namespace {

/// A failure that all processes know of.
class CAgreedFailure {
  public:
    explicit CAgreedFailure(std::exception_ptr failure) : m_failure(std::move(failure)) {}
    [[noreturn]] void Rethrow() const { std::rethrow_exception(m_failure); }

  private:
    std::exception_ptr m_failure;
};

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
    } catch (const CElsewhereError&) {
        end_quietly(STATUS_FAILED);
    } catch (const CAgreedFailure& failure) {
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
            PrintError(std::cerr, "the job was stopped; no output was written");
        }
    }
    ranks->Abort(status);
    end_quietly(status);
}

void DoTogether(stream::ICommunicator& ranks, const std::function<void()>& work) {
    if (ranks.Size() == 1) {
        work();
        return;
    }
    std::exception_ptr failure;
    try {
        work();
    } catch (...) {
        failure = std::current_exception();
    }
    const int failed = static_cast<int>(ranks.Smallest(failure ? ranks.Rank() : ranks.Size()));
    if (failed == ranks.Rank()) {
        throw CAgreedFailure(failure);
    }
    if (failed < ranks.Size()) {
        throw CElsewhereError();
    }
}

std::string SharedText(stream::ICommunicator& ranks, const std::string& text) {
    stream::ICommunicator::Message message = stream::MessageOf(std::span<const char>(text));
    ranks.Share(message);
    std::string shared(message.size(), '\0');
    stream::CopyMessage(message, std::as_writable_bytes(std::span(shared)));
    return shared;
}

} // namespace TEVRA::apps
