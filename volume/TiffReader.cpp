// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Failure.h"
#include "volume/RawPixels.h"
#include "volume/Readers.h"
#include "volume/TiffFile.h"
#include "volume/TiffMetadata.h"

#include <optional>
#include <utility>

namespace TEVRA::volume {
namespace {

void check_axes(const std::string& path, const STiffAxes& axes) {
    const bool fourDimensional = axes.slices > 1 && axes.timePoints > 1;
    if (axes.channels > 1 || fourDimensional) {
        throw CInputError(
            path + ": the image has " + std::to_string(axes.channels) + " channels, " +
            std::to_string(axes.slices) + " slices and " + std::to_string(axes.timePoints) +
            " time points, but must be a single 2D or 3D image; extract one channel and time point");
    }
}

/// ImageJ stores stacks of 4 GB and more under a single page: the images follow each other without headers.
bool is_headless_stack(const CTiffFile& file, const STiffAxes& axes) {
    return axes.images > 1 && file.Pages().size() == 1 && file.Description().uncompressed &&
           file.Pages()[0].grey == ETiffGrey::asStored && file.Pages()[0].flips == STiffFlips();
}

CRawPixels headless_pixels(const std::string& path, const CTiffFile& file, long long sliceCount) {
    const STiffPage& page = file.Pages()[0];
    const auto pixelsPerSlice = static_cast<std::size_t>(page.width * page.height);
    const std::size_t bytes =
        pixelsPerSlice * static_cast<std::size_t>(sliceCount) * BytesPerPixel(page.type);
    const EByteOrder order = file.Description().bigEndian ? EByteOrder::big : EByteOrder::little;
    return {path,
            OpenFileBytes(path, file.Description().firstPixelsOffset, bytes),
            {page.type, order, pixelsPerSlice, std::nullopt}};
}

class CTiffReader : public IImageReader {
  public:
    CTiffReader(const std::string& path, CTiffFile file) : m_path(path), m_file(std::move(file)) {
        const STiffDescription& description = m_file.Description();
        const STiffPage& page = m_file.Pages()[0];
        const STiffAxes axes = TiffAxesOf(description.text);
        check_axes(path, axes);
        const bool headless = is_headless_stack(m_file, axes);
        const long long slices = headless ? axes.images : static_cast<long long>(m_file.Pages().size());
        m_info.format = description.bigTiff ? "BigTIFF" : "TIFF";
        m_info.size = ImageSize(path, {page.width, page.height, slices});
        SetStoredType(m_info, page.type);
        m_info.storedType = StoredDescription(page); // which may have fewer bits
        m_info.lossyCompression = description.lossyCompression;
        SetSpacing(m_info, TiffSpacing(description.text, description.resolution, m_info.size.Dim()));
        if (headless) {
            m_headless.emplace(headless_pixels(path, m_file, slices));
        }
    }

    const SImageInfo& Info() const override { return m_info; }
    std::vector<std::string> Files() const override { return {m_path}; }
    std::size_t BufferBytes() const override {
        return m_file.BufferBytes() + (m_headless ? m_headless->BufferBytes() : 0);
    }
    double LargestRounding() const override {
        return m_headless ? m_headless->LargestRounding() : m_file.LargestRounding();
    }

  private:
    void read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) override {
        if (m_headless) {
            m_headless->Read(firstSlice, sliceCount, pixels);
            return;
        }
        for (long long slice = 0; slice < sliceCount; ++slice) {
            m_file.ReadPage(static_cast<std::size_t>(firstSlice + slice), pixels);
            pixels += SliceBytes();
        }
    }

    std::string m_path;
    CTiffFile m_file;
    SImageInfo m_info;
    std::optional<CRawPixels> m_headless;
};

} // namespace

std::unique_ptr<IImageReader> OpenTiff(const std::string& path) {
    return std::make_unique<CTiffReader>(path, CTiffFile(path));
}

} // namespace TEVRA::volume
