// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/ValueMap.h"

#include "CountedValue.h"
#include "support/ThrownException.h"
#include "zeklib2core/ValueVector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

using test::CCountedValue;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

CValueString* new_text(const char* text) {
    return new CValueString(text, CString::NPOS);
}

std::vector<std::string> key_texts(const CValueMap& map) {
    std::vector<std::string> texts;
    for (const CValue_Key& key : map.Keys()) {
        texts.push_back(key.ToString());
    }
    return texts;
}

TEST(ValueMap, BeginsEmpty) {
    const CValueMap map;
    EXPECT_TRUE(map.IsEmpty());
    EXPECT_EQ(map.Size(), 0U);
    EXPECT_THAT(map.Keys(), IsEmpty());
    EXPECT_EQ(map.begin(), map.end());
    EXPECT_EQ(map.GenericType(), CValue::eMap);
    EXPECT_TRUE(map.Type() == typeid(CValueMap));
    EXPECT_TRUE(map.ElementType() == typeid(CValue));
    EXPECT_TRUE(map.IsValid());
    EXPECT_FALSE(map.IsLink());
}

TEST(ValueMap, FindsEntriesByKeysOfEveryKind) {
    CValueMap map;
    map.SetEntry("0", new CValueLong(1));
    map.SetEntry(0, new CValueLong(2));
    map.SetEntry(CValue_Key::eKeyFirst, new CValueLong(3));
    map.SetEntry(CValue_Key::eKeyLast, new CValueLong(4));
    EXPECT_EQ(map.Size(), 4U);
    EXPECT_EQ(map.Entry("0")->Long(), 1);
    EXPECT_EQ(map.Entry(0)->Long(), 2);
    EXPECT_EQ(map.Entry(0LL)->Long(), 2);
    EXPECT_EQ(map.Entry(0ULL)->Long(), 2);
    EXPECT_EQ(map.Entry(CValue_Key::eKeyFirst)->Long(), 3);
    EXPECT_EQ(map.Entry(CValue_Key::eKeyLast)->Long(), 4);
    EXPECT_EQ(map.Entry(1), nullptr);
    EXPECT_EQ(map.Entry("1"), nullptr);
}

TEST(ValueMap, KeepsTheOrderInWhichKeysWereFirstSet) {
    CValueMap map;
    for (const char* key : {"zz", "xx", "yy"}) {
        map.SetEntry(key, new CValueLong(1));
    }
    map.SetEntry(7, new CValueLong(1));
    map.SetEntry("xx", new CValueLong(2));
    EXPECT_THAT(key_texts(map), ElementsAre("zz", "xx", "yy", "7")) << "a replaced entry keeps its place";
    map.RemoveEntry("zz");
    map.SetEntry("zz", new CValueLong(3));
    EXPECT_THAT(key_texts(map), ElementsAre("xx", "yy", "7", "zz")) << "a removed one does not";
}

TEST(ValueMap, IteratesInTheOrderOfItsKeys) {
    CValueMap map;
    map.SetEntry("b", new CValueLong(1));
    map.SetEntry("a", new CValueLong(2));
    std::vector<std::string> seen;
    for (CValueMap::const_iterator it = map.begin(); !(it == map.end()); ++it) {
        seen.push_back(it.Key().ToString() + "=" + std::to_string(it.Value()->Long()));
    }
    EXPECT_THAT(seen, ElementsAre("b=1", "a=2"));
}

TEST(ValueMap, FindsAnEntryAsIterator) {
    CValueMap map;
    map.SetEntry("b", new CValueLong(1));
    map.SetEntry("a", new CValueLong(2));
    map.SetEntry("c/d", new CValueLong(3));
    CValueMap::const_iterator it = map.Find("b");
    EXPECT_EQ(it.Value()->Long(), 1);
    EXPECT_EQ((++it).Value()->Long(), 2);
    EXPECT_EQ(map.Find("missing"), map.end());
    EXPECT_EQ(map.Find("c/d"), map.end()) << "an iterator belongs to one map";
}

TEST(ValueMap, TakesOwnershipAndDeletesWithItself) {
    int destroyed = 0;
    {
        CValueMap map;
        map.SetEntry("a", new CCountedValue(destroyed));
        map.SetEntry("b/c", new CCountedValue(destroyed));
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 2);
}

