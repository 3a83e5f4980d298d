// SPDX-License-Identifier: BSD-3-Clause
#include "report/Json.h"

#include "zeklib2core/ValueVector.h"

#include <nlohmann/json.hpp>

#include <cmath>

namespace TEVRA::report {

namespace {

using Json = nlohmann::ordered_json;

Json object_of(const CValueMap& map) {
    Json object = Json::object();
    for (auto entry = map.begin(); !(entry == map.end()); ++entry) {
        object[entry.Key().ToString()] = ToJson(*entry.Value());
    }
    return object;
}

Json array_of(const CValueVector& vector) {
    Json array = Json::array();
    for (unsigned long long i = 0; i < vector.Size(); ++i) {
        array.push_back(ToJson(*vector.Entry(i)));
    }
    return array;
}

Json number_of(double number) {
    return std::isfinite(number) ? Json(number) : Json(nullptr);
}

} // namespace

Json ToJson(const CValue& value) {
    switch (value.GenericType()) {
    case CValue::eMap:
        return object_of(value.Map());
    case CValue::eVector:
        return array_of(value.Vector());
    case CValue::eDouble:
        return number_of(value.Double());
    case CValue::eLong:
        return value.Long();
    case CValue::eBool:
        return value.Bool();
    case CValue::eString:
        return value.String().Text();
    case CValue::ePointer:
        break;
    }
    return nullptr;
}

std::string ToText(const Json& json) {
    constexpr int INDENT = 2;
    return json.dump(INDENT, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string ResultJson(const CValueMap& document) {
    return ToText(ToJson(document));
}

} // namespace TEVRA::report
