// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <memory>

namespace TEVRA {

/// Zero-filled pixel memory, aligned to 64 bytes (a cache line, and the widest vector).
///
/// The pages of large memory are fetched when it is created, not one by one when they are first written.
///
/// The host accounts for all of it: the bytes in use can be read, and a limit can be set beyond which
/// allocations fail as if the machine had no more.
class CPixelMemory {
  public:
    CPixelMemory() = default;
    /// @throws std::bad_alloc if the memory is not to be had or the limit would be exceeded.
    explicit CPixelMemory(std::size_t bytes);
    CPixelMemory(CPixelMemory&& other) noexcept;
    CPixelMemory& operator=(CPixelMemory&& other) noexcept;
    CPixelMemory(const CPixelMemory&) = delete;
    CPixelMemory& operator=(const CPixelMemory&) = delete;
    ~CPixelMemory();

    std::byte* Data() noexcept { return m_data; }
    const std::byte* Data() const noexcept { return m_data; }
    std::size_t Bytes() const noexcept { return m_bytes; }

    /// How many threads may fetch the pages of large memory; 1 unless set. @param threads 1 or more.
    static void SetThreads(int threads) noexcept;

    /// Bytes of pixel memory in use by all images of the process.
    static std::size_t BytesInUse() noexcept;
    /// Most bytes that may be in use at a time; the default is no limit.
    static void SetLimit(std::size_t bytes) noexcept;
    static std::size_t Limit() noexcept;

  private:
    bool map(std::size_t bytes) noexcept;
    bool allocate(std::size_t bytes) noexcept;
    void free() noexcept;

    void* m_block = nullptr;       // what the system gave
    std::size_t m_mappedBytes = 0; // of pages mapped for this memory alone; 0 if it came from the heap
    std::byte* m_data = nullptr;
    std::size_t m_bytes = 0;
};

} // namespace TEVRA
