// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/PixelMemory.h"

#include "zeklib2image/PrefaultPages.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <limits>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace TEVRA {
namespace {

constexpr std::size_t ALIGNMENT = 64;

/// From here on memory is mapped for itself and its pages are fetched at once.
constexpr std::size_t SMALLEST_MAPPING = std::size_t{1} << 20U;
constexpr std::size_t PAGE_BYTES = 4096;
/// Less and a thread costs more than it brings.
constexpr std::size_t LEAST_BYTES_PER_THREAD = std::size_t{8} << 20U;
constexpr std::size_t BYTES_PER_PIECE = std::size_t{1} << 20U; // whole pages
/// Images of equal size that all start on a page of their own would compete for the same sets of the caches
/// when a loop walks along several at once; each starts a few cache lines further than the one before.
constexpr std::size_t STAGGER = 5 * ALIGNMENT;
constexpr std::size_t STAGGERS = 12;

std::atomic<int> g_threads{1};
std::atomic<std::size_t> g_bytesInUse{0};
std::atomic<std::size_t> g_limit{std::numeric_limits<std::size_t>::max()};

void reserve(std::size_t bytes) {
    const std::size_t limit = g_limit.load();
    std::size_t used = g_bytesInUse.load();
    do {
        if (bytes > limit || used > limit - bytes) {
            throw std::bad_alloc();
        }
    } while (!g_bytesInUse.compare_exchange_weak(used, used + bytes));
}

#if defined(MADV_POPULATE_WRITE)
/// Fetches the pieces of a block that nobody has begun with yet.
void fetch_pieces(std::byte* block, std::size_t bytes, std::atomic<std::size_t>& begun) noexcept {
    for (std::size_t at = 0; (at = begun.fetch_add(BYTES_PER_PIECE, std::memory_order_relaxed)) < bytes;) {
        Impl::PrefaultPages(block + at, std::min(BYTES_PER_PIECE, bytes - at));
    }
}

/// Fetches zero pages. In pieces, since one call for all keeps other threads waiting, so that two would be no
/// faster than one. Which pages are huge is left to the system. Asking for them (MADV_HUGEPAGE) made the
/// first touch four times as fast where the machine had them ready and four times as slow in a virtual
/// machine whose host had not.
void fetch(std::byte* block, std::size_t bytes) {
    const auto most = static_cast<std::size_t>(g_threads.load(std::memory_order_relaxed));
    const std::size_t threads = std::clamp(bytes / LEAST_BYTES_PER_THREAD, std::size_t{1}, most);
    std::atomic<std::size_t> begun{0};
    std::vector<std::jthread> others;
    try {
        for (std::size_t thread = 1; thread < threads; ++thread) {
            others.emplace_back([block, bytes, &begun] { fetch_pieces(block, bytes, begun); });
        }
    } catch (const std::exception&) { // no thread or no memory for it: this one does it all
    }
    fetch_pieces(block, bytes, begun);
}
#endif

} // namespace

CPixelMemory::CPixelMemory(std::size_t bytes) {
    if (bytes > std::numeric_limits<std::size_t>::max() - (PAGE_BYTES + STAGGERS * STAGGER)) {
        throw std::bad_alloc();
    }
    reserve(bytes);
    if (!map(bytes) && !allocate(bytes)) {
        g_bytesInUse -= bytes;
        throw std::bad_alloc();
    }
    m_bytes = bytes;
}

bool CPixelMemory::map([[maybe_unused]] std::size_t bytes) noexcept {
#if defined(MADV_POPULATE_WRITE)
    if (bytes < SMALLEST_MAPPING) {
        return false;
    }
    static std::atomic<std::size_t> s_count{0};
    const std::size_t stagger = s_count++ % STAGGERS * STAGGER;
    const std::size_t mapped = (bytes + stagger + PAGE_BYTES - 1) / PAGE_BYTES * PAGE_BYTES;
    void* const block = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) { // NOLINT(performance-no-int-to-ptr): the system's macro
        return false;
    }
    m_block = block;
    m_mappedBytes = mapped;
    m_data = static_cast<std::byte*>(block) + stagger;
    fetch(static_cast<std::byte*>(block), mapped);
    return true;
#else
    return false;
#endif
}

bool CPixelMemory::allocate(std::size_t bytes) noexcept {
    m_block = std::calloc(bytes + ALIGNMENT, 1); // NOLINT(cppcoreguidelines-no-malloc)
    if (m_block == nullptr) {
        return false;
    }
    const std::size_t misaligned = reinterpret_cast<std::uintptr_t>(m_block) % ALIGNMENT;
    m_data = static_cast<std::byte*>(m_block) + (ALIGNMENT - misaligned) % ALIGNMENT;
    return true;
}

CPixelMemory::CPixelMemory(CPixelMemory&& other) noexcept
    : m_block(std::exchange(other.m_block, nullptr)), m_mappedBytes(std::exchange(other.m_mappedBytes, 0)),
      m_data(std::exchange(other.m_data, nullptr)), m_bytes(std::exchange(other.m_bytes, 0)) {}

CPixelMemory& CPixelMemory::operator=(CPixelMemory&& other) noexcept {
    if (this != &other) {
        free();
        m_block = std::exchange(other.m_block, nullptr);
        m_mappedBytes = std::exchange(other.m_mappedBytes, 0);
        m_data = std::exchange(other.m_data, nullptr);
        m_bytes = std::exchange(other.m_bytes, 0);
    }
    return *this;
}

CPixelMemory::~CPixelMemory() {
    free();
}

void CPixelMemory::free() noexcept {
    if (m_mappedBytes > 0) {
#if defined(MADV_POPULATE_WRITE)
        munmap(m_block, m_mappedBytes);
#endif
    } else {
        std::free(m_block); // NOLINT(cppcoreguidelines-no-malloc)
    }
    g_bytesInUse -= m_bytes;
    m_block = nullptr;
    m_mappedBytes = 0;
    m_data = nullptr;
    m_bytes = 0;
}

void CPixelMemory::SetThreads(int threads) noexcept {
    g_threads.store(threads, std::memory_order_relaxed);
}

std::size_t CPixelMemory::BytesInUse() noexcept {
    return g_bytesInUse.load();
}

void CPixelMemory::SetLimit(std::size_t bytes) noexcept {
    g_limit.store(bytes);
}

std::size_t CPixelMemory::Limit() noexcept {
    return g_limit.load();
}

} // namespace TEVRA
