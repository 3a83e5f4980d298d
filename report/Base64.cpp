// SPDX-License-Identifier: BSD-3-Clause
#include "report/Base64.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace TEVRA::report {

std::string Base64(std::span<const std::byte> bytes) {
    constexpr std::string_view LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8U | (i < count ? std::to_integer<std::uint32_t>(bytes[at + i]) : 0U);
        }
        for (std::size_t letter = 0; letter < 4; ++letter) {
            text += letter <= count ? LETTERS[group >> (18U - 6U * letter) & 63U] : '=';
        }
    }
    return text;
}

} // namespace TEVRA::report
