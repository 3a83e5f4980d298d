// SPDX-License-Identifier: BSD-3-Clause
#include "apps/PrintableText.h"

#include <algorithm>

namespace TEVRA::apps {

namespace {

unsigned byte_at(std::string_view text, std::size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
}

/// Bytes of the character that the text begins with; 0 if it is a control character or no UTF-8.
std::size_t printable_bytes(std::string_view text) {
    const unsigned first = byte_at(text, 0);
    if (first < 0x80U) {
        return first >= 0x20U && first != 0x7FU ? 1 : 0;
    }
    const std::size_t bytes = first >= 0xF0U ? 4 : first >= 0xE0U ? 3 : 2;
    if (first < 0xC2U || first > 0xF4U || text.size() < bytes) {
        return 0;
    }
    const auto follows = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; };
    if (!std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(bytes), follows)) {
        return 0;
    }
    const unsigned second = byte_at(text, 1);
    const bool isControl = first == 0xC2U && second < 0xA0U;
    // Codes in more bytes than they need, surrogates, and codes beyond the last.
    const bool isForbidden = (first == 0xE0U && second < 0xA0U) || (first == 0xEDU && second >= 0xA0U) ||
                             (first == 0xF0U && second < 0x90U) || (first == 0xF4U && second >= 0x90U);
    return isControl || isForbidden ? 0 : bytes;
}

} // namespace

std::string PrintableText(std::string_view text) {
    constexpr const char* DIGITS = "0123456789ABCDEF";
    std::string printable;
    while (!text.empty()) {
        const std::size_t bytes = printable_bytes(text);
        if (bytes == 0) {
            const unsigned byte = byte_at(text, 0);
            printable += "\\x";
            printable += DIGITS[byte / 16];
            printable += DIGITS[byte % 16];
        } else {
            printable += text.substr(0, bytes);
        }
        text.remove_prefix(std::max<std::size_t>(bytes, 1));
    }
    return printable;
}

} // namespace TEVRA::apps
