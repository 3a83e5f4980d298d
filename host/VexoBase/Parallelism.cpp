// SPDX-License-Identifier: BSD-3-Clause
#include "VexoBase/Parallelism.h"

#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"
#include "zeklib2image/PixelMemory.h"

#include <atomic>

namespace TEVRA {
namespace {

std::atomic<int> s_threads{1};

} // namespace

void CParallelism::SetThreads(int threads) {
    if (threads < 1) {
        const CString message =
            CString("The number of threads must be 1 or more, not %1.", CString::eEncodingUtf8)
                .Arg(threads, 0);
        throw CExBadParam(
            TEVRA_LOCATION("host/VexoBase/Parallelism", "TEVRA::CParallelism::SetThreads", __LINE__),
            message.c_str());
    }
    s_threads.store(threads, std::memory_order_relaxed);
    CPixelMemory::SetThreads(threads);
}

int CParallelism::Threads() noexcept {
    return s_threads.load(std::memory_order_relaxed);
}

} // namespace TEVRA
