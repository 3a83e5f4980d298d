// SPDX-License-Identifier: BSD-3-Clause
#include "stream/HugePages.h"

#include <cstdint>
#include <new>
#include <sys/mman.h>

namespace TEVRA::stream {
namespace {

constexpr std::size_t HUGE_PAGE_BYTES = std::size_t{2} << 20U;

} // namespace

std::shared_ptr<void> NewHugePages(std::size_t bytes) {
    // Room to begin with such a page; what is never written takes no memory.
    const std::size_t mapped = bytes + HUGE_PAGE_BYTES;
    void* const block = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) { // NOLINT(performance-no-int-to-ptr): the system's macro
        throw std::bad_alloc();
    }
    const std::size_t misaligned = reinterpret_cast<std::uintptr_t>(block) % HUGE_PAGE_BYTES;
    auto* const first = static_cast<std::byte*>(block) + (HUGE_PAGE_BYTES - misaligned) % HUGE_PAGE_BYTES;
#if defined(MADV_HUGEPAGE)
    madvise(first, bytes, MADV_HUGEPAGE); // only advice
#endif
    const std::shared_ptr<void> owner(block, [mapped](void* memory) { munmap(memory, mapped); });
    return {owner, first};
}

} // namespace TEVRA::stream
