// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/Image.h"

#include "zeklib2core/Exception.h"
#include "zeklib2core/String.h"
#include "zeklib2image/DeferredCopies.h"
#include "zeklib2image/PackedAccess.h"

#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <utility>

namespace TEVRA {
namespace {

constexpr const char* SOURCE = "host/zeklib2image/Image";

/// Smaller images are copied at once: that costs less than to keep account of it.
constexpr std::size_t SMALLEST_DEFERRED_COPY = std::size_t{1} << 20U;

/// Bytes of an image. @throws CExBadParam for unusable extents, std::bad_alloc beyond the address space.
std::size_t checked_bytes(const IImage::CType& type, const CSize& size, const CSize& border,
                          const char* function) {
    for (int axis = 0; axis < border.Dim(); ++axis) {
        if (border[axis] != 0) {
            throw CExBadParam(TEVRA_LOCATION(SOURCE, function, __LINE__), "Images have no border.");
        }
    }
    if (size.Dim() < 1) {
        throw CExBadParam(TEVRA_LOCATION(SOURCE, function, __LINE__),
                          "An image needs at least one dimension.");
    }
    bool empty = false;
    for (int axis = 0; axis < size.Dim(); ++axis) {
        if (size[axis] < 0) {
            CString message("An image cannot have the size %1.", CString::eEncodingUtf8);
            message.Arg(size.ToString());
            throw CExBadParam(TEVRA_LOCATION(SOURCE, function, __LINE__), message.c_str());
        }
        empty = empty || size[axis] == 0;
    }
    std::size_t bytes = empty ? 0 : type.BytesPerPixel();
    for (int axis = 0; axis < size.Dim() && !empty; ++axis) {
        const auto extent = static_cast<std::size_t>(size[axis]);
        if (bytes > std::numeric_limits<std::size_t>::max() / extent) {
            throw std::bad_alloc();
        }
        bytes *= extent;
    }
    return bytes;
}

/// Access that is counted while it lives and may write.
class CWritingAccess : public CPackedAccess {
  public:
    CWritingAccess(std::byte* pixels, const CSize& size, std::size_t bytesPerPixel,
                   std::shared_ptr<std::atomic<int>> writers)
        : CPackedAccess(pixels, size, bytesPerPixel), m_pixels(pixels), m_writers(std::move(writers)) {
        ++*m_writers;
    }
    ~CWritingAccess() override { --*m_writers; }
    CWritingAccess(const CWritingAccess&) = delete;
    CWritingAccess& operator=(const CWritingAccess&) = delete;

    void* Data() override { return m_pixels + region_offset(); }
    bool IsReadOnly() const noexcept override { return false; }

  private:
    std::byte* m_pixels;
    std::shared_ptr<std::atomic<int>> m_writers;
};

} // namespace

/// What a copy knows of the copying that is still to be done.
struct CImage::SDeferral {
    SDeferral(std::shared_ptr<Impl::CDeferredCopies> copies, std::byte* pixels)
        : original(std::move(copies)) {
        copy.pixels = pixels;
        original->Add(copy);
    }
    ~SDeferral() { original->Forget(copy); }
    SDeferral(const SDeferral&) = delete;
    SDeferral& operator=(const SDeferral&) = delete;

    std::shared_ptr<Impl::CDeferredCopies> original;
    Impl::CDeferredCopies::SCopy copy;
};

CImage::CImage(const IImage::CType& type, const CSize& size, const CSize& border)
    : m_type(type), m_size(size), m_memory(checked_bytes(type, size, border, "TEVRA::CImage::CImage")),
      m_writers(std::make_shared<std::atomic<int>>(0)) {}

CImage::~CImage() {
    if (m_copies) {
        m_copies->MakeAll();
    }
}

IImage::IAccess* CImage::CreateAccess(bool readOnly) {
    if (readOnly) {
        return std::as_const(*this).CreateAccess(true);
    }
    prepare_to_change();
    return new CWritingAccess(m_memory.Data(), m_size, m_type.BytesPerPixel(), m_writers);
}

IImage::IAccess* CImage::CreateAccess(bool readOnly) const {
    if (!readOnly) {
        throw CExBadParam(TEVRA_LOCATION(SOURCE, "TEVRA::CImage::CreateAccess", __LINE__),
                          "A constant image gives read-only access only.");
    }
    prepare_to_look();
    return new CPackedAccess(m_memory.Data(), m_size, m_type.BytesPerPixel());
}

CImage& CImage::Resize(const CSize& size, const CSize& border) {
    CPixelMemory memory(checked_bytes(m_type, size, border, "TEVRA::CImage::Resize"));
    prepare_to_change();
    m_deferral.reset();
    m_memory = std::move(memory);
    m_size = size;
    return *this;
}

std::unique_ptr<CImage> CImage::Copy() const {
    prepare_to_look();
    auto copy = std::make_unique<CImage>(m_type, m_size, CSize(0, 0, 0));
    if (may_defer()) {
        copy->m_deferral = std::make_unique<SDeferral>(copies(), copy->m_memory.Data());
    } else if (m_memory.Bytes() > 0) {
        std::memcpy(copy->m_memory.Data(), m_memory.Data(), m_memory.Bytes());
    }
    copy->m_attributes = m_attributes;
    return copy;
}

bool CImage::SetFromOriginal(const std::function<void(const std::byte*, std::byte*)>& compute) {
    return m_deferral && m_deferral->original->Replace(m_deferral->copy, compute);
}

/// Whether nobody can write to the pixels without this image's knowing.
bool CImage::may_defer() const noexcept {
    return m_memory.Bytes() >= SMALLEST_DEFERRED_COPY && !m_isExposed && m_writers->load() == 0;
}

std::shared_ptr<Impl::CDeferredCopies> CImage::copies() const {
    const std::lock_guard lock(m_copiesAccess);
    if (!m_copies) {
        m_copies = std::make_shared<Impl::CDeferredCopies>(m_memory.Data(), m_memory.Bytes());
        m_hasCopies = true;
    }
    return m_copies;
}

void CImage::prepare_to_look() const noexcept {
    if (m_deferral) {
        m_deferral->original->Make(m_deferral->copy);
    }
}

void CImage::prepare_to_change() noexcept {
    prepare_to_look();
    if (!m_hasCopies) {
        return;
    }
    const std::lock_guard lock(m_copiesAccess);
    if (m_copies) {
        m_copies->MakeAll();
        m_copies.reset();
        m_hasCopies = false;
    }
}

/// The caller may keep the pixels' address and write whenever it likes.
void CImage::expose() noexcept {
    m_isExposed = true;
    prepare_to_change();
}

} // namespace TEVRA
