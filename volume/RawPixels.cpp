// SPDX-License-Identifier: BSD-3-Clause
#include "volume/RawPixels.h"

#include <utility>

namespace TEVRA::volume {
namespace {

class CRawPixelsReader : public IImageReader {
  public:
    CRawPixelsReader(const std::string& path, const SImageInfo& info, std::unique_ptr<IByteSource> bytes,
                     const SRawPixelsLayout& layout)
        : m_path(path), m_info(info), m_pixels(path, std::move(bytes), layout) {}

    const SImageInfo& Info() const override { return m_info; }
    std::vector<std::string> Files() const override {
        return m_pixels.Path() == m_path ? std::vector{m_path} : std::vector{m_path, m_pixels.Path()};
    }
    std::size_t BufferBytes() const override { return m_pixels.BufferBytes(); }
    double LargestRounding() const override { return m_pixels.LargestRounding(); }

  private:
    void read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) override {
        m_pixels.Read(firstSlice, sliceCount, pixels);
    }

    std::string m_path;
    SImageInfo m_info;
    CRawPixels m_pixels;
};

} // namespace

CRawPixels::CRawPixels(const std::string& name, std::unique_ptr<IByteSource> bytes,
                       const SRawPixelsLayout& layout)
    : m_bytes(std::move(bytes)), m_layout(layout), m_conversion(name) {}

std::size_t CRawPixels::BufferBytes() const {
    return m_bytes->BufferBytes() + (converts() ? m_layout.pixelsPerSlice * BytesPerPixel(m_layout.type) : 0);
}

void CRawPixels::Read(long long firstSlice, long long sliceCount, std::byte* pixels) {
    const std::size_t count = m_layout.pixelsPerSlice;
    const std::size_t storedBytes = BytesPerPixel(m_layout.type);
    const EPixelType handedOut = converts() ? EPixelType::f32 : HandedOutType(m_layout.type);
    m_stored.resize(converts() ? count * storedBytes : 0);
    for (long long slice = firstSlice; slice < firstSlice + sliceCount; ++slice) {
        std::byte* stored = converts() ? m_stored.data() : pixels;
        m_bytes->Read(static_cast<unsigned long long>(slice) * count * storedBytes, count * storedBytes,
                      stored);
        if (NeedsSwap(m_layout.byteOrder)) {
            SwapBytes(stored, count, storedBytes);
        }
        if (converts()) {
            m_conversion.Convert(m_layout.type, stored, count, pixels,
                                 m_layout.scale.value_or(SValueScale{}));
        }
        pixels += count * BytesPerPixel(handedOut);
    }
}

std::unique_ptr<IImageReader> MakeRawPixelsReader(const std::string& path, const SImageInfo& info,
                                                  std::unique_ptr<IByteSource> bytes,
                                                  const SRawPixelsLayout& layout) {
    return std::make_unique<CRawPixelsReader>(path, info, std::move(bytes), layout);
}

} // namespace TEVRA::volume
