// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Size.h"

#include <string>
#include <vector>

namespace TEVRA::jobs {

/// A number as people write it, for messages.
std::string RoundedText(double number, int significantDigits = 6);
/// A number with as many digits behind the point, in powers of ten from a million on. What rounds to 0 has no sign,
/// and neither has what is no number.
std::string FixedText(double number, int decimals);
/// "3 mm", or "3" if the unit has no name.
std::string WithUnit(const std::string& number, const std::string& unit);
/// "128 x 128 x 64".
std::string SizeText(const std::vector<long long>& size);
std::vector<long long> ExtentsOf(const CSize& size);

} // namespace TEVRA::jobs
