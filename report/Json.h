// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2core/ValueMap.h"

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace TEVRA::report {

/// A value tree as JSON.
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
/// Metadata of values is left out.
nlohmann::ordered_json ToJson(const CValue& value);

/// The JSON as text: indented by two blanks, with a line break at the end.
std::string ToText(const nlohmann::ordered_json& json);

/// The result document as it stands in result.json.
std::string ResultJson(const CValueMap& document);

} // namespace TEVRA::report
