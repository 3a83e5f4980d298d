// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "Utils/TaskRunner.h"
#include "VexoBase/Workers.h"

#include <functional>

namespace TEVRA::stream {

/// The host's workers, which may also be lent to the library.
class CWorkers : public Impl::CWorkers, public ITaskRunner {
  public:
    using Impl::CWorkers::CWorkers;
    using Impl::CWorkers::Run;

    /// The same for tasks that do not care who does them.
    void Run(long long count, const std::function<void(long long task)>& task) override {
        Run(count, [&task](long long number, int /*worker*/) { task(number); });
    }
    int AtOnce() const noexcept override { return Count(); }
};

} // namespace TEVRA::stream
