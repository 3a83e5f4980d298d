// SPDX-License-Identifier: BSD-3-Clause
#include "volume/TiffWriter.h"

#include "volume/Failure.h"
#include "volume/ImageSlices.h"
#include "volume/NumberText.h"

#include "VexoBase/ProgressMonitor.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <memory>

#include <tiffio.h>

namespace TEVRA::volume {
namespace {

constexpr std::size_t LARGEST_CLASSIC_BYTES = std::size_t{4'000'000'000}; // headers need the rest of 4 GiB
constexpr std::size_t STRIP_BYTES = std::size_t{1} << 20;

[[noreturn]] void fail_to_write(const std::string& path) {
    throw CEnvironmentError(path + ": cannot be written; check the folder's permissions and the free space");
}

const char* ome_type(EPixelType type) {
    switch (type) {
    case EPixelType::u8:
        return "uint8";
    case EPixelType::u16:
        return "uint16";
    case EPixelType::f32:
        break;
    }
    return "float";
}

std::string ome_text(const CSize& size, EPixelType type, const std::array<double, 3>& spacing,
                     const std::string& unit) {
    const std::array<const char*, 3> axes{"X", "Y", "Z"};
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
                       "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\">"
                       "<Image ID=\"Image:0\"><Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\"";
    text += std::string(" Type=\"") + ome_type(type) + "\" SizeC=\"1\" SizeT=\"1\"";
    for (int axis = 0; axis < 3; ++axis) {
        const std::string name = axes[static_cast<std::size_t>(axis)];
        text.append(" Size").append(name).append("=\"").append(std::to_string(size[axis])).append("\"");
        if (axis < size.Dim()) {
            const std::string distance = NumberText(spacing[static_cast<std::size_t>(axis)]);
            text.append(" PhysicalSize").append(name).append("=\"").append(distance).append("\"");
            text.append(" PhysicalSize").append(name).append("Unit=\"");
            text.append(unit == "um" ? "\xC2\xB5m" : unit).append("\"");
        }
    }
    return text + "><TiffData/></Pixels></Image></OME>";
}

using TiffFile = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

TiffFile create(const std::string& path, bool big) {
    const TIFFErrorHandlerExtR silent = [](TIFF*, void*, const char*, const char*, va_list) { return 1; };
    const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(TIFFOpenOptionsAlloc(),
                                                                                   TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), silent, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), silent, nullptr);
    TiffFile file(TIFFOpenExt(path.c_str(), big ? "w8" : "w", options.get()), TIFFClose);
    if (!file) {
        fail_to_write(path);
    }
    return file;
}

struct SPageLayout {
    long long width;
    long long height;
    EPixelType type;
    long long linesPerStrip;
};

void set_page_tags(TIFF* file, const SPageLayout& page) {
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(page.width));
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(page.height));
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, 8 * static_cast<int>(BytesPerPixel(page.type)));
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(file, TIFFTAG_SAMPLEFORMAT,
                 page.type == EPixelType::f32 ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(page.linesPerStrip));
}

bool write_page(TIFF* file, const SPageLayout& page, const std::byte* pixels) {
    const std::size_t lineBytes = static_cast<std::size_t>(page.width) * BytesPerPixel(page.type);
    std::vector<std::byte> strip; // libtiff takes a pointer to bytes it may change
    for (long long line = 0; line < page.height; line += page.linesPerStrip) {
        const long long lines = std::min(page.linesPerStrip, page.height - line);
        const std::byte* first = pixels + static_cast<std::size_t>(line) * lineBytes;
        strip.assign(first, first + static_cast<std::size_t>(lines) * lineBytes);
        const auto bytes = static_cast<tmsize_t>(strip.size());
        if (TIFFWriteEncodedStrip(file, static_cast<std::uint32_t>(line / page.linesPerStrip), strip.data(),
                                  bytes) != bytes) {
            return false;
        }
    }
    return TIFFWriteDirectory(file) == 1;
}

} // namespace

void WriteTiff(const std::string& path, const IImage& image, const std::array<double, 3>& spacing,
               const std::string& spacingUnit) {
    CImageSlices slices(image);
    const CSize& size = image.Size();
    const std::size_t lineBytes = slices.SliceBytes() / static_cast<std::size_t>(size[1]);
    const long long lines = std::max<long long>(1, static_cast<long long>(STRIP_BYTES / lineBytes));
    const SPageLayout page{size[0], size[1], slices.PixelType(), std::min(lines, size[1])};
    const std::size_t imageBytes = slices.SliceBytes() * static_cast<std::size_t>(slices.SliceCount());
    TiffFile file = create(path, imageBytes > LARGEST_CLASSIC_BYTES);
    CProgressReport progress(CProgressMonitor::Obj(), slices.SliceCount(), "Writing image...");
    for (long long z = 0; z < slices.SliceCount(); ++z) {
        set_page_tags(file.get(), page);
        if (z == 0 && !spacingUnit.empty()) {
            const std::string text = ome_text(size, page.type, spacing, spacingUnit);
            TIFFSetField(file.get(), TIFFTAG_IMAGEDESCRIPTION, text.c_str());
        }
        if (!write_page(file.get(), page, slices.Slice(z))) {
            fail_to_write(path);
        }
        progress.Step();
    }
}

} // namespace TEVRA::volume
