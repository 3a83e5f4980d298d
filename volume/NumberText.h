// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace TEVRA::volume {

/// The shortest text that reads back as the same number, whatever the locale.
std::string NumberText(double value);

/// The number with the fewest digits that single precision rounds to `value`: 0.1 rather than 0.100000001.
double FewestDigits(float value);

/// The number that a text is, blanks around it ignored, whatever the locale; nothing if it is none.
std::optional<double> ParseNumber(std::string_view text);
std::optional<long long> ParseWholeNumber(std::string_view text);

/// "1,2,3" in its parts; one part if there is no comma.
std::vector<std::string_view> SplitAtCommas(std::string_view text);

} // namespace TEVRA::volume
