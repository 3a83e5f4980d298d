// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <string_view>

namespace TEVRA::apps {

/// The text as it may go to a terminal: control characters, and bytes that are no UTF-8, become "\x1B" and the
/// like. Names and contents of files may hold any, and terminals obey them.
std::string PrintableText(std::string_view text);

} // namespace TEVRA::apps
