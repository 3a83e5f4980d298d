// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Failure.h"
#include "volume/HeaderText.h"
#include "volume/NumberText.h"
#include "volume/RawPixels.h"
#include "volume/Readers.h"

#include <algorithm>
#include <optional>
#include <string_view>

// The header is a line of Python, as in {'descr': '<u2', 'fortran_order': False, 'shape': (3, 4, 5), }.
namespace TEVRA::volume {
namespace {

constexpr std::size_t FIXED_BYTES = 12; // signature, version, and the length of the rest in 2 or 4 bytes
constexpr std::size_t LARGEST_HEADER_BYTES = std::size_t{1} << 16;

struct SNpyHeader {
    std::string text;
    unsigned long long bytes = 0; ///< up to the pixels
};

SNpyHeader read_header(const std::string& path) {
    const std::string start = FirstBytes(path, FIXED_BYTES + LARGEST_HEADER_BYTES);
    if (start.size() < FIXED_BYTES) {
        RefuseHeader(path, "the file is truncated");
    }
    const auto byte = [&start](std::size_t at) { return static_cast<unsigned char>(start[at]); };
    const std::size_t version = byte(6);
    if (version < 1 || version > 3) {
        throw CInputError(path + ": is of version " + std::to_string(version) +
                          " of the NumPy format, but 1 to 3 can be read");
    }
    const std::size_t lengthBytes = version == 1 ? 2 : 4;
    std::size_t length = 0;
    for (std::size_t i = lengthBytes; i > 0; --i) {
        length = length << 8U | byte(8 + i - 1);
    }
    const std::size_t begin = 8 + lengthBytes;
    if (length > start.size() - begin) {
        RefuseHeader(path, "its length is " + std::to_string(length) + " bytes");
    }
    CheckHeaderLine(path, std::string_view(start).substr(begin, length));
    return {start.substr(begin, length), begin + length};
}

/// The text behind a key, up to one of the characters that end it, without them.
std::string value_of(const std::string& path, const std::string& text, const std::string& key,
                     std::string_view begin, std::string_view end) {
    const std::size_t colon = text.find(':', std::min(text.find("'" + key + "'"), text.size()));
    const std::size_t first = begin.empty() ? colon : text.find_first_of(begin, std::min(colon, text.size()));
    const std::size_t last =
        first == std::string::npos ? std::string::npos : text.find_first_of(end, first + 1);
    if (last == std::string::npos) {
        RefuseHeader(path, "it has no '" + key + "'");
    }
    return std::string(Trimmed(std::string_view(text).substr(first + 1, last - first - 1)));
}

struct SNumbers {
    EStoredType type;
    EByteOrder order;
};

SNumbers numbers_of(const std::string& path, const std::string& descr) {
    const std::optional<long long> bytes =
        descr.size() > 2 ? ParseWholeNumber(std::string_view(descr).substr(2)) : std::nullopt;
    if (!bytes || *bytes < 1 || *bytes > 32) {
        RefusePixels(path, "of NumPy type '" + descr + "'");
    }
    const EByteOrder order = descr[0] == '>' ? EByteOrder::big : EByteOrder::little;
    const int bits = static_cast<int>(8 * *bytes);
    switch (descr[1]) {
    case 'b': // truth values
    case 'u':
        return {SupportedType(path, ENumberKind::unsignedInteger, bits), order};
    case 'i':
        return {SupportedType(path, ENumberKind::signedInteger, bits), order};
    case 'f':
        return {SupportedType(path, ENumberKind::floatingPoint, bits), order};
    case 'c':
        RefusePixels(path, "complex numbers");
    default:
        RefusePixels(path, "of NumPy type '" + descr + "'");
    }
}

} // namespace

std::unique_ptr<IImageReader> OpenNpy(const std::string& path) {
    const SNpyHeader header = read_header(path);
    const SNumbers numbers = numbers_of(path, value_of(path, header.text, "descr", "'", "'"));
    if (const std::string fortran = value_of(path, header.text, "fortran_order", "", ",}");
        fortran != "False") {
        throw CInputError(path +
                          ": the array is in Fortran order, whose slices lie scattered over the file; save "
                          "it in C order, as by numpy.save(file, numpy.ascontiguousarray(array))");
    }
    std::string shape = value_of(path, header.text, "shape", "(", ")");
    std::replace(shape.begin(), shape.end(), ',', ' ');
    std::vector<long long> extents = WholeNumbers(path, "shape", shape);
    std::reverse(extents.begin(), extents.end());
    SImageInfo info;
    info.format = "NumPy";
    info.size = ImageSize(path, extents);
    SetStoredType(info, numbers.type);
    info.spacingNote = "a NumPy file states none";
    return MakeRawPixelsReader(
        path, info, OpenFileBytes(path, header.bytes, info.size.Elements() * BytesPerPixel(numbers.type)),
        {numbers.type, numbers.order, static_cast<std::size_t>(info.size[0] * info.size[1]), std::nullopt});
}

} // namespace TEVRA::volume
