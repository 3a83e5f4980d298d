// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"

#include "apps/Failure.h"

#include <charconv>
#include <cmath>
#include <string_view>
#include <system_error>

namespace TEVRA::apps {

namespace {

[[noreturn]] void refuse(const SArgument& argument, const std::string& expected) {
    throw CUsageError(argument.name + ": '" + argument.text + "' is not " + expected);
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

std::string_view without_blanks_around(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

template <typename Number>
bool read(std::string_view text, Number& number) {
    text = without_blanks_around(text);
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) {
            return false;
        }
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

template <typename Number>
std::vector<Number> read_list(const SArgument& argument, const char* expected) {
    std::vector<Number> numbers;
    for (const std::string_view part : split_at_commas(argument.text)) {
        Number number{};
        if (!read(part, number) || !std::isfinite(static_cast<double>(number))) {
            refuse(argument, expected);
        }
        numbers.push_back(number);
    }
    return numbers;
}

} // namespace

std::vector<double> ReadNumbers(const SArgument& argument) {
    return read_list<double>(argument, "a list of finite numbers separated by commas, as in 0.5,0.5,1");
}

std::vector<long long> ReadWholeNumbers(const SArgument& argument) {
    return read_list<long long>(argument, "a list of whole numbers separated by commas, as in 64,64,32");
}

double ReadNumber(const SArgument& argument) {
    double number = 0.0;
    if (!read(argument.text, number) || !std::isfinite(number)) {
        refuse(argument, "a finite number, as in 1.5");
    }
    return number;
}

double ReadPositiveNumber(const SArgument& argument) {
    double number = 0.0;
    if (!read(argument.text, number) || !std::isfinite(number) || number <= 0.0) {
        refuse(argument, "a finite number greater than 0, as in 1.5");
    }
    return number;
}

long long ReadWholeNumber(const SArgument& argument, long long smallest) {
    long long number = 0;
    if (!read(argument.text, number) || number < smallest) {
        refuse(argument, "a whole number of at least " + std::to_string(smallest));
    }
    return number;
}

} // namespace TEVRA::apps
