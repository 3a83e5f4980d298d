// SPDX-License-Identifier: BSD-3-Clause
#include "volume/MetaImageWriter.h"

#include "volume/Failure.h"
#include "volume/ImageSlices.h"
#include "volume/NumberText.h"

#include <bit>
#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace TEVRA::volume {
namespace {

const char* element_type(EPixelType type) {
    switch (type) {
    case EPixelType::u8:
        return "MET_UCHAR";
    case EPixelType::u16:
        return "MET_USHORT";
    case EPixelType::f32:
        break;
    }
    return "MET_FLOAT";
}

[[noreturn]] void fail_to_write(const std::string& path) {
    const int reason = errno;
    throw CEnvironmentError(path + ": cannot be written" +
                            (reason == 0 ? "" : ": " + std::generic_category().message(reason)) +
                            "; check the folder's permissions and the free space");
}

/// Gives a file its length with all its room, so that a full disk shows now. Where the file system takes no
/// room in advance it gets the length alone: to write everything once would take as long as the work.
void take_room(const std::string& path, std::size_t bytes) {
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    const auto length = static_cast<off_t>(bytes);
    int done = file < 0 ? -1 : fallocate(file, 0, 0, length);
    if (file >= 0 && done != 0 && (errno == EOPNOTSUPP || errno == ENOSYS)) {
        done = ftruncate(file, length);
    }
    const int reason = errno;
    if (file >= 0) {
        close(file);
    }
    if (done != 0) {
        errno = reason;
        fail_to_write(path);
    }
}

std::size_t slice_bytes(const SMetaImageHeader& header) {
    return static_cast<std::size_t>(header.size[0] * header.size[1]) * BytesPerPixel(header.pixelType) *
           static_cast<std::size_t>(header.channels);
}

} // namespace

std::string MetaImageHeaderText(const SMetaImageHeader& header) {
    const int dim = header.size.Dim();
    std::string extents;
    std::string spacing;
    for (int axis = 0; axis < dim; ++axis) {
        extents += " " + std::to_string(header.size[axis]);
        if (header.spacing) {
            spacing += " " + NumberText((*header.spacing)[static_cast<std::size_t>(axis)]);
        }
    }
    std::string text = "ObjectType = Image\nNDims = " + std::to_string(dim) + "\n";
    text += header.comment.empty() ? "" : "Comment = " + header.comment + "\n";
    text += "BinaryData = True\n";
    text += std::string("BinaryDataByteOrderMSB = ") +
            (std::endian::native == std::endian::big ? "True" : "False") + "\n";
    text += "CompressedData = False\n";
    if (header.spacing && !header.spacingUnit.empty()) {
        text += "DistanceUnits = " + header.spacingUnit + "\n";
    }
    if (header.spacing) {
        text += "ElementSpacing =" + spacing + "\n";
    }
    text += "DimSize =" + extents + "\n";
    if (header.channels != 1) {
        text += "ElementNumberOfChannels = " + std::to_string(header.channels) + "\n";
    }
    // Readers take the pixels to begin after this line.
    text += std::string("ElementType = ") + element_type(header.pixelType) + "\nElementDataFile = LOCAL\n";
    return text;
}

CMetaImageWriter::CMetaImageWriter(const std::string& path, const SMetaImageHeader& header)
    : m_path(path), m_sliceBytes(slice_bytes(header)), m_slicesLeft(header.size[2]) {
    errno = 0;
    m_file.open(path, std::ios::binary | std::ios::trunc);
    const std::string text = MetaImageHeaderText(header);
    if (!m_file.write(text.data(), static_cast<std::streamsize>(text.size()))) {
        fail_to_write(m_path);
    }
}

void CMetaImageWriter::WriteSlices(const void* pixels, long long sliceCount) {
    if (sliceCount < 0 || sliceCount > m_slicesLeft) {
        throw std::out_of_range(m_path + ": more slices to write than the image has");
    }
    errno = 0;
    const std::size_t bytes = static_cast<std::size_t>(sliceCount) * m_sliceBytes;
    if (!m_file.write(static_cast<const char*>(pixels), static_cast<std::streamsize>(bytes))) {
        fail_to_write(m_path);
    }
    m_slicesLeft -= sliceCount;
}

void CMetaImageWriter::Close() {
    if (m_slicesLeft != 0) {
        throw std::logic_error(m_path + ": closed with slices still to be written");
    }
    errno = 0;
    m_file.close(); // the last buffer goes out here, and with it a full disk may show
    if (!m_file) {
        fail_to_write(m_path);
    }
}

void CMetaImageParts::Create(const std::string& path, const SMetaImageHeader& header) {
    const std::string text = MetaImageHeaderText(header);
    errno = 0;
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    if (!file) {
        fail_to_write(path);
    }
    take_room(path, text.size() + static_cast<std::size_t>(header.size[2]) * slice_bytes(header));
}

CMetaImageParts::CMetaImageParts(const std::string& path, const SMetaImageHeader& header)
    : m_path(path), m_headerBytes(MetaImageHeaderText(header).size()), m_sliceBytes(slice_bytes(header)),
      m_slices(header.size[2]), m_file(open(path.c_str(), O_WRONLY | O_CLOEXEC)) {
    if (m_file < 0) {
        fail_to_write(path);
    }
}

CMetaImageParts::~CMetaImageParts() {
    if (m_file >= 0) {
        close(m_file);
    }
}

void CMetaImageParts::WriteSlices(long long firstSlice, long long sliceCount, const void* pixels) {
    if (firstSlice < 0 || sliceCount < 0 || firstSlice > m_slices || sliceCount > m_slices - firstSlice) {
        throw std::out_of_range(m_path + ": slices to write that the image does not have");
    }
    const auto* next = static_cast<const char*>(pixels);
    std::size_t left = static_cast<std::size_t>(sliceCount) * m_sliceBytes;
    auto place = static_cast<off_t>(m_headerBytes + static_cast<std::size_t>(firstSlice) * m_sliceBytes);
    while (left > 0) {
        const ssize_t written = pwrite(m_file, next, left, place);
        if (written < 0 && errno != EINTR) {
            fail_to_write(m_path);
        }
        if (written > 0) {
            next += written;
            left -= static_cast<std::size_t>(written);
            place += written;
        }
    }
}

void CMetaImageParts::Close() {
    if (close(std::exchange(m_file, -1)) != 0) {
        fail_to_write(m_path);
    }
}

void WriteMetaImage(const std::string& path, const IImage& image,
                    const std::optional<std::array<double, 3>>& spacing, const std::string& spacingUnit) {
    CImageSlices slices(image);
    CMetaImageWriter writer(path, {image.Size(), slices.PixelType(), spacing, spacingUnit});
    for (long long z = 0; z < slices.SliceCount(); ++z) {
        writer.WriteSlices(slices.Slice(z), 1);
    }
    writer.Close();
}

} // namespace TEVRA::volume
