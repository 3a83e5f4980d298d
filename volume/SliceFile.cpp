// SPDX-License-Identifier: BSD-3-Clause
#include "volume/SliceFile.h"

#include "volume/Failure.h"
#include "volume/MetaImageWriter.h"
#include "volume/NumberText.h"
#include "volume/TiffLayout.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <span>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace TEVRA::volume {
namespace {

constexpr bool IS_BIG_ENDIAN = std::endian::native == std::endian::big;

std::size_t slice_bytes(const SSliceFileInfo& info) {
    return static_cast<std::size_t>(info.size[0] * info.size[1]) * BytesPerPixel(info.numberType) *
           CountOf(info.channels);
}

std::string mha_head(const SSliceFileInfo& info) {
    SMetaImageHeader header{info.size, info.numberType, info.spacing, info.spacingUnit};
    header.channels = static_cast<int>(CountOf(info.channels));
    header.comment = info.content;
    return MetaImageHeaderText(header);
}

std::string nrrd_head(const SSliceFileInfo& info) {
    const int dim = info.size.Dim();
    const bool hasChannels = info.channels != EChannels::one;
    std::string sizes = hasChannels ? " 3" : "";
    std::string kinds = info.channels == EChannels::vector  ? " 3-vector"
                        : info.channels == EChannels::color ? " RGB-color"
                                                            : "";
    std::string directions = hasChannels ? " none" : "";
    std::string units;
    std::string origin;
    for (int axis = 0; axis < dim; ++axis) {
        sizes += " " + std::to_string(info.size[axis]);
        kinds += " domain";
        std::string vector;
        for (int other = 0; other < dim; ++other) {
            const double length =
                info.spacing && other == axis ? (*info.spacing)[static_cast<std::size_t>(axis)] : 0.0;
            vector += (other == 0 ? "" : ",") + NumberText(length);
        }
        directions += " (" + vector + ")";
        units += " \"" + info.spacingUnit + "\"";
        origin += axis == 0 ? "0" : ",0";
    }
    std::string text = "NRRD0004\n# " + info.content + "\ncontent: " + info.name + "\n";
    text += std::string("type: ") + (info.numberType == EPixelType::u8    ? "uint8"
                                     : info.numberType == EPixelType::u16 ? "uint16"
                                                                          : "float");
    text += "\ndimension: " + std::to_string(dim + (hasChannels ? 1 : 0)) + "\n";
    if (info.spacing) {
        text += "space dimension: " + std::to_string(dim) + "\n";
    }
    text += "sizes:" + sizes + "\n";
    if (info.spacing) {
        text += "space directions:" + directions + "\n";
    }
    text += "kinds:" + kinds + "\n";
    text += std::string("endian: ") + (IS_BIG_ENDIAN ? "big" : "little") + "\nencoding: raw\n";
    if (info.spacing) {
        text += (info.spacingUnit.empty() ? "" : "space units:" + units + "\n") + "space origin: (" + origin +
                ")\n";
    }
    return text + "\n";
}

std::string npy_head(const SSliceFileInfo& info) {
    constexpr std::size_t ALIGNMENT = 64;
    constexpr std::size_t FIXED_BYTES = 10;
    std::string shape;
    for (int axis = info.size.Dim() - 1; axis >= 0; --axis) {
        shape += std::to_string(info.size[axis]) + ", ";
    }
    shape += info.channels == EChannels::one ? "" : "3, ";
    shape.resize(shape.size() - 2);
    const std::string type = info.numberType == EPixelType::u8    ? "|u1"
                             : info.numberType == EPixelType::u16 ? (IS_BIG_ENDIAN ? ">u2" : "<u2")
                                                                  : (IS_BIG_ENDIAN ? ">f4" : "<f4");
    std::string text = "{'descr': '" + type + "', 'fortran_order': False, 'shape': (" + shape + "), }";
    text.append(ALIGNMENT - (FIXED_BYTES + text.size() + 1) % ALIGNMENT, ' ');
    text += '\n';
    std::string head = "\x93NUMPY\x01";
    head += '\0';
    head += static_cast<char>(text.size() % 256);
    head += static_cast<char>(text.size() / 256);
    return head + text;
}

std::string xml_text(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        escaped += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
    }
    return escaped;
}

std::string vti_head(const SSliceFileInfo& info, std::uint64_t pixelBytes) {
    std::string extent;
    std::string origin;
    std::string spacing;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const bool isThere = static_cast<int>(axis) < info.size.Dim();
        const std::string gap = axis == 0 ? "" : " ";
        extent += gap + "0 " + std::to_string(isThere ? info.size[static_cast<int>(axis)] - 1 : 0);
        origin += gap + NumberText(isThere ? info.firstCentre[axis] : 0.0);
        spacing += gap + NumberText(isThere && info.spacing ? (*info.spacing)[axis] : 1.0);
    }
    const std::string role = info.channels == EChannels::vector ? "Vectors" : "Scalars";
    std::string text = "<?xml version=\"1.0\"?>\n<!-- " + xml_text(info.content) +
                       " -->\n<VTKFile type=\"ImageData\" version=\"1.0\" byte_order=\"";
    text += IS_BIG_ENDIAN ? "BigEndian" : "LittleEndian";
    text += "\" header_type=\"UInt64\">\n<ImageData WholeExtent=\"" + extent + "\" Origin=\"" + origin +
            "\" Spacing=\"" + spacing + "\">\n<Piece Extent=\"" + extent + "\">\n<PointData " + role + "=\"" +
            info.name + "\">\n<DataArray type=\"";
    text += info.numberType == EPixelType::u8    ? "UInt8"
            : info.numberType == EPixelType::u16 ? "UInt16"
                                                 : "Float32";
    text += "\" Name=\"" + info.name + "\" NumberOfComponents=\"" + std::to_string(CountOf(info.channels)) +
            "\" format=\"appended\" offset=\"0\"/>\n</PointData>\n</Piece>\n</ImageData>\n"
            "<AppendedData encoding=\"raw\">\n_";
    const auto bytes = std::as_bytes(std::span(&pixelBytes, 1));
    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return text;
}