TEST(ValueMap, DeletesReplacedRemovedAndClearedValues) {
    int destroyed = 0;
    CValueMap map;
    map.SetEntry("a", new CCountedValue(destroyed));
    map.SetEntry("a", new CCountedValue(destroyed));
    EXPECT_EQ(destroyed, 1);
    EXPECT_TRUE(map.RemoveEntry("a"));
    EXPECT_EQ(destroyed, 2);
    EXPECT_FALSE(map.RemoveEntry("a"));
    map.SetEntry("b", new CCountedValue(destroyed));
    map.SetEntry("c", new CCountedValue(destroyed));
    map.Clear();
    EXPECT_EQ(destroyed, 4);
    EXPECT_TRUE(map.IsEmpty());
    EXPECT_EQ(map.Entry("b"), nullptr);
    map.SetEntry("b", new CValueLong(1));
    EXPECT_THAT(key_texts(map), ElementsAre("b"));
}

TEST(ValueMap, HandsADetachedValueToTheCaller) {
    int destroyed = 0;
    CValueMap map;
    map.SetEntry("a", new CCountedValue(destroyed, 1.5));
    map.SetEntry("b/c", new CCountedValue(destroyed, 2.5));
    std::unique_ptr<CValue> a(map.Detach("a"));
    std::unique_ptr<CValue> c(map.Detach("b/c"));
    EXPECT_EQ(map.Detach("a"), nullptr);
    EXPECT_EQ(map.Detach("b/c"), nullptr);
    EXPECT_EQ(map.Detach("x/y"), nullptr);
    EXPECT_FALSE(map.HasEntry("a"));
    EXPECT_TRUE(map.HasEntry("b")) << "the map along the path stays";
    map.Clear();
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(a->Double(), 1.5);
    EXPECT_EQ(c->Double(), 2.5);
    a.reset();
    c.reset();
    EXPECT_EQ(destroyed, 2);
}

TEST(ValueMap, RefusesNull) {
    CValueMap map;
    test::ExpectThrown<CExBadParam>(
        [&] { map.SetEntry("a", nullptr); },
        {"A value map holds no null values.", "TEVRA::CValueMap::SetEntry", "host/zeklib2core/ValueMap"});
    EXPECT_TRUE(map.IsEmpty());
}

TEST(ValueMap, CreatesAMissingEntryAsAMapOnRequest) {
    CValueMap map;
    EXPECT_EQ(map.Entry("a", false), nullptr);
    EXPECT_TRUE(map.IsEmpty());
    CValue* created = map.Entry("a", true);
    ASSERT_NE(created, nullptr);
    EXPECT_TRUE(created->Map().IsEmpty());
    EXPECT_EQ(map.Entry("a", true), created) << "made once";
    map.SetEntry("number", new CValueLong(1));
    EXPECT_EQ(map.Entry("number", true)->Long(), 1) << "what is there is not replaced";
}

TEST(ValueMap, CreatesNothingWhenConstant) {
    const CValueMap map;
    EXPECT_EQ(map.Entry("a", true), nullptr);
    EXPECT_TRUE(map.IsEmpty());
}

TEST(ValueMapPath, LeadsThroughNestedMaps) {
    CValueMap map;
    map.SetEntry("Evaluated area/x0", new CValueLong(5));
    map.SetEntry("Evaluated area/x1", new CValueLong(105));
    map.SetEntry("output/views/create", new CValueVector());
    EXPECT_THAT(key_texts(map), ElementsAre("Evaluated area", "output"));
    EXPECT_THAT(key_texts(map.Entry("Evaluated area")->Map()), ElementsAre("x0", "x1"));
    EXPECT_EQ(map.Entry("Evaluated area")->Map().Entry("x0")->Long(), 5);
    EXPECT_EQ(std::as_const(map).Entry("Evaluated area/x1")->Long(), 105);
    EXPECT_TRUE(map.HasEntry("output/views/create"));
    EXPECT_TRUE(map.HasEntry("output/views", CValue::eMap));
    EXPECT_TRUE(map.RemoveEntry("Evaluated area/x0"));
    EXPECT_FALSE(map.HasEntry("Evaluated area/x0"));
    EXPECT_TRUE(map.HasEntry("Evaluated area/x1"));
}

TEST(ValueMapPath, CreatesTheMapsAlongTheWay) {
    CValueMap map;
    EXPECT_TRUE(map.Entry("a/b/c", true)->Map().IsEmpty());
    EXPECT_TRUE(map.HasEntry("a/b/c", CValue::eMap));
}

