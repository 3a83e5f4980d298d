// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "report/RunParts.h"

#include <filesystem>
#include <optional>
#include <string>

namespace TEVRA::jobs {

/// Size and checksum of a file: FNV-1a of its bytes, or, above 1 MB, of 64 blocks spread over it, so that
/// images of any size are checked at once. @param name that it is recorded under.
/// @return nothing if it is no plain file that can be read; symbolic links are not followed.
std::optional<report::SFileCheck> CheckOf(const std::filesystem::path& file, const std::string& name);

} // namespace TEVRA::jobs
