// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Interruption.h"

#include "jobs/PendingFile.h"

#include <array>
#include <atomic>
#include <csignal>
#include <unistd.h>

namespace TEVRA::apps {

namespace {

constexpr std::array<int, 3> SIGNALS = {SIGINT, SIGTERM, SIGHUP};

std::atomic<int> g_requestedBy{0};
static_assert(std::atomic<int>::is_always_lock_free, "read and written in a signal handler");

extern "C" void request_stop(int signal) {
    int none = 0;
    if (g_requestedBy.compare_exchange_strong(none, signal)) {
        return;
    }
    jobs::RemovePendingFilesNow();
    _exit(128 + signal);
}

void set_handler(void (*handler)(int)) noexcept {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART; // reads and writes under way go on; the stop is noticed between steps
    for (const int signal : SIGNALS) {
        sigaction(signal, &action, nullptr);
    }
}

} // namespace

CInterruptionScope::CInterruptionScope() {
    g_requestedBy = 0;
    set_handler(&request_stop);
}

CInterruptionScope::~CInterruptionScope() {
    set_handler(SIG_DFL);
}

bool InterruptionRequested() noexcept {
    return g_requestedBy != 0;
}

void ThrowIfInterrupted() {
    if (const int signal = g_requestedBy; signal != 0) {
        throw CInterrupted(signal);
    }
}

} // namespace TEVRA::apps
