// SPDX-License-Identifier: BSD-3-Clause
#include "stream/SliceView.h"

#include <stdexcept>

namespace TEVRA::stream {
namespace {

class CAccess : public IImage::IAccess {
  public:
    CAccess(float* pixels, const CSize& size, bool readOnly)
        : m_pixels(pixels), m_width(static_cast<std::ptrdiff_t>(size[0])), m_readOnly(readOnly) {}

    void SetRegion(const CPos& /*first*/, const CPos& /*last*/) override {
        throw std::logic_error("slices are accessed as a whole");
    }
    void* Data() override { return m_pixels; }
    const void* ConstData() const override { return m_pixels; }
    std::ptrdiff_t Stride(int axis) const override {
        const auto pixel = static_cast<std::ptrdiff_t>(sizeof(float));
        return axis == 0 ? pixel : (axis == 1 ? m_width * pixel : 0);
    }
    bool IsReadOnly() const noexcept override { return m_readOnly; }

  private:
    float* m_pixels;
    std::ptrdiff_t m_width;
    bool m_readOnly;
};

} // namespace

IImage::IAccess* CSliceView::CreateAccess(bool readOnly) {
    return new CAccess(m_pixels, m_size, readOnly);
}

IImage::IAccess* CSliceView::CreateAccess(bool /*readOnly*/) const {
    return new CAccess(m_pixels, m_size, true);
}

IImage& CSliceView::Resize(const CSize& /*size*/, const CSize& /*border*/) {
    throw std::logic_error("a view of pixels cannot be resized");
}

} // namespace TEVRA::stream
