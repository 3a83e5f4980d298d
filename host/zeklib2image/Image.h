// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/ImageInterface.h"
#include "zeklib2image/PixelMemory.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

namespace TEVRA {

namespace Impl {
class CDeferredCopies;
}

/// The host's image: pixels contiguous in memory, x fastest, without padding between lines or planes.
class CImage : public IImage {
  public:
    /// An image with all pixels zero.
    /// @param border pixels to reserve around the image; this host reserves none and takes zeros only.
    /// @throws CExBadParam for a size without dimensions, a negative extent or a border;
    ///         std::bad_alloc if the memory is not to be had.
    CImage(const IImage::CType& type, const CSize& size, const CSize& border);
    ~CImage() override;

    const CSize& Size() const override { return m_size; }
    const CType& Type() const override { return m_type; }
    const CValueMap& Attributes() const override { return m_attributes; }
    CValueMap& Attributes() override { return m_attributes; }
    IAccess* CreateAccess(bool readOnly) override;
    IAccess* CreateAccess(bool readOnly) const override;
    CImage& Resize(const CSize& size, const CSize& border) override;

    /// The pixels as a C array of `Size().Elements()` pixels; PixelT is the C type of one pixel.
    template <typename PixelT>
    PixelT* Pixels() noexcept {
        expose();
        return reinterpret_cast<PixelT*>(m_memory.Data());
    }
    template <typename PixelT>
    const PixelT* Pixels() const noexcept {
        prepare_to_look();
        return reinterpret_cast<const PixelT*>(m_memory.Data());
    }

    /// A copy of the image; of a large one the pixels are copied when somebody looks at either.
    /// @throws std::bad_alloc.
    std::unique_ptr<CImage> Copy() const;

    /// Sets all pixels of a copy that nobody has looked at yet from those of its original, which saves the
    /// copying: `compute(original, pixels)`. What it throws leaves the copy as it was.
    /// Meanwhile the original waits with changes and its other copies with theirs: `compute` touches none of
    /// them.
    /// @return false, with nothing done, if this is not such a copy.
    bool SetFromOriginal(const std::function<void(const std::byte*, std::byte*)>& compute);

  private:
    struct SDeferral;

    bool may_defer() const noexcept;
    std::shared_ptr<Impl::CDeferredCopies> copies() const;
    void prepare_to_look() const noexcept;
    void prepare_to_change() noexcept;
    void expose() noexcept;

    CType m_type;
    CSize m_size;
    CPixelMemory m_memory;
    CValueMap m_attributes;
    std::unique_ptr<SDeferral> m_deferral;        // of a copy
    std::shared_ptr<std::atomic<int>> m_writers;  // open accesses that may write
    std::atomic<bool> m_isExposed{false};         // to writers that nobody counts
    mutable std::mutex m_copiesAccess;            // guards the next two where they change
    mutable std::atomic<bool> m_hasCopies{false}; // that may still have to be made
    mutable std::shared_ptr<Impl::CDeferredCopies> m_copies;
};

} // namespace TEVRA
