// SPDX-License-Identifier: BSD-3-Clause
#include "volume/ImageReader.h"

#include "volume/Failure.h"
#include "volume/FileKind.h"
#include "volume/HeaderText.h"
#include "volume/Readers.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace TEVRA::volume {
namespace {

constexpr long long LARGEST_EXTENT = 1'000'000; // three of them times 8 bytes stay below 2^63

bool ends_like(const std::string& path, std::string_view ending) {
    return path.size() > ending.size() &&
           std::equal(ending.rbegin(), ending.rend(), path.rbegin(), [](char lower, char c) {
               return lower == static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
           });
}

bool is_file(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
}

bool is_folder(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored);
}

bool is_tiff(std::string_view start) {
    using namespace std::string_view_literals;
    start = start.substr(0, 4);
    return start == "II*\0"sv || start == "MM\0*"sv || start == "II+\0"sv || start == "MM\0+"sv;
}

struct SFileAndDataset {
    std::string file;
    std::string dataset; // empty if there is none in the path
};

/// Takes "file.h5:/path" and "file.h5:path" apart. A colon may be part of a file's name: a file of the whole
/// name comes first.
SFileAndDataset split_path(const std::string& path) {
    if (is_file(path)) {
        return {path, ""};
    }
    for (std::size_t at = path.find(':'); at != std::string::npos; at = path.find(':', at + 1)) {
        const std::string file = path.substr(0, at);
        if (is_file(file) || ends_like(file, ".h5") || ends_like(file, ".hdf5")) {
            const std::string dataset = path.substr(at + 1);
            return {file, dataset.empty() || dataset.starts_with('/') ? dataset : "/" + dataset};
        }
    }
    return {path, ""};
}

[[noreturn]] void refuse_format(const std::string& path) {
    const std::string note = FileKindNote(FirstBytes(path, FILE_KIND_BYTES));
    throw CInputError(
        path + ": not an image file of a known format" + (note.empty() ? "" : ": " + note) +
        "; give TIFF, PNG, a folder of TIFF or PNG slices, MetaImage (.mha, .mhd), NRRD, NIfTI, "
        "HDF5 (file.h5:/path), NumPy (.npy), or a raw file with its layout");
}

std::unique_ptr<IImageReader> open_file(const std::string& path, const std::string& dataset) {
    using namespace std::string_view_literals;
    const std::string start = FirstBytes(path, 8);
    if (start == "\x89HDF\r\n\x1A\n"sv) {
        return OpenHdf5(path, dataset);
    }
    if (!dataset.empty()) {
        throw CInputError(path + ": not an HDF5 file, so it has no dataset " + dataset);
    }
    if (is_tiff(start)) {
        return OpenTiff(path);
    }
    if (start == "\x89PNG\r\n\x1A\n"sv) {
        return OpenPng(path);
    }
    if (start.starts_with("NRRD")) {
        return OpenNrrd(path);
    }
    if (start.starts_with("\x93NUMPY"sv)) {
        return OpenNpy(path);
    }
    if (ends_like(path, ".mha") || ends_like(path, ".mhd")) {
        return OpenMetaImage(path);
    }
    if (ends_like(path, ".nii") || ends_like(path, ".nii.gz")) {
        return OpenNifti(path);
    }
    if (start.empty()) {
        throw CInputError(path + ": the file is empty");
    }
    refuse_format(path);
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
        throw std::out_of_range(std::to_string(sliceCount) + " slices from " + std::to_string(firstSlice) +
                                " on, of an image of " + std::to_string(present));
    }
    read_slices(firstSlice, sliceCount, static_cast<std::byte*>(pixels));
}

std::unique_ptr<IImageReader> OpenImage(const std::string& path, const SOpenOptions& options) {
    if (options.raw) {
        return OpenRaw(path, *options.raw);
    }
    if (is_folder(path)) {
        return OpenSliceFolder(path);
    }
    const SFileAndDataset parts = split_path(path);
    return open_file(parts.file, parts.dataset);
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

void SetStoredType(SImageInfo& info, EStoredType type) {
    info.pixelType = HandedOutType(type);
    info.storedType = Description(type);
    info.isRounded = IsRounded(type);
}

void SetSpacing(SImageInfo& info, SSpacing spacing) {
    info.spacing = spacing.distances;
    info.spacingUnit = std::move(spacing.unit);
    info.spacingNote = std::move(spacing.note);
    info.isSpacingBroken = spacing.isBroken;
}

} // namespace TEVRA::volume
