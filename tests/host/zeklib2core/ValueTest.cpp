// SPDX-License-Identifier: BSD-3-Clause
// What all kinds of values have in common: refusing the wrong kind, metadata, cloning, copying, moving.
#include "zeklib2core/Value.h"

#include "CountedValue.h"
#include "support/ThrownException.h"
#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueMap.h"
#include "zeklib2core/ValuePointer.h"
#include "zeklib2core/ValueVector.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

CValueString* new_text(const char* text) {
    return new CValueString(text, CString::NPOS);
}

/// One value of each kind, in the order of the kinds.
std::vector<std::unique_ptr<CValue>> one_of_each() {
    std::vector<std::unique_ptr<CValue>> values;
    values.emplace_back(new CValueDouble(1.5));
    values.emplace_back(new CValueLong(2));
    values.emplace_back(new CValueBool(true));
    values.emplace_back(new_text("text"));
    auto map = std::make_unique<CValueMap>();
    map->SetEntry("a", new CValueLong(1));
    values.push_back(std::move(map));
    values.emplace_back(new CValueVector(new CValueLong(1), new CValueLong(2)));
    values.emplace_back(new CValuePointer<CValueMap>());
    return values;
}

const std::vector<CValue::EnValType> ALL_KINDS{CValue::eDouble, CValue::eLong, CValue::eBool,
                                               CValue::eString, CValue::eMap,  CValue::eVector,
                                               CValue::ePointer};

TEST(Value, AnswersForItsOwnKindOnly) {
    const std::vector<std::function<void(CValue&)>> accessors{
        [](CValue& v) { v.Double(); },  [](CValue& v) { v.Long(); }, [](CValue& v) { v.Bool(); },
        [](CValue& v) { v.String(); },  [](CValue& v) { v.Map(); },  [](CValue& v) { v.Vector(); },
        [](CValue& v) { v.Pointer(); },
    };
    const std::vector<std::function<void(const CValue&)>> constAccessors{
        [](const CValue& v) { v.Double(); },  [](const CValue& v) { v.Long(); },
        [](const CValue& v) { v.Bool(); },    [](const CValue& v) { v.String(); },
        [](const CValue& v) { v.Map(); },     [](const CValue& v) { v.Vector(); },
        [](const CValue& v) { v.Pointer(); },
    };
    const auto values = one_of_each();
    for (std::size_t kind = 0; kind < values.size(); ++kind) {
        CValue& value = *values[kind];
        EXPECT_EQ(value.GenericType(), ALL_KINDS[kind]);
        for (std::size_t asked = 0; asked < accessors.size(); ++asked) {
            if (asked == kind) {
                EXPECT_NO_THROW(accessors[asked](value));
                EXPECT_NO_THROW(constAccessors[asked](value));
            } else {
                EXPECT_THROW(accessors[asked](value), CExBadType) << kind << " asked for " << asked;
                EXPECT_THROW(constAccessors[asked](value), CExBadType) << kind << " asked for " << asked;
            }
        }
    }
}

TEST(Value, AnswersTheAddressAndTakesTextForItsOwnKindOnly) {
    for (const auto& value : one_of_each()) {
        if (value->GenericType() == CValue::ePointer) {
            EXPECT_EQ(value->VoidPointer(), nullptr);
            EXPECT_EQ(std::as_const(*value).VoidPointer(), nullptr);
        } else {
            EXPECT_THROW(value->VoidPointer(), CExBadType);
            EXPECT_THROW(std::as_const(*value).VoidPointer(), CExBadType);
        }
        if (value->GenericType() == CValue::eString) {
            EXPECT_NO_THROW(value->SetString("ok", CString::NPOS));
        } else {
            EXPECT_THROW(value->SetString("ok", CString::NPOS), CExBadType);
        }
    }
}

TEST(Value, SaysWhichKindItIsWhenAskedForAnother) {
    const CValueMap map;
    test::ExpectThrown<CExBadType>(
        [&] { static_cast<void>(map.Double()); },
        {"The value is of the wrong type: map.", "TEVRA::CValue::Double", "host/zeklib2core/Value"});
}

TEST(Value, NamesItsKinds) {
    std::string names;
    for (const CValue::EnValType kind : ALL_KINDS) {
        names += CValue::KindName(kind) + std::string(" ");
    }
    EXPECT_EQ(names, "double long bool string map vector pointer ");
}

TEST(ValueMeta, IsEmptyUntilWritten) {
    CValueDouble value(1.0);
    EXPECT_TRUE(std::as_const(value).Meta().IsEmpty());
    EXPECT_TRUE(value.Meta().IsEmpty());
    value.Meta().SetEntry("unit", new_text("mm"));
    EXPECT_EQ(std::as_const(value).Meta().Entry("unit")->String().Text(), "mm");
    EXPECT_TRUE(CValueDouble(1.0).Meta().IsEmpty()) << "metadata is the value's own";
}

