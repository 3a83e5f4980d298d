// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace TEVRA::report {

/// Bytes as text of 64 letters with padding (RFC 4648, section 4), without line breaks.
std::string Base64(std::span<const std::byte> bytes);

} // namespace TEVRA::report
