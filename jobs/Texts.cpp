// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/Texts.h"

#include <cmath>
#include <iomanip>
#include <sstream>

namespace TEVRA::jobs {

std::string RoundedText(double number, int significantDigits) {
    std::ostringstream text;
    text << std::setprecision(significantDigits) << number;
    return text.str();
}

std::string FixedText(double number, int decimals) {
    constexpr double LARGEST_FIXED = 1e6; // larger numbers would not fit into columns
    if (std::isnan(number)) {
        return "nan";
    }
    std::ostringstream text;
    text << (std::abs(number) < LARGEST_FIXED ? std::fixed : std::scientific) << std::setprecision(decimals)
         << (std::abs(number) < 0.5 * std::pow(10.0, -decimals) ? 0.0 : number);
    return text.str();
}

std::string WithUnit(const std::string& number, const std::string& unit) {
    return unit.empty() ? number : number + " " + unit;
}

std::string SizeText(const std::vector<long long>& size) {
    std::string text;
    for (const long long extent : size) {
        text += (text.empty() ? "" : " x ") + std::to_string(extent);
    }
    return text;
}

std::vector<long long> ExtentsOf(const CSize& size) {
    std::vector<long long> extents(static_cast<std::size_t>(size.Dim()));
    for (std::size_t axis = 0; axis < extents.size(); ++axis) {
        extents[axis] = size[static_cast<long long>(axis)];
    }
    return extents;
}

} // namespace TEVRA::jobs
