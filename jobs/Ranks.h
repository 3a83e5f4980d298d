// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/Communicator.h"

#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

namespace TEVRA::jobs {

/// Another process of the job has failed and says why.
class CElsewhereError : public std::runtime_error {
  public:
    CElsewhereError() : std::runtime_error("another process has failed") {}
};

/// A failure that all processes know of. It is no std::exception, so that nothing on the way takes it for one
/// of this process alone.
class CAgreedFailure {
  public:
    explicit CAgreedFailure(std::exception_ptr failure) : m_failure(std::move(failure)) {}
    [[noreturn]] void Rethrow() const { std::rethrow_exception(m_failure); }

  private:
    std::exception_ptr m_failure;
};

/// Does some work on every process. If it fails on some, the first of these throws CAgreedFailure with its
/// exception and the others CElsewhereError: one message for a failure that all share. A single process
/// throws the exception itself.
void DoTogether(stream::ICommunicator& ranks, const std::function<void()>& work);

/// Throws a failure that all processes have met at the same step: the first as CAgreedFailure, the others
/// CElsewhereError. A single process throws it itself.
template <typename TFailure>
[[noreturn]] void FailTogether(const stream::ICommunicator& ranks, const TFailure& failure) {
    if (ranks.Size() == 1) {
        throw failure;
    }
    if (ranks.IsFirst()) {
        throw CAgreedFailure(std::make_exception_ptr(failure));
    }
    throw CElsewhereError();
}

/// The text of rank 0.
std::string SharedText(stream::ICommunicator& ranks, const std::string& text);

} // namespace TEVRA::jobs
