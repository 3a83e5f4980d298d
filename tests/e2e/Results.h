// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <filesystem>

namespace TEVRA::test {

/// Fails the test unless the folders of two analyses by subfields with maps hold the same results, byte by
/// byte.
void ExpectSameResults(const std::filesystem::path& one, const std::filesystem::path& other);

} // namespace TEVRA::test