TEST(ValueMapPath, FindsNothingWhereItBreaksOff) {
    CValueMap map;
    map.SetEntry("number", new CValueLong(1));
    map.SetEntry("map/a", new CValueLong(2));
    for (const char* path : {"number/a", "map/b", "map/a/b", "missing/a", "/map", "map/", "map//a"}) {
        EXPECT_EQ(map.Entry(path), nullptr) << path;
        EXPECT_EQ(std::as_const(map).Entry(path), nullptr) << path;
        EXPECT_FALSE(map.HasEntry(path)) << path;
        EXPECT_FALSE(map.RemoveEntry(path)) << path;
    }
    EXPECT_EQ(map.Size(), 2U) << "asking creates nothing";
}

TEST(ValueMapPath, CannotLeadThroughAnythingButMaps) {
    int destroyed = 0;
    CValueMap map;
    map.SetEntry("number", new CValueLong(1));
    EXPECT_THROW(map.SetEntry("number/a", new CCountedValue(destroyed)), CExBadType);
    EXPECT_EQ(destroyed, 1) << "the map owns the value also when it cannot keep it";
    EXPECT_THROW(map.Entry("number/a", true), CExBadType);
    EXPECT_EQ(map.Entry("number")->Long(), 1);
}

TEST(ValueMap, TellsEntriesByKind) {
    CValueMap map;
    map.SetEntry("a", new CValueDouble(1.0));
    map.SetEntry("m/n", new CValueLong(1));
    EXPECT_TRUE(map.HasEntry("a"));
    EXPECT_FALSE(map.HasEntry("b"));
    EXPECT_TRUE(map.HasEntry("a", CValue::eDouble));
    EXPECT_FALSE(map.HasEntry("a", CValue::eLong));
    EXPECT_FALSE(map.HasEntry("b", CValue::eDouble));
    EXPECT_TRUE(map.HasEntry("m/n", CValue::eLong));
}

TEST(ValueMap, TellsEntriesByType) {
    CValueMap map;
    map.SetEntry("a", new CValueDouble(1.0));
    map.SetEntry("m/n", new_text("x"));
    EXPECT_TRUE(map.HasEntry("a", typeid(double)));
    EXPECT_TRUE(map.HasEntry("a", typeid(CValueDouble)));
    EXPECT_FALSE(map.HasEntry("a", typeid(CValueLong)));
    EXPECT_TRUE(map.HasEntry("m", typeid(CValueMap)));
    EXPECT_TRUE(map.HasEntry("m/n", typeid(CString)));
    EXPECT_FALSE(map.HasEntry("b", typeid(double)));
}

TEST(ValueMap, IsSubsetOfAMapThatHoldsAllItsEntries) {
    CValueMap small;
    small.SetEntry("a", new CValueLong(1));
    small.SetEntry("m/n", new_text("x"));
    CValueMap large;
    large.SetEntry("m/n", new_text("x"));
    large.SetEntry("b", new CValueLong(2));
    large.SetEntry("a", new CValueLong(1));
    EXPECT_TRUE(small.IsSubset(large)) << "the order does not matter";
    EXPECT_FALSE(large.IsSubset(small));
    EXPECT_TRUE(small.IsSubset(small));
    EXPECT_TRUE(CValueMap().IsSubset(small));
    EXPECT_FALSE(small.IsSubset(CValueMap()));
    large.Entry("a")->Long() = 3;
    EXPECT_FALSE(small.IsSubset(large));
}

TEST(ValueMap, EqualsAMapWithTheSameEntriesInAnyOrder) {
    CValueMap first;
    first.SetEntry("a", new CValueLong(1));
    first.SetEntry("b/c", new CValueLong(2));
    CValueMap second;
    second.SetEntry("b/c", new CValueLong(2));
    second.SetEntry("a", new CValueLong(1));
    EXPECT_TRUE(first.EqualData(second));
    second.SetEntry("d", new CValueLong(3));
    EXPECT_FALSE(first.EqualData(second));
    EXPECT_FALSE(second.EqualData(first));
    second.RemoveEntry("d");
    second.SetEntry("b/c", new CValueLong(3));
    EXPECT_FALSE(first.EqualData(second));
}

