// SPDX-License-Identifier: BSD-3-Clause
#include "volume/MetaImageWriter.h"

#include "volume/Failure.h"
#include "volume/ImageSlices.h"
#include "volume/NumberText.h"

#include "VexoBase/ProgressMonitor.h"

#include <bit>
#include <cerrno>
#include <stdexcept>
#include <system_error>

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

void WriteMetaImage(const std::string& path, const IImage& image,
                    const std::optional<std::array<double, 3>>& spacing, const std::string& spacingUnit) {
    CImageSlices slices(image);
    CMetaImageWriter writer(path, {image.Size(), slices.PixelType(), spacing, spacingUnit});
    CProgressReport progress(CProgressMonitor::Obj(), slices.SliceCount(), "Writing image...");
    for (long long z = 0; z < slices.SliceCount(); ++z) {
        writer.WriteSlices(slices.Slice(z), 1);
        progress.Step();
    }
    writer.Close();
}

} // namespace TEVRA::volume
