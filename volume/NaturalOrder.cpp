// SPDX-License-Identifier: BSD-3-Clause
#include "volume/NaturalOrder.h"

#include "volume/NumberText.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <optional>

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

struct SDifference {
    long long before = 0;
    long long after = 0;
};

/// The numbers of two names that differ in one number only; nothing for others, and for numbers of more
/// digits than fit.
std::optional<SDifference> only_difference(std::string_view a, std::string_view b) {
    constexpr std::size_t MOST_DIGITS = 18;
    std::optional<SDifference> difference;
    while (!a.empty() && !b.empty()) {
        if (!is_digit(a.front()) || !is_digit(b.front())) {
            if (a.front() != b.front()) {
                return std::nullopt;
            }
            a.remove_prefix(1);
            b.remove_prefix(1);
            continue;
        }
        const std::string_view numberA = take_number(a);
        const std::string_view numberB = take_number(b);
        if (numberA == numberB) {
            continue;
        }
        if (difference || std::max(numberA.size(), numberB.size()) > MOST_DIGITS) {
            return std::nullopt;
        }
        difference = {ParseWholeNumber(numberA).value_or(0), ParseWholeNumber(numberB).value_or(0)};
    }
    return a.empty() && b.empty() ? difference : std::nullopt;
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

std::string MissingNumbers(const std::vector<std::string>& names) {
    constexpr std::size_t MOST_GAPS = 8; // in the text
    std::vector<SDifference> differences;
    long long step = 0;
    for (std::size_t i = 1; i < names.size(); ++i) {
        if (const std::optional<SDifference> pair = only_difference(names[i - 1], names[i])) {
            differences.push_back(*pair);
            step = std::gcd(step, pair->after - pair->before);
        }
    }
    if (differences.size() == 1) {
        step = 1;
    }
    std::vector<std::string> gaps;
    for (const SDifference& pair : differences) {
        const long long first = pair.before + step;
        const long long last = pair.after - step;
        if (first <= last) {
            gaps.push_back(std::to_string(first) + (first == last ? "" : " to " + std::to_string(last)));
        }
    }
    std::string text;
    for (std::size_t i = 0; i < std::min(gaps.size(), MOST_GAPS); ++i) {
        text += (i == 0 ? "" : ", ") + gaps[i];
    }
    return gaps.size() <= MOST_GAPS ? text
                                    : text + " and " + std::to_string(gaps.size() - MOST_GAPS) + " more";
}

} // namespace TEVRA::volume