[[noreturn]] void fail_to_write(const std::string& path) {
    const int reason = errno;
    throw CEnvironmentError(path + ": cannot be written" +
                            (reason == 0 ? "" : ": " + std::generic_category().message(reason)) +
                            "; check the folder's permissions and the free space");
}

void write_at(int file, const std::string& path, const void* bytes, std::size_t count, std::size_t place) {
    const auto* next = static_cast<const char*>(bytes);
    auto at = static_cast<off_t>(place);
    while (count > 0) {
        const ssize_t written = pwrite(file, next, count, at);
        if (written < 0 && errno != EINTR) {
            fail_to_write(path);
        }
        if (written > 0) {
            next += written;
            count -= static_cast<std::size_t>(written);
            at += written;
        }
    }
}

/// Gives a file its length with all its room, so that a full disk shows now. Where the file system takes no
/// room in advance it gets the length alone: to write everything once would take as long as the work.
void take_room(int file, const std::string& path, std::size_t bytes) {
    const auto length = static_cast<off_t>(bytes);
    if (fallocate(file, 0, 0, length) != 0 &&
        ((errno != EOPNOTSUPP && errno != ENOSYS) || ftruncate(file, length) != 0)) {
        fail_to_write(path);
    }
}

} // namespace

const char* NameOf(ESliceFormat format) noexcept {
    switch (format) {
    case ESliceFormat::nrrd:
        return "nrrd";
    case ESliceFormat::npy:
        return "npy";
    case ESliceFormat::tif:
        return "tif";
    case ESliceFormat::vti:
        return "vti";
    case ESliceFormat::mha:
        break;
    }
    return "mha";
}

std::optional<ESliceFormat> SliceFormatNamed(const std::string& name) {
    const auto* const found = std::find_if(SLICE_FORMATS.begin(), SLICE_FORMATS.end(),
                                           [&name](ESliceFormat format) { return name == NameOf(format); });
    return found == SLICE_FORMATS.end() ? std::nullopt : std::optional(*found);
}

SSliceFileLayout LayoutOf(ESliceFormat format, const SSliceFileInfo& info) {
    SSliceFileLayout layout;
    layout.sliceBytes = slice_bytes(info);
    layout.slices = info.size[2];
    switch (format) {
    case ESliceFormat::mha:
        layout.head = mha_head(info);
        break;
    case ESliceFormat::nrrd:
        layout.head = nrrd_head(info);
        break;
    case ESliceFormat::npy:
        layout.head = npy_head(info);
        break;
    case ESliceFormat::tif:
        layout.head = TiffHead(info);
        layout.isPlanar = info.channels == EChannels::vector;
        break;
    case ESliceFormat::vti:
        layout.head =
            vti_head(info, static_cast<std::uint64_t>(layout.slices) * std::uint64_t{layout.sliceBytes});
        layout.tail = "\n</AppendedData>\n</VTKFile>\n";
        break;
    }
    return layout;
}

void CSliceFile::Create(const std::string& path, const SSliceFileLayout& layout) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0) {
        fail_to_write(path);
    }
    const std::size_t end = layout.head.size() + static_cast<std::size_t>(layout.slices) * layout.sliceBytes;
    try {
        take_room(file, path, end + layout.tail.size());
        write_at(file, path, layout.head.data(), layout.head.size(), 0);
        write_at(file, path, layout.tail.data(), layout.tail.size(), end);
    } catch (...) {
        close(file);
        throw;
    }
    if (close(file) != 0) {
        fail_to_write(path);
    }
}

CSliceFile::CSliceFile(const std::string& path, const SSliceFileLayout& layout)
    : m_path(path), m_headBytes(layout.head.size()), m_sliceBytes(layout.sliceBytes), m_slices(layout.slices),
      m_file(open(path.c_str(), O_WRONLY | O_CLOEXEC)) {
    if (m_file < 0) {
        fail_to_write(path);
    }
}

CSliceFile::~CSliceFile() {
    if (m_file >= 0) {
        close(m_file);
    }
}

void CSliceFile::WriteSlices(long long firstSlice, long long sliceCount, const void* bytes) {
    if (firstSlice < 0 || sliceCount < 0 || firstSlice > m_slices || sliceCount > m_slices - firstSlice) {
        throw std::out_of_range(m_path + ": slices to write that the image does not have");
    }
    write_at(m_file, m_path, bytes, static_cast<std::size_t>(sliceCount) * m_sliceBytes,
             m_headBytes + static_cast<std::size_t>(firstSlice) * m_sliceBytes);
}

void CSliceFile::WritePart(long long slice, std::size_t place, std::span<const std::byte> bytes) {
    if (slice < 0 || slice >= m_slices || place > m_sliceBytes || bytes.size() > m_sliceBytes - place) {
        throw std::out_of_range(m_path + ": bytes to write that the image does not have");
    }
    write_at(m_file, m_path, bytes.data(), bytes.size(),
             m_headBytes + static_cast<std::size_t>(slice) * m_sliceBytes + place);
}

void CSliceFile::Close() {
    if (close(std::exchange(m_file, -1)) != 0) {
        fail_to_write(m_path);
    }
}

} // namespace TEVRA::volume
