// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace TEVRA::volume {

/// Compressed in the zlib format, fast rather than small: for bytes that repeat others.
/// @throws std::bad_alloc, std::length_error for 2 GiB and more.
std::string Deflated(std::span<const std::byte> bytes);

/// The same for bytes that are much like noise, as pixels of sections are: besides runs of a byte only its frequency
/// counts. A quarter of the time of zlib's usual compression, which makes them hardly smaller.
std::string DeflatedNoise(std::span<const std::byte> bytes);

} // namespace TEVRA::volume
