// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace TEVRA::test {

/// Names of all files in a folder of results but what is there to be looked at: the report, which only builds with
/// Node.js write, and pictures.
std::vector<std::string> OutputsIn(const std::filesystem::path& folder);

/// Fails the test unless the folders of two analyses by subfields with maps hold the same results, byte by
/// byte.
void ExpectSameResults(const std::filesystem::path& one, const std::filesystem::path& other);

} // namespace TEVRA::test
