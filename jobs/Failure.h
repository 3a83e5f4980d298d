// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <stdexcept>

namespace TEVRA::jobs {

/// The parameters are right by themselves, but the work cannot be done; the message says why and what to do.
class CWorkError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace TEVRA::jobs
