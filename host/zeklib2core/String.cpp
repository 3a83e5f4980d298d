// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/String.h"

#include <array>
#include <charconv>
#include <cmath>
#include <optional>

namespace TEVRA {
namespace {

struct SPlaceholder {
    std::size_t position;
    std::size_t length;
    int number;
};

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

/// The next placeholder (`%` and one or two digits, number at least 1) at or after `from`.
std::optional<SPlaceholder> find_placeholder(const std::string& text, std::size_t from) {
    for (std::size_t i = text.find('%', from); i != std::string::npos; i = text.find('%', i + 1)) {
        std::size_t end = i + 1;
        int number = 0;
        while (end < text.size() && end < i + 3 && is_digit(text[end])) {
            number = 10 * number + (text[end] - '0');
            ++end;
        }
        if (number > 0) {
            return SPlaceholder{i, end - i, number};
        }
    }
    return std::nullopt;
}

std::string padded(std::string_view digits, int fieldWidth) {
    std::string text(digits);
    if (fieldWidth > 0 && text.size() < static_cast<std::size_t>(fieldWidth)) {
        text.insert(0, static_cast<std::size_t>(fieldWidth) - text.size(), ' ');
    }
    return text;
}

template <typename NumberT>
std::string shortest_text(NumberT value) {
    std::array<char, 64> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return error == std::errc() ? std::string(buffer.data(), end) : std::string();
}

} // namespace

CString::CString(const char* text, EnEncoding /*encoding*/) : m_text(text == nullptr ? "" : text) {}

void CString::Set(const char* text, std::size_t length) {
    if (text == nullptr) {
        m_text.clear();
    } else if (length == NPOS) {
        m_text = text;
    } else {
        m_text.assign(text, length);
    }
}

CString& CString::Arg(long long value, int fieldWidth) {
    return replace_lowest_placeholder(padded(shortest_text(value), fieldWidth));
}

CString& CString::Arg(int value, int fieldWidth) {
    return Arg(static_cast<long long>(value), fieldWidth);
}

CString& CString::Arg(double value, int fieldWidth) {
    // The sign of a NaN carries no meaning for a reader.
    return replace_lowest_placeholder(padded(std::isnan(value) ? "nan" : shortest_text(value), fieldWidth));
}

CString& CString::Arg(char value) {
    return replace_lowest_placeholder(std::string_view(&value, 1));
}

CString& CString::Arg(const char* value) {
    return Arg(std::string(value == nullptr ? "" : value));
}

CString& CString::Arg(const CString& value) {
    return Arg(std::string(value.m_text));
}

// By value, since the argument may be (part of) the text that is about to change.
CString& CString::Arg(std::string value) { // NOLINT(performance-unnecessary-value-param)
    return replace_lowest_placeholder(value);
}

CString& CString::replace_lowest_placeholder(std::string_view value) {
    int lowest = 0;
    for (auto found = find_placeholder(m_text, 0); found;
         found = find_placeholder(m_text, found->position + found->length)) {
        if (lowest == 0 || found->number < lowest) {
            lowest = found->number;
        }
    }
    if (lowest == 0) {
        return *this;
    }
    for (auto found = find_placeholder(m_text, 0); found;) {
        std::size_t next = found->position + found->length;
        if (found->number == lowest) {
            m_text.replace(found->position, found->length, value);
            next = found->position + value.size(); // the inserted text is not searched again
        }
        found = find_placeholder(m_text, next);
    }
    return *this;
}

} // namespace TEVRA
