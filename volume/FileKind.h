// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <string_view>

namespace TEVRA::volume {

/// Bytes of a file's start that its kind can be told from.
inline constexpr std::size_t FILE_KIND_BYTES = 512;

/// What a file of a format that is not read seems to be and what to do about it, as in "it seems to be a JPEG
/// image, which ..."; empty if nothing is known. @param start its first bytes.
std::string FileKindNote(std::string_view start);

} // namespace TEVRA::volume
