// SPDX-License-Identifier: BSD-3-Clause
#include "volume/Failure.h"
#include "volume/HeaderText.h"
#include "volume/NumberText.h"
#include "volume/RawPixels.h"
#include "volume/Readers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <map>
#include <optional>

namespace TEVRA::volume {
namespace {

constexpr std::size_t LARGEST_HEADER_BYTES = std::size_t{1} << 20;

struct SNrrdFields {
    std::map<std::string, std::string, std::less<>> values;
    unsigned long long bytes = 0; ///< of the header with the empty line that ends it

    /// The value of the first of these fields that is there; some have two spellings.
    std::optional<std::string> Find(std::initializer_list<std::string_view> names) const {
        for (const std::string_view name : names) {
            if (const auto found = values.find(name); found != values.end()) {
                return found->second;
            }
        }
        return std::nullopt;
    }
};

SNrrdFields read_fields(const std::string& path) {
    const std::string text = FirstBytes(path, LARGEST_HEADER_BYTES);
    SNrrdFields fields;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string_view line = std::string_view(text).substr(at, end - at);
        CheckHeaderLine(path, line);
        at = std::min(end + 1, text.size());
        if (Trimmed(line).empty()) {
            break;
        }
        const std::size_t colon = line.find(':');
        const bool isField = colon != std::string_view::npos && !line.starts_with('#');
        if (isField && line.substr(colon, 2) != ":=") { // those are notes of other programs
            fields.values[std::string(Trimmed(line.substr(0, colon)))] = Trimmed(line.substr(colon + 1));
        }
    }
    fields.bytes = at;
    return fields;
}

std::string required(const std::string& path, const SNrrdFields& fields, std::string_view name) {
    const std::optional<std::string> value = fields.Find({name});
    if (!value || value->empty()) {
        RefuseHeader(path, "it has no field '" + std::string(name) + "'");
    }
    return *value;
}

EStoredType pixel_type(const std::string& path, const SNrrdFields& fields) {
    struct SNrrdType {
        std::string_view name;
        ENumberKind kind;
        int bits;
    };
    constexpr auto U = ENumberKind::unsignedInteger;
    constexpr auto S = ENumberKind::signedInteger;
    constexpr std::array<SNrrdType, 38> TYPES{{{"uchar", U, 8},
                                               {"unsigned char", U, 8},
                                               {"uint8", U, 8},
                                               {"uint8_t", U, 8},
                                               {"signed char", S, 8},
                                               {"int8", S, 8},
                                               {"int8_t", S, 8},
                                               {"ushort", U, 16},
                                               {"unsigned short", U, 16},
                                               {"unsigned short int", U, 16},
                                               {"uint16", U, 16},
                                               {"uint16_t", U, 16},
                                               {"short", S, 16},
                                               {"short int", S, 16},
                                               {"signed short", S, 16},
                                               {"signed short int", S, 16},
                                               {"int16", S, 16},
                                               {"int16_t", S, 16},
                                               {"uint", U, 32},
                                               {"unsigned int", U, 32},
                                               {"uint32", U, 32},
                                               {"uint32_t", U, 32},
                                               {"int", S, 32},
                                               {"signed int", S, 32},
                                               {"int32", S, 32},
                                               {"int32_t", S, 32},
                                               {"ulonglong", U, 64},
                                               {"unsigned long long", U, 64},
                                               {"unsigned long long int", U, 64},
                                               {"uint64", U, 64},
                                               {"uint64_t", U, 64},
                                               {"longlong", S, 64},
                                               {"long long", S, 64},
                                               {"long long int", S, 64},
                                               {"int64", S, 64},
                                               {"int64_t", S, 64},
                                               {"float", ENumberKind::floatingPoint, 32},
                                               {"double", ENumberKind::floatingPoint, 64}}};
    const std::string name = required(path, fields, "type");
    for (const SNrrdType& type : TYPES) {
        if (type.name == name) {
            return SupportedType(path, type.kind, type.bits);
        }
    }
    RefusePixels(path, "of type " + name);
}

/// Channels are axes like others in this format; only their kind tells.
void check_kinds(const std::string& path, const SNrrdFields& fields) {
    for (const std::string& kind : Words(fields.Find({"kinds"}).value_or(""))) {
        const bool harmless = kind == "domain" || kind == "space" || kind == "time" || kind == "none" ||
                              kind == "???" || kind == "scalar" || kind == "stub";
        if (!harmless) {
            RefusePixels(path, "of several channels (an axis of kind " + kind + ")");
        }
    }
}

std::vector<long long> extents_of(const std::string& path, const SNrrdFields& fields) {
    std::vector<long long> extents = WholeNumbers(path, "sizes", required(path, fields, "sizes"));
    const std::string dimension = required(path, fields, "dimension");
    if (ParseWholeNumber(dimension) != static_cast<long long>(extents.size())) {
        RefuseHeader(path, "dimension is " + dimension + ", but sizes is " + fields.values.at("sizes"));
    }
    return extents;
}

double length_of_vector(std::string_view text) { // as in "(0.5,0,0)"
    double squares = 0.0;
    std::string blanked(text);
    std::replace_if(
        blanked.begin(), blanked.end(), [](char c) { return c == '(' || c == ')' || c == ','; }, ' ');
    for (const std::string& word : Words(blanked)) {
        const double component = ParseNumber(word).value_or(0.0);
        squares += component * component;
    }
    return std::sqrt(squares);
}

/// One text per vector, as in "(1,0,0) (0, 1, 0) none".
std::vector<std::string> vectors(std::string_view text) {
    std::vector<std::string> parts;
    for (text = Trimmed(text); !text.empty(); text = Trimmed(text)) {
        const bool isVector = text.front() == '(';
        const std::size_t end = isVector ? text.find(')') : text.find_first_of(" \t(");
        const std::size_t length =
            std::min(end == std::string_view::npos ? end : end + (isVector ? 1 : 0), text.size());
        parts.emplace_back(text.substr(0, length));
        text.remove_prefix(length);
    }
    return parts;
}

/// The texts in quotes.
std::vector<std::string> quoted(const std::string& text) {
    std::vector<std::string> parts;
    std::size_t from = text.find('"');
    while (from != std::string::npos) {
        const std::size_t to = text.find('"', from + 1);
        if (to == std::string::npos) {
            break;
        }
        parts.push_back(text.substr(from + 1, to - from - 1));
        from = text.find('"', to + 1);
    }
    return parts;
}

SSpacing spacing_of(const SNrrdFields& fields, int dim) {
    const std::optional<std::string> directions = fields.Find({"space directions"});
    const std::optional<std::string> spacings = fields.Find({"spacings"});
    if (!directions && !spacings) {
        return {std::nullopt, "", "the header states none"};
    }
    const std::vector<std::string> words = directions ? vectors(*directions) : Words(*spacings);
    const std::vector<std::string> units =
        quoted(fields.Find({directions ? std::string_view("space units") : "units"}).value_or(""));
    std::array<double, 3> distances{0.0, 0.0, 0.0};
    for (std::size_t axis = 0; axis < std::min<std::size_t>(words.size(), static_cast<std::size_t>(dim));
         ++axis) {
        distances[axis] =
            directions ? length_of_vector(words[axis]) : std::abs(ParseNumber(words[axis]).value_or(0.0));
        if (axis < units.size() && units[axis] != units[0]) {
            return {std::nullopt, "", "the header states different units for the axes"};
        }
    }
    if (std::all_of(distances.begin(), distances.begin() + dim,
                    [](double distance) { return std::isnan(distance); })) {
        return {std::nullopt, "", "the header states none"}; // as the format says it
    }
    const std::optional<SLengthUnit> unit = units.empty() ? std::nullopt : ParseLengthUnit(units[0]);
    for (double& distance : distances) {
        distance *= unit ? unit->factor : 1.0;
    }
    return CheckedSpacing(distances, unit ? unit->unit : "", dim,
                          directions ? "space directions" : "spacings");
}

std::unique_ptr<IByteSource> pixel_bytes(const std::string& path, const SNrrdFields& fields,
                                         unsigned long long bytes) {
    const std::optional<std::string> dataFile = fields.Find({"data file", "datafile"});
    if (dataFile && (dataFile->starts_with("LIST") || dataFile->find('%') != std::string::npos)) {
        throw CInputError(path + ": the pixels are spread over several files (data file: " + *dataFile +
                          "), which cannot be read; save them as one file or as a folder of slices");
    }
    const std::string holder = dataFile ? BesideFile(path, *dataFile) : path;
    const std::string skipText = fields.Find({"byte skip", "byteskip"}).value_or("0");
    const std::optional<long long> skip = ParseWholeNumber(skipText);
    if (!skip || *skip < -1) {
        RefuseHeader(path, "byte skip is " + skipText);
    }
    if (ParseWholeNumber(fields.Find({"line skip", "lineskip"}).value_or("0")) != 0) {
        throw CInputError(path +
                          ": the field 'line skip' cannot be used; save the image with its pixels attached");
    }
    unsigned long long start = (dataFile ? 0 : fields.bytes);
    const std::string encoding = required(path, fields, "encoding");
    if (encoding == "gzip" || encoding == "gz") {
        return OpenInflatedBytes(holder, start, static_cast<unsigned long long>(std::max(*skip, 0LL)), bytes);
    }
    if (encoding != "raw") {
        throw CInputError(path + ": the pixels are encoded as " + encoding +
                          ", but only raw and gzip can be read; save the image with one of them");
    }
    if (*skip == -1) { // the pixels are the last bytes of the file
        const unsigned long long present = FileBytes(holder);
        start = present < bytes ? 0 : present - bytes;
    } else {
        start += static_cast<unsigned long long>(*skip);
    }
    return OpenFileBytes(holder, start, bytes);
}

EByteOrder byte_order(const std::string& path, const SNrrdFields& fields, EStoredType type) {
    const std::optional<std::string> endian = fields.Find({"endian"});
    if (BytesPerPixel(type) == 1 || endian == "little") {
        return EByteOrder::little;
    }
    if (endian == "big") {
        return EByteOrder::big;
    }
    RefuseHeader(path, endian ? "endian is " + *endian : "it has no field 'endian'");
}

} // namespace

std::unique_ptr<IImageReader> OpenNrrd(const std::string& path) {
    const SNrrdFields fields = read_fields(path);
    const EStoredType type = pixel_type(path, fields);
    check_kinds(path, fields);
    SImageInfo info;
    info.format = "NRRD";
    info.size = ImageSize(path, extents_of(path, fields));
    SetStoredType(info, type);
    SetSpacing(info, spacing_of(fields, info.size.Dim()));
    return MakeRawPixelsReader(path, info,
                               pixel_bytes(path, fields, info.size.Elements() * BytesPerPixel(type)),
                               {type, byte_order(path, fields, type),
                                static_cast<std::size_t>(info.size[0] * info.size[1]), std::nullopt});
}

} // namespace TEVRA::volume