TEST(ValueMap, MergesCopiesOfAnotherMapsEntries) {
    CValueMap target;
    target.SetEntry("a", new CValueLong(1));
    target.SetEntry("m/old", new CValueLong(2));
    CValueMap source;
    source.SetEntry("b", new CValueLong(3));
    source.SetEntry("a", new_text("replaced"));
    source.SetEntry("m/new", new CValueLong(4));
    target.Merge(source);
    EXPECT_THAT(key_texts(target), ElementsAre("a", "m", "b"));
    EXPECT_EQ(target.Entry("a")->String().Text(), "replaced");
    EXPECT_THAT(key_texts(target.Entry("m")->Map()), ElementsAre("new")) << "maps are replaced as a whole";
    source.Entry("b")->Long() = 9;
    EXPECT_EQ(target.Entry("b")->Long(), 3) << "copies, not links";
    EXPECT_EQ(source.Size(), 3U);
}

TEST(ValueMap, MergesWithItselfAndItsParts) {
    CValueMap map;
    map.SetEntry("m/m", new CValueLong(1));
    map.SetEntry("m/n", new CValueLong(2));
    map.Merge(map);
    EXPECT_EQ(map.Size(), 1U);
    map.Merge(map.Entry("m")->Map());
    EXPECT_THAT(key_texts(map), ElementsAre("m", "n"));
    EXPECT_EQ(map.Entry("m")->Long(), 1);
    EXPECT_EQ(map.Entry("n")->Long(), 2);
}

TEST(ValueMap, CopiesAreDeepAndKeepOrderAndMetadata) {
    CValueMap original;
    original.SetEntry("b", new CValueLong(1));
    original.SetEntry("a/c", new CValueLong(2));
    original.Meta().SetEntry("unit", new_text("mm"));
    original.Entry("b")->Meta().SetEntry("unit", new_text("px"));
    const CValueMap copy(original);
    CValueMap assigned;
    assigned.SetEntry("old", new CValueLong(1));
    assigned = original;
    original.Entry("b")->Long() = 5;
    original.Entry("a/c")->Long() = 5;
    original.Meta().Clear();
    for (const CValueMap* map : {&copy, &std::as_const(assigned)}) {
        EXPECT_THAT(key_texts(*map), ElementsAre("b", "a"));
        EXPECT_EQ(map->Entry("b")->Long(), 1);
        EXPECT_EQ(map->Entry("a/c")->Long(), 2);
        EXPECT_TRUE(map->Meta().HasEntry("unit"));
        EXPECT_EQ(map->Entry("b")->Meta().Entry("unit")->String().Text(), "px");
    }
}

TEST(ValueMap, WorksOnAfterBeingMovedToAndFrom) {
    CValueMap source;
    source.SetEntry("a", new CValueLong(1));
    CValueMap target;
    target.SetEntry("old", new CValueLong(2));
    target.Move(source);
    EXPECT_THAT(key_texts(target), ElementsAre("a"));
    EXPECT_FALSE(target.HasEntry("old"));
    target.SetEntry("a", new CValueLong(3));
    target.SetEntry("b", new CValueLong(4));
    EXPECT_EQ(target.Entry("a")->Long(), 3);
    EXPECT_TRUE(source.IsEmpty());
    EXPECT_FALSE(source.HasEntry("a"));
    source.SetEntry("c", new CValueLong(5));
    EXPECT_THAT(key_texts(source), ElementsAre("c"));
}

TEST(ValueMap, DeclaresAnInterfaceInItsMetadata) {
    CValueMap map;
    const CString name("FiberDirections", CString::eEncodingUtf8);
    EXPECT_FALSE(map.TestInterface(name));
    map.Meta().SetEntry("interface", new_text("FiberDirections"));
    EXPECT_TRUE(map.TestInterface(name));
    EXPECT_FALSE(map.TestInterface(CString("Other", CString::eEncodingUtf8)));
    map.Meta().SetEntry("interface", new CValueLong(1));
    EXPECT_FALSE(map.TestInterface(name));
}

TEST(ValueMap, HoldsManyEntries) {
    CValueMap map;
    for (int i = 0; i < 20000; ++i) {
        map.SetEntry(std::to_string(i).c_str(), new CValueLong(i));
    }
    for (int i = 0; i < 20000; i += 2) {
        EXPECT_TRUE(map.RemoveEntry(std::to_string(i).c_str()));
    }
    EXPECT_EQ(map.Size(), 10000U);
    int expected = 1;
    for (auto it = map.begin(); it != map.end(); ++it, expected += 2) {
        EXPECT_EQ(it.Value()->Long(), expected);
    }
}

} // namespace
} // namespace TEVRA
