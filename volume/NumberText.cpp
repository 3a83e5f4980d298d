// SPDX-License-Identifier: BSD-3-Clause
#include "volume/NumberText.h"

#include <array>
#include <charconv>

namespace TEVRA::volume {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view BLANKS = " \t\r\n";
    const std::size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

template <typename NumberT>
std::optional<NumberT> parse(std::string_view text) {
    text = trimmed(text);
    NumberT value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::string NumberText(double value) {
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
    return {text.data(), error == std::errc() ? end : text.data()};
}

double FewestDigits(float value) {
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
    const std::string_view digits(text.data(), static_cast<std::size_t>(end - text.data()));
    return error == std::errc() ? ParseNumber(digits).value_or(value) : value;
}

std::optional<double> ParseNumber(std::string_view text) {
    return parse<double>(text);
}

std::optional<long long> ParseWholeNumber(std::string_view text) {
    return parse<long long>(text);
}

std::vector<std::string_view> SplitAtCommas(std::string_view text) {
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

} // namespace TEVRA::volume
