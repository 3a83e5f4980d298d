// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/DeferredCopies.h"

#include <cstring>
#include <mutex>

namespace TEVRA::Impl {

void CDeferredCopies::Add(SCopy& copy) {
    const std::unique_lock lock(m_access);
    m_copies.push_back(&copy);
}

void CDeferredCopies::Make(SCopy& copy) {
    if (!copy.pending.load(std::memory_order_acquire)) {
        return;
    }
    const std::unique_lock lock(m_access);
    make(copy);
}

void CDeferredCopies::MakeAll() {
    const std::unique_lock lock(m_access);
    for (SCopy* const copy : m_copies) {
        make(*copy);
    }
    m_copies.clear();
}

void CDeferredCopies::Forget(SCopy& copy) {
    const std::unique_lock lock(m_access);
    std::erase(m_copies, &copy);
}

bool CDeferredCopies::Replace(SCopy& copy, const std::function<void(const std::byte*, std::byte*)>& compute) {
    const std::shared_lock lock(m_access);
    if (!copy.pending.load(std::memory_order_acquire)) {
        return false;
    }
    compute(m_original, copy.pixels);
    copy.pending.store(false, std::memory_order_release);
    return true;
}

void CDeferredCopies::make(SCopy& copy) const {
    if (copy.pending.load(std::memory_order_acquire)) {
        std::memcpy(copy.pixels, m_original, m_bytes);
        copy.pending.store(false, std::memory_order_release);
    }
}

} // namespace TEVRA::Impl
