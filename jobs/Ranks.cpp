// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/Ranks.h"

#include <exception>
#include <span>

namespace TEVRA::jobs {

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

} // namespace TEVRA::jobs
