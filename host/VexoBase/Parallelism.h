// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace TEVRA {

/// How many threads the host's algorithms may use.
///
/// One number for the whole process, set by the application; one thread until it does, so that results and
/// load are predictable where nobody asked for more. Results never depend on it. An algorithm reads the
/// number when it starts.
class CParallelism {
  public:
    /// @param threads 1 or more; may exceed the machine's cores. @throws CExBadParam otherwise.
    static void SetThreads(int threads);
    static int Threads() noexcept;
};

} // namespace TEVRA
