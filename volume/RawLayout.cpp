// SPDX-License-Identifier: BSD-3-Clause
#include "volume/RawLayout.h"

#include "volume/Failure.h"
#include "volume/NumberText.h"

#include <optional>
#include <string_view>
#include <vector>

namespace TEVRA::volume {
namespace {

constexpr long long LARGEST_EXTENT = 1'000'000; // three of them times 4 bytes stay below 2^63

[[noreturn]] void refuse(const std::string& text, const std::string& why) {
    throw CInputError("raw layout '" + text + "': " + why +
                      "; give X,Y,Z,TYPE or X,Y,TYPE as in 512,512,300,u16 where TYPE is u8, u16 or f32 "
                      "(little-endian) or u16be or f32be (big-endian)");
}

std::vector<std::string_view> split_at_commas(std::string_view text) {
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t comma = text.find(',');
        parts.push_back(text.substr(0, comma));
        if (comma == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(comma + 1);
    }
}

void set_type(SRawLayout& layout, std::string_view type, const std::string& text) {
    if (type == "u8") {
        layout.pixelType = EPixelType::u8;
    } else if (type == "u16" || type == "u16be") {
        layout.pixelType = EPixelType::u16;
    } else if (type == "f32" || type == "f32be") {
        layout.pixelType = EPixelType::f32;
    } else {
        refuse(text, "'" + std::string(type) + "' is not a pixel type");
    }
    layout.byteOrder = type.ends_with("be") ? EByteOrder::big : EByteOrder::little;
}

} // namespace

SRawLayout ParseRawLayout(const std::string& text) {
    const std::vector<std::string_view> parts = split_at_commas(text);
    if (parts.size() != 3 && parts.size() != 4) {
        refuse(text, "it has " + std::to_string(parts.size()) + " parts");
    }
    std::vector<long long> extents;
    for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
        const std::optional<long long> extent = ParseWholeNumber(parts[i]);
        if (!extent || *extent < 1 || *extent > LARGEST_EXTENT) {
            refuse(text, "'" + std::string(parts[i]) + "' is not an extent of 1 to 1000000 pixels");
        }
        extents.push_back(*extent);
    }
    SRawLayout layout;
    set_type(layout, parts.back(), text);
    layout.size =
        extents.size() == 2 ? CSize(extents[0], extents[1]) : CSize(extents[0], extents[1], extents[2]);
    return layout;
}

} // namespace TEVRA::volume
