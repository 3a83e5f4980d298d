// SPDX-License-Identifier: BSD-3-Clause
#include "report/Json.h"

#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueMap.h"
#include "zeklib2core/ValuePointer.h"
#include "zeklib2core/ValueVector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace TEVRA::report {
namespace {

using testing::ElementsAre;

std::vector<std::string> keys_of(const nlohmann::ordered_json& object) {
    std::vector<std::string> keys;
    for (const auto& entry : object.items()) {
        keys.push_back(entry.key());
    }
    return keys;
}

nlohmann::ordered_json parsed(const CValue& value) {
    return nlohmann::ordered_json::parse(ResultJson(value));
}

TEST(Json, KeysKeepTheOrderOfTheMap) {
    CValueMap map;
    map.SetEntry("Status", new CValueString("ok", CString::NPOS));
    map.SetEntry("Border", new CValueLong(5));
    map.SetEntry("Anisotropy value", new CValueDouble(0.5));
    EXPECT_THAT(keys_of(parsed(map)), ElementsAre("Status", "Border", "Anisotropy value"));
}

TEST(Json, IndexKeysBecomeTheirDigits) {
    CValueMap map;
    for (int i = 0; i < 3; ++i) {
        map.SetEntry(i, new CValueDouble(i));
    }
    EXPECT_THAT(keys_of(parsed(map)), ElementsAre("0", "1", "2"));
}

TEST(Json, MapsNestAsObjects) {
    CValueMap map;
    map.SetEntry("Evaluated area/x0", new CValueLong(5));
    EXPECT_EQ(parsed(map)["Evaluated area"]["x0"], 5);
}

TEST(Json, IdentifiersWithCommasStayWhole) {
    CValueMap map;
    map.SetEntry("(005,105)", new CValueMap);
    EXPECT_THAT(keys_of(parsed(map)), ElementsAre("(005,105)"));
}

TEST(Json, VectorsBecomeArraysInOrder) {
    const CValueVector vector(new CValueDouble(-1.0), new CValueLong(2));
    const nlohmann::ordered_json json = parsed(vector);
    ASSERT_TRUE(json.is_array());
    EXPECT_EQ(json, nlohmann::ordered_json::parse("[-1.0, 2]"));
}

TEST(Json, LongsAreWholeNumbersAndDoublesAreNot) {
    EXPECT_EQ(ResultJson(CValueLong(-7)), "-7\n");
    EXPECT_EQ(ResultJson(CValueDouble(-7.0)), "-7.0\n");
}

TEST(Json, BoolsAndTextsKeepTheirKind) {
    EXPECT_EQ(ResultJson(CValueBool(true)), "true\n");
    EXPECT_EQ(ResultJson(CValueString("a \"b\"\n", CString::NPOS)), "\"a \\\"b\\\"\\n\"\n");
}

TEST(Json, DoublesReadBackAsTheSameNumber) {
    const std::vector<double> awkward = {0.1,
                                         1.0 / 3.0,
                                         -0.0,
                                         5e-324,
                                         std::numeric_limits<double>::min(),
                                         std::numeric_limits<double>::max(),
                                         123456789.123456789,
                                         3.141592653589793};
    for (const double number : awkward) {
        const double back = nlohmann::json::parse(ResultJson(CValueDouble(number))).get<double>();
        EXPECT_EQ(back, number);
        EXPECT_EQ(std::signbit(back), std::signbit(number)) << number;
    }
}

TEST(Json, NumbersThatJsonDoesNotHaveBecomeNull) {
    for (const double number :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        EXPECT_EQ(ResultJson(CValueDouble(number)), "null\n");
    }
}

TEST(Json, PointersBecomeNull) {
    CValueMap pointee;
    EXPECT_EQ(ResultJson(CValuePointer<CValueMap>(&pointee)), "null\n");
}

TEST(Json, TextThatIsNotUtf8IsReplacedAndNotRefused) {
    const std::string text = ResultJson(CValueString("a\xff", CString::NPOS));
    EXPECT_EQ(text, "\"a\xef\xbf\xbd\"\n");
}

TEST(Json, TreesHaveTheFormOfOtherJson) {
    CValueMap map;
    map.SetEntry("a/b", new CValueVector(new CValueDouble(-1.0), new CValueString("{", CString::NPOS)));
    map.SetEntry("a/none", new CValueMap);
    map.SetEntry("a/nothing", new CValueVector);
    map.SetEntry("quoted \"key\"", new CValueBool(false));
    EXPECT_EQ(ResultJson(map), ToText(parsed(map)));
    EXPECT_EQ(ResultJson(map), R"({
  "a": {
    "b": [
      -1.0,
      "{"
    ],
    "none": {},
    "nothing": []
  },
  "quoted \"key\"": false
}
)");
}

TEST(Json, AnEmptyDocumentIsAnEmptyObject) {
    EXPECT_EQ(ResultJson(CValueMap()), "{}\n");
}

} // namespace
} // namespace TEVRA::report
