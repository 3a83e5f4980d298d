// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>

#ifdef TEVRA_THREAD_SANITIZER
// Of ThreadSanitizer's run-time library.
extern "C" void __tsan_acquire(void* place); // NOLINT(bugprone-reserved-identifier)
extern "C" void __tsan_release(void* place); // NOLINT(bugprone-reserved-identifier)
#endif

namespace TEVRA::Impl {

/// What ThreadSanitizer does not see of tasks that a thread hands to a library and waits for: that they begin
/// after it handed them out, that it goes on after their ends, and that those under one worker's number
/// follow each other. The library's own locks are unknown to it. For files of `tevra_hands_out_tasks`
/// (CMake).
///
///     CForkJoin forkJoin; // as long as the calling thread waits
///     library_for(..., [&](long long task, int worker) {
///         const CForkJoin::CTask running(forkJoin, worker);
///         ...
///
/// Two tasks with different numbers stay unordered, so that what they do to each other is still found.
/// Does nothing in programs that are built without ThreadSanitizer.
class CForkJoin {
  public:
    CForkJoin() noexcept { release(m_fork); }
    ~CForkJoin() { acquire(m_join); }
    CForkJoin(const CForkJoin&) = delete;
    CForkJoin& operator=(const CForkJoin&) = delete;

    /// One task, from its beginning to its end.
    class CTask {
      public:
        CTask(CForkJoin& forkJoin, int worker) noexcept
            : m_forkJoin(forkJoin),
              m_worker(forkJoin.m_workers[static_cast<std::size_t>(worker) % forkJoin.m_workers.size()]) {
            acquire(m_forkJoin.m_fork);
            acquire(m_worker);
        }
        ~CTask() {
            release(m_worker);
            release(m_forkJoin.m_join);
        }
        CTask(const CTask&) = delete;
        CTask& operator=(const CTask&) = delete;

      private:
        CForkJoin& m_forkJoin;
        char& m_worker;
    };

  private:
#ifdef TEVRA_THREAD_SANITIZER
    static void acquire(char& place) noexcept {
        __tsan_acquire(&place);
    }
    static void release(char& place) noexcept {
        __tsan_release(&place);
    }
#else
    static void acquire(char& /*place*/) noexcept {}
    static void release(char& /*place*/) noexcept {}
#endif

    // Only their addresses count.
    char m_fork = 0;
    char m_join = 0;
    std::array<char, 128> m_workers{}; // more than these share their places, and their order
};

} // namespace TEVRA::Impl
