// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/PrefaultPages.h"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace TEVRA::Impl {

void PrefaultPages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t bytes) noexcept {
#if defined(MADV_POPULATE_WRITE)
    static const auto pageBytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    auto* const first = static_cast<std::byte*>(memory);
    const std::size_t before = reinterpret_cast<std::uintptr_t>(first) % pageBytes; // on the first page
    madvise(first - before, before + bytes, MADV_POPULATE_WRITE);                   // only advice
#endif
}

} // namespace TEVRA::Impl
