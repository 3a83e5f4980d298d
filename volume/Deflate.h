// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace TEVRA::volume {

/// Bytes compressed in the zlib format, which browsers call "deflate".
std::string Deflated(std::span<const std::byte> bytes);

} // namespace TEVRA::volume
