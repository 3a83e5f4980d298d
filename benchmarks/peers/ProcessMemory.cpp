// SPDX-License-Identifier: BSD-3-Clause
#include "ProcessMemory.h"

#include <fstream>
#include <string>

namespace TEVRA::benchmarks {
namespace {

std::size_t status_bytes(const std::string& key) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        if (word == key) {
            std::size_t kibibytes = 0;
            status >> kibibytes;
            return kibibytes * 1024;
        }
    }
    return 0;
}

} // namespace

std::size_t ResidentBytes() {
    return status_bytes("VmRSS:");
}

std::size_t PeakBytes() {
    return status_bytes("VmHWM:");
}

void ResetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

} // namespace TEVRA::benchmarks