TEST(ValueMeta, CountsForEqualButNotForEqualData) {
    const CValueDouble plain(1.0);
    CValueDouble annotated(1.0);
    annotated.Meta();
    EXPECT_TRUE(plain.Equal(annotated)) << "empty metadata is no metadata";
    annotated.Meta().SetEntry("unit", new_text("mm"));
    EXPECT_TRUE(plain.EqualData(annotated));
    EXPECT_FALSE(plain.Equal(annotated));
    EXPECT_FALSE(annotated.Equal(plain));
    CValueDouble same(1.0);
    same.CopyMeta(annotated, eTfShare, false);
    EXPECT_TRUE(same.Equal(annotated));
    same.Meta().SetEntry("unit", new_text("px"));
    EXPECT_FALSE(same.Equal(annotated));
}

TEST(ValueMeta, IsAddedToOrReplaced) {
    CValueDouble source(1.0);
    source.Meta().SetEntry("unit", new_text("mm"));
    CValueLong added(1);
    added.Meta().SetEntry("unit", new_text("px"));
    added.Meta().SetEntry("name", new_text("radius"));
    added.CopyMeta(source, eTfShare, false);
    EXPECT_EQ(added.Meta().Entry("unit")->String().Text(), "mm");
    EXPECT_TRUE(added.Meta().HasEntry("name"));
    CValueLong replaced(1);
    replaced.Meta().SetEntry("name", new_text("radius"));
    replaced.CopyMeta(source, eTfShare, true);
    EXPECT_EQ(replaced.Meta().Size(), 1U);
    EXPECT_TRUE(replaced.Meta().HasEntry("unit"));
    replaced.CopyMeta(CValueDouble(0.0), eTfShare, true);
    EXPECT_TRUE(replaced.Meta().IsEmpty());
}

TEST(ValueMeta, IsCopiedFromAPartOfItself) {
    CValueDouble value(1.0);
    value.Meta().SetEntry("inner", new CValueLong(1));
    value.Meta().Entry("inner")->Meta().SetEntry("unit", new_text("mm"));
    value.CopyMeta(*value.Meta().Entry("inner"), eTfShare, true);
    EXPECT_EQ(value.Meta().Size(), 1U);
    EXPECT_EQ(value.Meta().Entry("unit")->String().Text(), "mm");
    value.CopyMeta(value, eTfShare, true);
    EXPECT_EQ(value.Meta().Size(), 1U) << "from itself";
}

TEST(Value, ClonesToAnEqualValueOfTheSameClass) {
    for (const auto& value : one_of_each()) {
        value->Meta().SetEntry("unit", new_text("mm"));
        const std::unique_ptr<CValue> clone(value->Clone(eTfShare));
        EXPECT_TRUE(clone->Type() == value->Type()) << clone->Type().name();
        EXPECT_TRUE(clone->Equal(*value)) << clone->Type().name();
    }
}

TEST(Value, EqualsOnlyValuesOfItsKind) {
    const auto values = one_of_each();
    const auto others = one_of_each();
    for (std::size_t i = 0; i < values.size(); ++i) {
        for (std::size_t j = 0; j < others.size(); ++j) {
            EXPECT_EQ(values[i]->EqualData(*others[j]), i == j) << i << " and " << j;
            EXPECT_EQ(values[i]->Equal(*others[j]), i == j) << i << " and " << j;
        }
    }
}

TEST(Value, CopiesAndMovesOnlyFromItsKindAndKeepsItselfOtherwise) {
    const auto values = one_of_each();
    const auto others = one_of_each();
    for (std::size_t i = 0; i < values.size(); ++i) {
        for (std::size_t j = 0; j < others.size(); ++j) {
            if (i != j) {
                others[j]->Meta().SetEntry("unit", new_text("mm"));
                EXPECT_THROW(values[i]->Copy(*others[j], eTfShare, true), CExBadType);
                EXPECT_THROW(values[i]->Move(*others[j]), CExBadType);
                EXPECT_TRUE(values[i]->Equal(*one_of_each()[i]));
                EXPECT_TRUE(others[j]->EqualData(*one_of_each()[j]));
                EXPECT_TRUE(others[j]->Meta().HasEntry("unit"));
            }
        }
    }
}

/// For each kind a value that differs from that of `one_of_each`, with metadata.
std::vector<std::unique_ptr<CValue>> another_of_each() {
    static CValueMap object;
    std::vector<std::unique_ptr<CValue>> values;
    values.emplace_back(new CValueDouble(-4.0));
    values.emplace_back(new CValueLong(-4));
    values.emplace_back(new CValueBool(false));
    values.emplace_back(new_text("another text, longer than any small buffer of a string"));
    auto map = std::make_unique<CValueMap>();
    map->SetEntry("b", new CValueLong(3));
    map->SetEntry("c/d", new CValueLong(4));
    values.push_back(std::move(map));
    values.emplace_back(new CValueVector(new CValueLong(3), new_text("x"), new CValueBool(true)));
    values.emplace_back(new CValuePointer<CValueMap>(&object));
    for (const auto& value : values) {
        value->Meta().SetEntry("unit", new_text("mm"));
    }
    return values;
}

