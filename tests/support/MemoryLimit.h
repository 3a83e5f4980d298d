// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/PixelMemory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>

namespace TEVRA::test {

/// Pixel memory may grow by this many bytes at most while the scope lives; the limit before comes back then.
class CPixelMemoryLimitScope {
  public:
    explicit CPixelMemoryLimitScope(std::size_t moreBytes) : m_previous(CPixelMemory::Limit()) {
        const std::size_t used = CPixelMemory::BytesInUse();
        const std::size_t most = std::numeric_limits<std::size_t>::max();
        CPixelMemory::SetLimit(moreBytes > most - used ? most : used + moreBytes);
    }
    ~CPixelMemoryLimitScope() { CPixelMemory::SetLimit(m_previous); }
    CPixelMemoryLimitScope(const CPixelMemoryLimitScope&) = delete;
    CPixelMemoryLimitScope& operator=(const CPixelMemoryLimitScope&) = delete;

  private:
    std::size_t m_previous;
};

/// Fails the test if, at the end of its life, more or less pixel memory is in use than at its beginning.
class CPixelLeakCheck {
  public:
    CPixelLeakCheck() : m_before(CPixelMemory::BytesInUse()) {}
    ~CPixelLeakCheck() { EXPECT_EQ(CPixelMemory::BytesInUse(), m_before) << "pixel memory leaked"; }
    CPixelLeakCheck(const CPixelLeakCheck&) = delete;
    CPixelLeakCheck& operator=(const CPixelLeakCheck&) = delete;

  private:
    std::size_t m_before;
};

/// Runs `operation` with 0, `stepBytes`, 2 `stepBytes` ... of pixel memory until it gets through, so that
/// each of its image allocations fails once if `stepBytes` is at most the smallest of them. After every
/// failure the pixel memory in use must be what it was. `operation` must drop its result.
/// @return how often it failed; a memory failure is whatever exception the operation lets out.
template <typename OperationT>
int CountMemoryFailures(std::size_t stepBytes, OperationT operation) {
    constexpr int MOST = 1000;
    const std::size_t before = CPixelMemory::BytesInUse();
    for (int failures = 0; failures < MOST; ++failures) {
        const CPixelMemoryLimitScope limit(static_cast<std::size_t>(failures) * stepBytes);
        try {
            operation();
            return failures;
        } catch (...) {
            EXPECT_EQ(CPixelMemory::BytesInUse(), before) << "leak after failure " << failures;
        }
    }
    ADD_FAILURE() << "the operation still fails with " << MOST << " steps of memory";
    return MOST;
}

} // namespace TEVRA::test
