// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace TEVRA::apps {

/// The name that a mistyped word most likely stands for: one that few typing errors (a letter too many,
/// missing or another, two letters in each other's place) make the word, at most one per three letters; else
/// one that is part of the word or that the word is part of. Case, hyphens and underscores do not count. Of
/// equally good ones the first; nothing if none is near.
std::optional<std::string> NearestName(const std::string& word, const std::vector<std::string>& names);

} // namespace TEVRA::apps
