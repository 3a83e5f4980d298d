// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "stream/OpenFile.h"

#include <filesystem>
#include <string_view>

namespace TEVRA::jobs {

/// Names that output files have until they are finished: this, a random word, '-' and their name.
inline constexpr const char* TEMPORARY_START = ".tevra-";

/// A new, empty and locked file of such a name beside its target: as long as the process lives, others see
/// that it is not abandoned. @throws std::system_error if it cannot be made.
stream::SNewFile MakeTemporaryFile(const std::filesystem::path& target);

/// Removes the files of such names that no living process holds: those of runs that were killed. The lock
/// tells, since process numbers are used again, and several machines and containers share folders.
void RemoveAbandonedFiles(const std::filesystem::path& folder);

/// Whether the folder holds a file that is to get this name, or had it, of a run that was killed (or is alive).
bool HasUnfinishedFile(const std::filesystem::path& folder, std::string_view name);

} // namespace TEVRA::jobs
