// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/PixelMemory.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>

namespace TEVRA {
namespace {

constexpr std::size_t ALIGNMENT = 64;

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

} // namespace

CPixelMemory::CPixelMemory(std::size_t bytes) {
    if (bytes > std::numeric_limits<std::size_t>::max() - ALIGNMENT) {
        throw std::bad_alloc();
    }
    reserve(bytes);
    // calloc, not new and fill: large blocks come from the kernel as zero pages that are not touched here.
    m_block = std::calloc(bytes + ALIGNMENT, 1); // NOLINT(cppcoreguidelines-no-malloc)
    if (m_block == nullptr) {
        g_bytesInUse -= bytes;
        throw std::bad_alloc();
    }
    const std::size_t misaligned = reinterpret_cast<std::uintptr_t>(m_block) % ALIGNMENT;
    m_data = static_cast<std::byte*>(m_block) + (ALIGNMENT - misaligned) % ALIGNMENT;
    m_bytes = bytes;
}

CPixelMemory::CPixelMemory(CPixelMemory&& other) noexcept
    : m_block(std::exchange(other.m_block, nullptr)), m_data(std::exchange(other.m_data, nullptr)),
      m_bytes(std::exchange(other.m_bytes, 0)) {}

CPixelMemory& CPixelMemory::operator=(CPixelMemory&& other) noexcept {
    if (this != &other) {
        free();
        m_block = std::exchange(other.m_block, nullptr);
        m_data = std::exchange(other.m_data, nullptr);
        m_bytes = std::exchange(other.m_bytes, 0);
    }
    return *this;
}

CPixelMemory::~CPixelMemory() {
    free();
}

void CPixelMemory::free() noexcept {
    if (m_block != nullptr) {
        std::free(m_block); // NOLINT(cppcoreguidelines-no-malloc)
        g_bytesInUse -= m_bytes;
    }
    m_block = nullptr;
    m_data = nullptr;
    m_bytes = 0;
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
