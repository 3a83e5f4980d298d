// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string_view>

namespace TEVRA::report::web {

/// Stands in the page where the data go.
inline constexpr std::string_view DATA_PLACE = "__TEVRA_DATA__";

/// The page that reports are made of, with scripts and styles; empty if it was not built.
std::string_view Page();

} // namespace TEVRA::report::web
