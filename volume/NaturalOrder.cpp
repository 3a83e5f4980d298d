// SPDX-License-Identifier: BSD-3-Clause
#include "volume/NaturalOrder.h"

#include <algorithm>
#include <cstddef>

namespace TEVRA::volume {
namespace {

bool is_digit(char c) noexcept {
    return c >= '0' && c <= '9';
}

/// Takes a number off the front of the text, without its leading zeros.
std::string_view take_number(std::string_view& text) noexcept {
    std::size_t zeros = 0;
    while (zeros < text.size() && text[zeros] == '0') {
        ++zeros;
    }
    std::size_t end = zeros;
    while (end < text.size() && is_digit(text[end])) {
        ++end;
    }
    const std::string_view number = text.substr(zeros, end - zeros);
    text.remove_prefix(end);
    return number;
}

} // namespace

bool ComesBefore(std::string_view a, std::string_view b) noexcept {
    std::string_view restA = a;
    std::string_view restB = b;
    while (!restA.empty() && !restB.empty()) {
        if (is_digit(restA.front()) && is_digit(restB.front())) {
            const std::string_view numberA = take_number(restA);
            const std::string_view numberB = take_number(restB);
            if (numberA.size() != numberB.size()) {
                return numberA.size() < numberB.size(); // any number of digits, no overflow
            }
            if (numberA != numberB) {
                return numberA < numberB;
            }
            continue;
        }
        if (restA.front() != restB.front()) {
            return static_cast<unsigned char>(restA.front()) < static_cast<unsigned char>(restB.front());
        }
        restA.remove_prefix(1);
        restB.remove_prefix(1);
    }
    return restA.empty() != restB.empty() ? restA.empty() : a < b;
}

} // namespace TEVRA::volume
