// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <shared_mutex>
#include <vector>

namespace TEVRA::Impl {

/// Copies of some memory that are to be made only when somebody looks at them or the original changes.
///
/// Shared by the owner of the original and those of the copies. The owner of the original calls `MakeAll`
/// before the original changes or goes away; the owner of a copy calls `Make` before the copy is looked at or
/// changes, `Forget` before it goes away. All calls are safe from several threads.
class CDeferredCopies {
  public:
    /// One copy to be made.
    struct SCopy {
        std::byte* pixels = nullptr;
        std::atomic<bool> pending{true};
    };

    CDeferredCopies(const std::byte* original, std::size_t bytes) : m_original(original), m_bytes(bytes) {}

    void Add(SCopy& copy);
    void Make(SCopy& copy);
    void MakeAll();
    void Forget(SCopy& copy);
    /// Instead of making the copy: `compute(original, pixels)` sets all its pixels. The original stays as it
    /// is meanwhile. What `compute` throws leaves the copy to be made.
    /// @return false if the copy has been made already; nothing is computed then.
    bool Replace(SCopy& copy, const std::function<void(const std::byte*, std::byte*)>& compute);

  private:
    void make(SCopy& copy) const;

    const std::byte* m_original;
    std::size_t m_bytes;
    std::shared_mutex m_access; // shared by those who read the original to compute something else
    std::vector<SCopy*> m_copies;
};

} // namespace TEVRA::Impl
