// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string_view>

namespace TEVRA::volume {

/// True if `a` comes before `b` when numbers within names count as numbers: "slice2" before "slice10". Names
/// that differ only in leading zeros of numbers come in the order of their characters.
bool ComesBefore(std::string_view a, std::string_view b) noexcept;

} // namespace TEVRA::volume
