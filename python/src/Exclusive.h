// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "jobs/Failure.h"

#include <mutex>

namespace TEVRA::python {

/// Keeps two Python threads from working with one object at a time, which the library does not allow.
class CExclusive {
  public:
    /// Does not wait: whoever holds the interpreter's lock must not.
    /// @throws jobs::CWorkError if the object is at work.
    std::unique_lock<std::mutex> Take() {
        std::unique_lock<std::mutex> lock(m_mutex, std::try_to_lock);
        if (!lock.owns_lock()) {
            throw jobs::CWorkError("the object is at work in another thread; give each thread its own");
        }
        return lock;
    }

  private:
    std::mutex m_mutex;
};

} // namespace TEVRA::python
