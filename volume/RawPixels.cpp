// SPDX-License-Identifier: BSD-3-Clause
#include "volume/RawPixels.h"

#include <cstring>
#include <utility>

namespace TEVRA::volume {
namespace {

void scale_floats(const SValueScale& scale, std::size_t count, std::byte* pixels) {
    for (std::size_t i = 0; i < count; ++i) {
        float value = 0.0F;
        std::memcpy(&value, pixels + i * sizeof(float), sizeof(float));
        value = static_cast<float>(scale.slope * static_cast<double>(value) + scale.intercept);
        std::memcpy(pixels + i * sizeof(float), &value, sizeof(float));
    }
}

class CRawPixelsReader : public IImageReader {
  public:
    CRawPixelsReader(const SImageInfo& info, std::unique_ptr<IByteSource> bytes,
                     const SRawPixelsLayout& layout)
        : m_info(info), m_pixels(std::move(bytes), layout) {}

    const SImageInfo& Info() const override { return m_info; }

  private:
    void read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) override {
        m_pixels.Read(firstSlice, sliceCount, pixels);
    }

    SImageInfo m_info;
    CRawPixels m_pixels;
};

} // namespace

CRawPixels::CRawPixels(std::unique_ptr<IByteSource> bytes, const SRawPixelsLayout& layout)
    : m_bytes(std::move(bytes)), m_layout(layout) {}

void CRawPixels::Read(long long firstSlice, long long sliceCount, std::byte* pixels) {
    const std::size_t count = m_layout.pixelsPerSlice;
    const std::size_t storedBytes = BytesPerPixel(m_layout.type);
    const EPixelType handedOut = m_layout.scale ? EPixelType::f32 : HandedOutType(m_layout.type);
    const bool converts = m_layout.type != EStoredType::f32 && handedOut == EPixelType::f32;
    for (long long slice = firstSlice; slice < firstSlice + sliceCount; ++slice) {
        m_stored.resize(converts ? count * storedBytes : 0);
        std::byte* stored = converts ? m_stored.data() : pixels;
        m_bytes->Read(static_cast<unsigned long long>(slice) * count * storedBytes, count * storedBytes,
                      stored);
        if (NeedsSwap(m_layout.byteOrder)) {
            SwapBytes(stored, count, storedBytes);
        }
        if (converts) {
            ConvertToFloat(m_layout.type, stored, count, pixels);
        }
        if (m_layout.scale) {
            scale_floats(*m_layout.scale, count, pixels);
        }
        pixels += count * BytesPerPixel(handedOut);
    }
}

std::unique_ptr<IImageReader> MakeRawPixelsReader(const SImageInfo& info, std::unique_ptr<IByteSource> bytes,
                                                  const SRawPixelsLayout& layout) {
    return std::make_unique<CRawPixelsReader>(info, std::move(bytes), layout);
}

} // namespace TEVRA::volume
