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
    SImageInfo info;
    info.format = "raw";
    info.size = ImageSize(path, {layout.size[0], layout.size[1], layout.size[2]});
    info.pixelType = layout.pixelType;
    info.storedType = Description(layout.pixelType);
    info.spacingNote = "a raw file states none";
    return MakeRawPixelsReader(info, OpenFileBytes(path, 0, expected),
                               {stored_type(layout.pixelType), layout.byteOrder,
                                static_cast<std::size_t>(layout.size[0] * layout.size[1]), std::nullopt});
}

} // namespace TEVRA::volume