TEST(Value, CopiesDataAndOnRequestMetadata) {
    const auto sources = another_of_each();
    const auto withMeta = one_of_each();
    const auto withoutMeta = one_of_each();
    for (std::size_t i = 0; i < sources.size(); ++i) {
        withMeta[i]->Meta().SetEntry("old", new CValueLong(1));
        withMeta[i]->Copy(*sources[i], eTfShare, true);
        EXPECT_TRUE(withMeta[i]->Equal(*sources[i])) << i;
        withoutMeta[i]->Meta().SetEntry("old", new CValueLong(1));
        withoutMeta[i]->Copy(*sources[i], eTfShare, false);
        EXPECT_TRUE(withoutMeta[i]->EqualData(*sources[i])) << i;
        EXPECT_TRUE(withoutMeta[i]->Meta().HasEntry("old")) << i;
        EXPECT_FALSE(withoutMeta[i]->Meta().HasEntry("unit")) << i;
        EXPECT_TRUE(sources[i]->Equal(*another_of_each()[i])) << i << ": the source is left as it was";
    }
}

TEST(Value, MovesDataAndMetadataAndLeavesTheSourceEmpty) {
    const auto sources = another_of_each();
    const auto targets = one_of_each();
    for (std::size_t i = 0; i < sources.size(); ++i) {
        targets[i]->Meta().SetEntry("old", new CValueLong(1));
        targets[i]->Move(*sources[i]);
        EXPECT_TRUE(targets[i]->Equal(*another_of_each()[i])) << i;
        EXPECT_TRUE(sources[i]->Meta().IsEmpty()) << i;
    }
    EXPECT_EQ(sources[0]->Double(), 0.0);
    EXPECT_EQ(sources[1]->Long(), 0);
    EXPECT_FALSE(sources[2]->Bool());
    EXPECT_TRUE(sources[3]->String().IsEmpty());
    EXPECT_TRUE(sources[4]->Map().IsEmpty());
    EXPECT_EQ(sources[5]->Vector().Size(), 0U);
    EXPECT_FALSE(sources[6]->IsValid());
}

TEST(Value, CopiesAndMovesToItselfWithoutChange) {
    for (const auto& value : another_of_each()) {
        const std::unique_ptr<CValue> before(value->Clone(eTfShare));
        value->Copy(*value, eTfShare, true);
        EXPECT_TRUE(value->Equal(*before));
        value->Move(*value);
        EXPECT_TRUE(value->Equal(*before));
    }
}

/// A map {inner: {leaf: 7} with metadata}.
std::unique_ptr<CValueMap> nested_map() {
    auto map = std::make_unique<CValueMap>();
    map->SetEntry("inner/leaf", new CValueLong(7));
    map->Entry("inner")->Meta().SetEntry("unit", new_text("mm"));
    return map;
}

TEST(Value, CopiesFromAPartOfItself) {
    const auto map = nested_map();
    map->Copy(*map->Entry("inner"), eTfShare, true);
    EXPECT_EQ(map->Size(), 1U);
    EXPECT_EQ(map->Entry("leaf")->Long(), 7);
    EXPECT_TRUE(map->Meta().HasEntry("unit"));

    CValueVector list(new CValueVector(new CValueLong(1), new CValueLong(2)), new CValueLong(3));
    list.Copy(*list.Entry(0), eTfShare, true);
    EXPECT_TRUE(list.EqualData(CValueVector(new CValueLong(1), new CValueLong(2))));
}

TEST(Value, MovesAPartOfItselfUp) {
    const auto map = nested_map();
    map->Move(*map->Entry("inner"));
    EXPECT_EQ(map->Size(), 1U);
    EXPECT_EQ(map->Entry("leaf")->Long(), 7);
    EXPECT_TRUE(map->Meta().HasEntry("unit"));

    CValueVector list(new CValueVector(new CValueLong(1), new CValueLong(2)), new CValueLong(3));
    list.Move(*list.Entry(0));
    EXPECT_TRUE(list.EqualData(CValueVector(new CValueLong(1), new CValueLong(2))));
}

TEST(Value, DeletesItsMetadata) {
    int destroyed = 0;
    {
        CValueLong value(1);
        value.Meta().SetEntry("counted", new test::CCountedValue(destroyed));
    }
    EXPECT_EQ(destroyed, 1);
}

} // namespace
} // namespace TEVRA
