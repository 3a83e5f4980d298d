// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "volume/Spacing.h"
#include "volume/StoredPixels.h"

#include <string>
#include <string_view>
#include <vector>

// What readers of files with a header have in common.
namespace TEVRA::volume {

/// The first bytes of a file, `mostBytes` at most. @throws as `FileBytes`.
std::string FirstBytes(const std::string& path, std::size_t mostBytes);

/// @throws CInputError if the line holds bytes of 0, which no text does.
void CheckHeaderLine(const std::string& path, std::string_view line);
std::string_view Trimmed(std::string_view text);
/// The parts of a text between blanks.
std::vector<std::string> Words(std::string_view text);
/// All words as whole numbers. @throws CInputError, naming file and field, if one is none.
std::vector<long long> WholeNumbers(const std::string& path, const std::string& field, std::string_view text);

/// The stored type for numbers of that kind. @throws CInputError, naming the type, if they cannot be read.
EStoredType SupportedType(const std::string& path, ENumberKind kind, int bits);
/// @throws CInputError: the pixels are `what` and cannot be read.
[[noreturn]] void RefusePixels(const std::string& path, const std::string& what);
/// @throws CInputError: the header is broken.
[[noreturn]] void RefuseHeader(const std::string& path, const std::string& why);

/// A file named in the header of another: relative to that one's folder.
std::string BesideFile(const std::string& path, const std::string& name);

} // namespace TEVRA::volume
