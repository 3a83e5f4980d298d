// SPDX-License-Identifier: BSD-3-Clause
#include "volume/RawLayout.h"

#include "volume/Failure.h"
#include "volume/NumberText.h"

#include <array>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace TEVRA::volume {
namespace {

constexpr long long LARGEST_EXTENT = 1'000'000; // three of them times 8 bytes stay below 2^63

[[noreturn]] void refuse(const std::string& text, const std::string& why) {
    throw CInputError(
        "raw layout '" + text + "': " + why +
        "; give X,Y,Z,TYPE or X,Y,TYPE as in 512,512,300,u16 where TYPE is u8, i8, u16, i16, "
        "u32, i32, u64, i64, f32 or f64 (little-endian; big-endian with be behind it, as in u16be)");
}

void set_type(SRawLayout& layout, std::string_view type, const std::string& text) {
    constexpr std::array<std::pair<std::string_view, EStoredType>, 10> NAMES{{{"u8", EStoredType::u8},
                                                                              {"u16", EStoredType::u16},
                                                                              {"f32", EStoredType::f32},
                                                                              {"i8", EStoredType::i8},
                                                                              {"i16", EStoredType::i16},
                                                                              {"u32", EStoredType::u32},
                                                                              {"i32", EStoredType::i32},
                                                                              {"u64", EStoredType::u64},
                                                                              {"i64", EStoredType::i64},
                                                                              {"f64", EStoredType::f64}}};
    std::string_view name = type;
    if (name.ends_with("be")) {
        name.remove_suffix(2);
        layout.byteOrder = EByteOrder::big;
    }
    for (const auto& [known, stored] : NAMES) {
        if (known == name && (name == type || BytesPerPixel(stored) > 1)) {
            layout.type = stored;
            return;
        }
    }
    refuse(text, "'" + std::string(type) + "' is not a pixel type");
}

} // namespace

SRawLayout ParseRawLayout(const std::string& text) {
    const std::vector<std::string_view> parts = SplitAtCommas(text);
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
