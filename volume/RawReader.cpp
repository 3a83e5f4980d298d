// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Failure.h"
#include "volume/RawPixels.h"
#include "volume/Readers.h"

namespace TEVRA::volume {
namespace {

EStoredType stored_type(EPixelType type) {
    switch (type) {
    case EPixelType::u8:
        return EStoredType::u8;
    case EPixelType::u16:
        return EStoredType::u16;
    case EPixelType::f32:
        break;
    }
    return EStoredType::f32;
}

SImageInfo info_of(const std::string& path, const SRawLayout& layout) {
    SImageInfo info;
    info.format = "raw";
    info.size = ImageSize(path, {layout.size[0], layout.size[1], layout.size[2]});
    info.pixelType = layout.pixelType;
    info.storedType = Description(layout.pixelType);
    info.spacingNote = "a raw file states no spacing";
    return info;
}

SRawPixelsLayout pixels_of(const SRawLayout& layout) {
    return {0, stored_type(layout.pixelType), layout.byteOrder,
            static_cast<std::size_t>(layout.size[0] * layout.size[1]), layout.size[2]};
}

class CRawReader : public IImageReader {
  public:
    CRawReader(const std::string& path, const SRawLayout& layout)
        : m_info(info_of(path, layout)), m_pixels(path, pixels_of(layout)) {}

    const SImageInfo& Info() const override { return m_info; }

  private:
    void read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) override {
        m_pixels.Read(firstSlice, sliceCount, pixels);
    }

    SImageInfo m_info;
    CRawPixels m_pixels;
};

} // namespace

std::unique_ptr<IImageReader> OpenRaw(const std::string& path, const SRawLayout& layout) {
    const unsigned long long present = FileBytes(path);
    const unsigned long long expected = layout.size.Elements() * BytesPerPixel(layout.pixelType);
    if (present != expected) {
        throw CInputError(path + ": the raw layout " + layout.size.ToString() + " of " +
                          Description(layout.pixelType) + " pixels takes " + std::to_string(expected) +
                          " bytes, but the file has " + std::to_string(present) +
                          "; check the extents and the pixel type");
    }
    return std::make_unique<CRawReader>(path, layout);
}

} // namespace TEVRA::volume
