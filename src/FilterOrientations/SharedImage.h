// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Image.h"

#include <memory>

namespace TEVRA::Impl {

/// An owned image, or none. Copies share the image: it lives as long as one of them holds it, and once one of
/// them has released it to a caller, the others find none.
class CSharedImage {
  public:
    CImage* Get() const noexcept { return m_slot ? m_slot->get() : nullptr; }
    CImage& operator*() const noexcept { return *m_slot->get(); }
    CImage* operator->() const noexcept { return m_slot->get(); }
    explicit operator bool() const noexcept { return Get() != nullptr; }

    /// Lets go of the image and takes ownership of another one (or none).
    void Reset(CImage* image = nullptr) {
        std::unique_ptr<CImage> owned(image);
        m_slot = owned ? std::make_shared<std::unique_ptr<CImage>>(std::move(owned)) : nullptr;
    }
    /// Hands the image over to the caller.
    [[nodiscard]] CImage* Release() noexcept {
        CImage* image = m_slot ? m_slot->release() : nullptr;
        m_slot.reset();
        return image;
    }

  private:
    std::shared_ptr<std::unique_ptr<CImage>> m_slot;
};

} // namespace TEVRA::Impl
