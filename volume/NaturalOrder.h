// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace TEVRA::volume {

/// True if `a` comes before `b` when numbers within names count as numbers: "slice2" before "slice10". Names
/// that differ only in leading zeros of numbers come in the order of their characters.
bool ComesBefore(std::string_view a, std::string_view b) noexcept;

/// The numbers that files of a series lack, as in "12, 15 to 17": where neighbours differ in one number only,
/// by more than the step of the series (the greatest common divisor of all such differences; 1 for a single
/// one). Empty if none. @param names in natural order.
std::string MissingNumbers(const std::vector<std::string>& names);

} // namespace TEVRA::volume
