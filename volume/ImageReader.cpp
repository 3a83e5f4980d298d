// SPDX-License-Identifier: BSD-3-Clause
#include "volume/ImageReader.h"

#include "volume/Failure.h"
#include "volume/RawPixels.h"
#include "volume/Readers.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace TEVRA::volume {
namespace {

constexpr long long LARGEST_EXTENT = 1'000'000; // three of them times 4 bytes stay below 2^63

std::string first_bytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw CEnvironmentError(path + ": cannot be opened for reading; check its permissions");
    }
    std::string bytes(8, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

bool is_tiff(std::string_view start) {
    using namespace std::string_view_literals;
    start = start.substr(0, 4);
    return start == "II*\0"sv || start == "MM\0*"sv || start == "II+\0"sv || start == "MM\0+"sv;
}

} // namespace

IImageReader::~IImageReader() = default;

std::size_t IImageReader::SliceBytes() const {
    const SImageInfo& info = Info();
    return static_cast<std::size_t>(info.size[0] * info.size[1]) * BytesPerPixel(info.pixelType);
}

void IImageReader::ReadSlices(long long firstSlice, long long sliceCount, void* pixels) {
    const long long present = SliceCount();
    if (firstSlice < 0 || sliceCount < 0 || firstSlice > present || sliceCount > present - firstSlice) {
        throw std::out_of_range("slices " + std::to_string(firstSlice) + " to " +
                                std::to_string(firstSlice + sliceCount - 1) + " of an image of " +
                                std::to_string(present));
    }
    read_slices(firstSlice, sliceCount, static_cast<std::byte*>(pixels));
}

std::unique_ptr<IImageReader> OpenImage(const std::string& path, const SOpenOptions& options) {
    if (options.raw) {
        return OpenRaw(path, *options.raw);
    }
    FileBytes(path);
    const std::string start = first_bytes(path);
    if (is_tiff(start)) {
        return OpenTiff(path);
    }
    throw CInputError(path +
                      ": not an image file of a known format; give TIFF, a folder of TIFF or PNG slices, "
                      "MetaImage, NRRD, NIfTI, HDF5 (file.h5:/path), or a raw file with its layout");
}

CSize ImageSize(const std::string& path, std::vector<long long> extents) {
    while (extents.size() > 2 && extents.back() == 1) {
        extents.pop_back();
    }
    std::string text;
    for (const long long extent : extents) {
        text += (text.empty() ? "" : " x ") + std::to_string(extent);
        if (extent < 1 || extent > LARGEST_EXTENT) {
            throw CInputError(path + ": an extent of the image is " + std::to_string(extent) +
                              ", but must be 1 to 1000000 pixels; the file is broken or of another format");
        }
    }
    if (extents.size() < 2 || extents.size() > 3) {
        throw CInputError(path + ": the image has " + std::to_string(extents.size()) + " dimensions (" +
                          text + "), but 2 or 3 are needed; extract one 2D or 3D image");
    }
    return extents.size() == 2 ? CSize(extents[0], extents[1]) : CSize(extents[0], extents[1], extents[2]);
}

} // namespace TEVRA::volume
