// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Failure.h"
#include "volume/NaturalOrder.h"
#include "volume/PngFile.h"
#include "volume/Readers.h"
#include "volume/Spacing.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>
#include <vector>

namespace TEVRA::volume {
namespace {

bool ends_like(const std::string& name, const std::string& ending) {
    return name.size() > ending.size() &&
           std::equal(ending.rbegin(), ending.rend(), name.rbegin(), [](char lower, char c) {
               return lower == static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
           });
}

struct SSliceFiles {
    std::vector<std::string> tiff;
    std::vector<std::string> png;
};

/// Other files, hidden files and folders within are left alone: logs, thumbnails, previews.
SSliceFiles slice_files(const std::string& folder) {
    SSliceFiles files;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        std::error_code ignored;
        if (name.starts_with('.') || !entry->is_regular_file(ignored)) {
            continue;
        }
        if (ends_like(name, ".tif") || ends_like(name, ".tiff")) {
            files.tiff.push_back(name);
        } else if (ends_like(name, ".png")) {
            files.png.push_back(name);
        }
    }
    if (error) {
        throw CEnvironmentError(folder + ": the folder cannot be read: " + error.message());
    }
    std::sort(files.tiff.begin(), files.tiff.end(), ComesBefore);
    std::sort(files.png.begin(), files.png.end(), ComesBefore);
    return files;
}

/// All slices open in turn, not at a time: systems allow some hundreds of open files only.
class CSliceFolderReader : public IImageReader {
  public:
    CSliceFolderReader(const std::string& folder, const std::vector<std::string>& names, const char* format) {
        for (const std::string& name : names) {
            m_paths.push_back((std::filesystem::path(folder) / name).string());
            const std::unique_ptr<IImageReader> slice = OpenImage(m_paths.back());
            if (m_paths.size() == 1) {
                m_info = slice->Info();
            }
            check_slice(slice->Info());
            if (m_info.lossyCompression.empty()) {
                m_info.lossyCompression = slice->Info().lossyCompression;
            }
            m_bufferBytes = std::max(m_bufferBytes, slice->BufferBytes());
        }
        m_info.format = format;
        m_info.missingSlices = MissingNumbers(names);
        m_info.size =
            ImageSize(folder, {m_info.size[0], m_info.size[1], static_cast<long long>(m_paths.size())});
        if (m_info.size.Dim() == 3 && m_info.spacing) {
            m_info.spacing.reset();
            m_info.spacingUnit.clear();
            m_info.spacingNote += " of single slices says nothing of their distance";
        }
    }

    const SImageInfo& Info() const override { return m_info; }
    std::vector<std::string> Files() const override { return m_paths; }
    std::size_t BufferBytes() const override { return m_bufferBytes; }
    double LargestRounding() const override { return m_largestRounding; }

  private:
    void check_slice(const SImageInfo& slice) const {
        const std::string& path = m_paths.back();
        if (slice.size.Dim() != 2) {
            throw CInputError(
                path + ": holds " + std::to_string(slice.size[2]) +
                " pages, but a file in a folder of slices must hold one; open the file itself, or "
                "keep single slices only in the folder");
        }
        if (!(slice.size == CSize(m_info.size[0], m_info.size[1]))) {
            throw CInputError(path + ": the slice has " + slice.size.ToString() + " pixels, but the first, " +
                              m_paths.front() + ", has " + m_info.size.ToString() +
                              "; all slices must have the same size");
        }
        if (slice.storedType != m_info.storedType) {
            throw CInputError(path + ": the slice's pixels are " + slice.storedType +
                              ", but those of the first, " + m_paths.front() + ", are " + m_info.storedType +
                              "; all slices must have the same pixel type");
        }
    }

    void read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) override {
        for (long long slice = firstSlice; slice < firstSlice + sliceCount; ++slice) {
            const std::string& path = m_paths[static_cast<std::size_t>(slice)];
            const std::unique_ptr<IImageReader> reader = OpenImage(path);
            const SImageInfo& now = reader->Info();
            if (!(now.size == CSize(m_info.size[0], m_info.size[1])) || now.pixelType != m_info.pixelType) {
                throw CInputError(path + ": the file has been changed while it was read");
            }
            reader->ReadSlices(0, 1, pixels);
            m_largestRounding = std::max(m_largestRounding, reader->LargestRounding());
            pixels += SliceBytes();
        }
    }

    std::vector<std::string> m_paths;
    SImageInfo m_info;
    std::size_t m_bufferBytes = 0;
    double m_largestRounding = 0.0;
};

class CPngReader : public IImageReader {
  public:
    explicit CPngReader(const std::string& path) : m_path(path), m_png(ReadPngInfo(path)) {
        m_info.format = "PNG";
        m_info.size = ImageSize(path, {m_png.width, m_png.height});
        SetStoredType(m_info, m_png.type);
        m_info.storedType = NumberDescription(ENumberKind::unsignedInteger, m_png.bits);
        SetSpacing(m_info,
                   SpacingFromResolution(m_png.xPixelsPerMm, m_png.yPixelsPerMm, 2, "the PNG resolution"));
    }

    const SImageInfo& Info() const override { return m_info; }
    std::vector<std::string> Files() const override { return {m_path}; }
    std::size_t BufferBytes() const override { return PngBufferBytes(m_png); }

  private:
    void read_slices(long long /*firstSlice*/, long long sliceCount, std::byte* pixels) override {
        if (sliceCount > 0) {
            ReadPng(m_path, m_png, pixels);
        }
    }

    std::string m_path;
    SPngInfo m_png;
    SImageInfo m_info;
};

} // namespace

std::unique_ptr<IImageReader> OpenPng(const std::string& path) {
    return std::make_unique<CPngReader>(path);
}

std::unique_ptr<IImageReader> OpenSliceFolder(const std::string& folder) {
    const SSliceFiles files = slice_files(folder);
    if (files.tiff.empty() && files.png.empty()) {
        throw CInputError(folder +
                          ": the folder holds no TIFF or PNG files; give a folder with one file per slice");
    }
    if (!files.tiff.empty() && !files.png.empty()) {
        throw CInputError(folder + ": the folder holds both TIFF files (" + files.tiff.front() +
                          " ...) and PNG files (" + files.png.front() +
                          " ...); keep the slices of one image only");
    }
    const bool tiff = !files.tiff.empty();
    return std::make_unique<CSliceFolderReader>(folder, tiff ? files.tiff : files.png,
                                                tiff ? "folder of TIFF slices" : "folder of PNG slices");
}

} // namespace TEVRA::volume
