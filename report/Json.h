// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/Value.h"

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace TEVRA::report {

/// A value tree as the text of result.json: JSON, indented by two blanks, with a line break at the end.
///
/// | value                  | JSON                                                                |
/// |------------------------|---------------------------------------------------------------------|
/// | map                    | object, its keys in map order; the index key 0 becomes "0"          |
/// | vector                 | array                                                               |
/// | double                 | number, the shortest text that reads back as the same double        |
/// | NaN, infinity, pointer | null: JSON has no such numbers, and a pointer means nothing outside |
/// | long                   | whole number                                                        |
/// | bool, string           | true or false, string; bytes that are not UTF-8 become U+FFFD       |
///
/// Metadata of values is left out. Asks the calling thread's monitor on the way whether to go on.
/// @throws CCancelled if not.
std::string ResultJson(const CValue& value);

/// The same form for other JSON.
std::string ToText(const nlohmann::ordered_json& json);

/// JSON in one line, without blanks. Bytes that are not UTF-8 become U+FFFD here, too.
std::string ToLine(const nlohmann::ordered_json& json);

} // namespace TEVRA::report
