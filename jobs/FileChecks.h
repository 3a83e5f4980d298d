// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/RunParts.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace TEVRA::jobs {

/// Size and checksum of a file: FNV-1a of its bytes, or, above 1 MB, of 64 blocks spread over it, so that
/// images of any size are checked at once. @param name that it is recorded under.
/// @return nothing if it is no plain file that can be read; symbolic links are not followed.
std::optional<report::SFileCheck> CheckOf(const std::filesystem::path& file, const std::string& name);

/// The same of the files that an image is read from, one after the other as if they were one; links are
/// followed. It tells images apart; that nobody changed a pixel of a large one it does not prove.
/// @return nothing if there are none, or if one cannot be read.
std::optional<report::SFileCheck> CheckOfInput(const std::vector<std::string>& files);

} // namespace TEVRA::jobs
