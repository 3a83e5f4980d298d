// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "VexoBase/Parallelism.h"

namespace TEVRA::test {

/// The host works with this many threads while the scope lives.
class CThreadCountScope {
  public:
    explicit CThreadCountScope(int threads) : m_previous(CParallelism::Threads()) {
        CParallelism::SetThreads(threads);
    }
    ~CThreadCountScope() { CParallelism::SetThreads(m_previous); }
    CThreadCountScope(const CThreadCountScope&) = delete;
    CThreadCountScope& operator=(const CThreadCountScope&) = delete;

  private:
    int m_previous;
};

} // namespace TEVRA::test
