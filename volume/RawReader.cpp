// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Failure.h"
#include "volume/RawPixels.h"
#include "volume/Readers.h"

namespace TEVRA::volume {
std::unique_ptr<IImageReader> OpenRaw(const std::string& path, const SRawLayout& layout) {
    const unsigned long long present = FileBytes(path);
    const unsigned long long expected = layout.size.Elements() * BytesPerPixel(layout.type);
    if (present != expected) {
        throw CInputError(path + ": the raw layout " + layout.size.ToString() + " of " +
                          Description(layout.type) + " pixels takes " + std::to_string(expected) +
                          " bytes, but the file has " + std::to_string(present) +
                          "; check the extents and the pixel type");
    }
    SImageInfo info;
    info.format = "raw";
    info.size = ImageSize(path, {layout.size[0], layout.size[1], layout.size[2]});
    SetStoredType(info, layout.type);
    info.spacingNote = "a raw file states none";
    return MakeRawPixelsReader(path, info, OpenFileBytes(path, 0, expected),
                               {layout.type, layout.byteOrder,
                                static_cast<std::size_t>(layout.size[0] * layout.size[1]), std::nullopt});
}

} // namespace TEVRA::volume
