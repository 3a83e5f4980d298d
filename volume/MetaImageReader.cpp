// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Failure.h"
#include "volume/HeaderText.h"
#include "volume/NumberText.h"
#include "volume/RawPixels.h"
#include "volume/Readers.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

namespace TEVRA::volume {
namespace {

constexpr std::size_t LARGEST_HEADER_BYTES = std::size_t{1} << 16;

struct SMetaFields {
    std::map<std::string, std::string, std::less<>> values;
    unsigned long long bytes = 0; ///< of the header, which ends with the line that says where the pixels are

    std::optional<std::string> Find(std::string_view key) const {
        const auto found = values.find(key);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    }
    bool IsTrue(std::string_view key) const {
        const std::string value = Find(key).value_or("False");
        return value.starts_with('T') || value.starts_with('t') || value == "1";
    }
};

SMetaFields read_fields(const std::string& path) {
    const std::string text = FirstBytes(path, LARGEST_HEADER_BYTES);
    SMetaFields fields;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string_view line = std::string_view(text).substr(at, end - at);
        CheckHeaderLine(path, line);
        const std::size_t equals = line.find('=');
        at = end + 1;
        if (equals == std::string_view::npos) {
            if (Trimmed(line).empty()) {
                continue;
            }
            break;
        }
        const std::string key(Trimmed(line.substr(0, equals)));
        fields.values[key] = Trimmed(line.substr(equals + 1));
        if (key == "ElementDataFile") {
            fields.bytes = at;
            return fields;
        }
    }
    RefuseHeader(path, "it has no line ElementDataFile");
}

std::string required(const std::string& path, const SMetaFields& fields, std::string_view key) {
    const std::optional<std::string> value = fields.Find(key);
    if (!value || value->empty()) {
        RefuseHeader(path, "it has no " + std::string(key));
    }
    return *value;
}

EStoredType element_type(const std::string& path, const SMetaFields& fields) {
    struct SElementType {
        std::string_view name;
        ENumberKind kind;
        int bits;
    };
    constexpr std::array<SElementType, 12> TYPES{{{"MET_UCHAR", ENumberKind::unsignedInteger, 8},
                                                  {"MET_CHAR", ENumberKind::signedInteger, 8},
                                                  {"MET_USHORT", ENumberKind::unsignedInteger, 16},
                                                  {"MET_SHORT", ENumberKind::signedInteger, 16},
                                                  {"MET_UINT", ENumberKind::unsignedInteger, 32},
                                                  {"MET_INT", ENumberKind::signedInteger, 32},
                                                  {"MET_ULONG", ENumberKind::unsignedInteger, 32},
                                                  {"MET_LONG", ENumberKind::signedInteger, 32},
                                                  {"MET_ULONG_LONG", ENumberKind::unsignedInteger, 64},
                                                  {"MET_LONG_LONG", ENumberKind::signedInteger, 64},
                                                  {"MET_FLOAT", ENumberKind::floatingPoint, 32},
                                                  {"MET_DOUBLE", ENumberKind::floatingPoint, 64}}};
    const std::string channels = fields.Find("ElementNumberOfChannels").value_or("1");
    if (channels != "1") {
        RefusePixels(path, "of " + channels + " channels");
    }
    const std::string name = required(path, fields, "ElementType");
    for (const SElementType& type : TYPES) {
        if (type.name == name) {
            return SupportedType(path, type.kind, type.bits);
        }
    }
    RefusePixels(path, "of type " + name);
}

std::vector<long long> extents_of(const std::string& path, const SMetaFields& fields) {
    std::vector<long long> extents = WholeNumbers(path, "DimSize", required(path, fields, "DimSize"));
    const std::vector<long long> dims = WholeNumbers(path, "NDims", required(path, fields, "NDims"));
    if (dims.size() != 1 || dims[0] != static_cast<long long>(extents.size())) {
        RefuseHeader(path, "NDims is " + fields.values.at("NDims") + ", but DimSize is " +
                               fields.values.at("DimSize"));
    }
    return extents;
}

SSpacing spacing_of(const SMetaFields& fields, int dim) {
    const char* key = fields.Find("ElementSpacing") ? "ElementSpacing" : "ElementSize";
    const std::optional<std::string> text = fields.Find(key);
    if (!text) {
        return {std::nullopt, "", "the header states none"};
    }
    std::array<double, 3> distances{0.0, 0.0, 0.0};
    const std::vector<std::string> words = Words(*text);
    for (std::size_t axis = 0; axis < std::min<std::size_t>(words.size(), 3); ++axis) {
        distances[axis] = ParseNumber(words[axis]).value_or(0.0);
    }
    const std::optional<SLengthUnit> unit = ParseLengthUnit(fields.Find("DistanceUnits").value_or(""));
    for (double& distance : distances) {
        distance *= unit ? unit->factor : 1.0;
    }
    return CheckedSpacing(distances, unit ? unit->unit : "", dim, key);
}

bool is_several_files(const std::string& dataFile) {
    return dataFile.starts_with("LIST") || dataFile.find('%') != std::string::npos;
}

std::unique_ptr<IByteSource> pixel_bytes(const std::string& path, const SMetaFields& fields,
                                         unsigned long long bytes) {
    const std::string dataFile = required(path, fields, "ElementDataFile");
    if (is_several_files(dataFile)) {
        throw CInputError(path + ": the pixels are spread over several files (ElementDataFile = " + dataFile +
                          "), which cannot be read; save them as one file or as a folder of slices");
    }
    const bool local = dataFile == "LOCAL" || dataFile == "Local" || dataFile == "local";
    const std::string holder = local ? path : BesideFile(path, dataFile);
    const unsigned long long present = FileBytes(holder);
    const std::vector<long long> skip =
        WholeNumbers(path, "HeaderSize", fields.Find("HeaderSize").value_or("0"));
    if (skip.size() != 1 || skip[0] < -1) {
        RefuseHeader(path, "HeaderSize is " + fields.values.at("HeaderSize"));
    }
    unsigned long long start =
        (local ? fields.bytes : 0) + static_cast<unsigned long long>(std::max(skip[0], 0LL));
    if (skip[0] == -1) { // the pixels are the last bytes of the file
        start = present < bytes ? 0 : present - bytes;
    }
    if (!fields.IsTrue("CompressedData")) {
        return OpenFileBytes(holder, start, bytes);
    }
    return OpenInflatedBytes(holder, start, 0, bytes);
}

} // namespace

std::unique_ptr<IImageReader> OpenMetaImage(const std::string& path) {
    const SMetaFields fields = read_fields(path);
    if (const std::string kind = fields.Find("ObjectType").value_or("Image"); kind != "Image") {
        throw CInputError(path + ": holds a " + kind + ", not an image");
    }
    if (fields.Find("BinaryData") && !fields.IsTrue("BinaryData")) {
        throw CInputError(path +
                          ": the pixels are written as text, which cannot be read; save them as binary "
                          "data");
    }
    const EStoredType type = element_type(path, fields);
    SImageInfo info;
    info.format = "MetaImage";
    info.size = ImageSize(path, extents_of(path, fields));
    SetStoredType(info, type);
    SetSpacing(info, spacing_of(fields, info.size.Dim()));
    const bool bigEndian = fields.IsTrue("BinaryDataByteOrderMSB") || fields.IsTrue("ElementByteOrderMSB");
    return MakeRawPixelsReader(path, info,
                               pixel_bytes(path, fields, info.size.Elements() * BytesPerPixel(type)),
                               {type, bigEndian ? EByteOrder::big : EByteOrder::little,
                                static_cast<std::size_t>(info.size[0] * info.size[1]), std::nullopt});
}

} // namespace TEVRA::volume
