// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/ValueVector.h"

#include "CountedValue.h"
#include "support/ThrownException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

using test::CCountedValue;
using ::testing::ElementsAre;

std::vector<int> longs(const CValueVector& vector) {
    std::vector<int> numbers;
    for (std::size_t i = 0; i < vector.Size(); ++i) {
        numbers.push_back(vector.Entry(static_cast<int>(i))->Long());
    }
    return numbers;
}

TEST(ValueVector, IsMadeEmptyOrFromTwoToFourValues) {
    EXPECT_EQ(CValueVector().Size(), 0U);
    EXPECT_THAT(longs(CValueVector(new CValueLong(1), new CValueLong(2))), ElementsAre(1, 2));
    EXPECT_THAT(longs(CValueVector(new CValueLong(1), new CValueLong(2), new CValueLong(3))),
                ElementsAre(1, 2, 3));
    EXPECT_THAT(
        longs(CValueVector(new CValueLong(1), new CValueLong(2), new CValueLong(3), new CValueLong(4))),
        ElementsAre(1, 2, 3, 4));
}

TEST(ValueVector, IsOfItsKind) {
    const CValueVector vector;
    EXPECT_EQ(vector.GenericType(), CValue::eVector);
    EXPECT_TRUE(vector.Type() == typeid(CValueVector));
    EXPECT_TRUE(vector.ElementType() == typeid(CValue));
    EXPECT_TRUE(vector.IsValid());
    EXPECT_FALSE(vector.IsLink());
}

TEST(ValueVector, OwnsAndDeletesItsValues) {
    int destroyed = 0;
    {
        CValueVector vector(new CCountedValue(destroyed), new CCountedValue(destroyed));
        vector.PushBack(new CCountedValue(destroyed));
        vector.SetEntry(0, new CCountedValue(destroyed));
        EXPECT_EQ(destroyed, 1) << "the replaced one";
        EXPECT_TRUE(vector.RemoveEntry(0));
        EXPECT_EQ(destroyed, 2);
    }
    EXPECT_EQ(destroyed, 4);
}

TEST(ValueVector, DeletesAllValuesWhenOneOfThemIsNull) {
    int destroyed = 0;
    EXPECT_THROW(CValueVector(new CCountedValue(destroyed), nullptr), CExBadParam);
    EXPECT_EQ(destroyed, 1);
    EXPECT_THROW(CValueVector(nullptr, new CCountedValue(destroyed), new CCountedValue(destroyed)),
                 CExBadParam);
    EXPECT_EQ(destroyed, 3);
    EXPECT_THROW(CValueVector(new CCountedValue(destroyed), new CCountedValue(destroyed), nullptr,
                              new CCountedValue(destroyed)),
                 CExBadParam);
    EXPECT_EQ(destroyed, 6);
}

TEST(ValueVector, AddressesElementsByIndexAndReservedKeys) {
    CValueVector vector(new CValueLong(1), new CValueLong(2), new CValueLong(3));
    EXPECT_EQ(vector.Entry(1)->Long(), 2);
    EXPECT_EQ(vector.Entry(1LL)->Long(), 2);
    EXPECT_EQ(std::as_const(vector).Entry(1ULL)->Long(), 2);
    EXPECT_EQ(vector.Entry(CValue_Key::eKeyFirst)->Long(), 1);
    EXPECT_EQ(vector.Entry(CValue_Key::eKeyLast)->Long(), 3);
    EXPECT_TRUE(vector.HasEntry(2));
    EXPECT_TRUE(vector.HasEntry(CValue_Key::eKeyLast));
    for (const CValue_Key& missing : {CValue_Key(3), CValue_Key(-1), CValue_Key("0")}) {
        EXPECT_EQ(vector.Entry(missing), nullptr) << missing.ToString();
        EXPECT_EQ(std::as_const(vector).Entry(missing), nullptr) << missing.ToString();
        EXPECT_FALSE(vector.HasEntry(missing)) << missing.ToString();
        EXPECT_FALSE(vector.RemoveEntry(missing)) << missing.ToString();
        EXPECT_EQ(vector.Detach(missing), nullptr) << missing.ToString();
    }
}

TEST(ValueVector, HasNoFirstOrLastElementWhenEmpty) {
    CValueVector vector;
    EXPECT_EQ(vector.Entry(CValue_Key::eKeyFirst), nullptr);
    EXPECT_EQ(vector.Entry(CValue_Key::eKeyLast), nullptr);
    EXPECT_FALSE(vector.HasEntry(CValue_Key::eKeyFirst));
    EXPECT_FALSE(vector.HasEntry(CValue_Key::eKeyLast));
}

TEST(ValueVector, ReplacesAnElementOrAppendsAtTheEnd) {
    CValueVector vector;
    vector.PushBack(new CValueLong(1));
    vector.PushBack(new CValueLong(2));
    vector.SetEntry(0, new CValueLong(5));
    vector.SetEntry(CValue_Key::eKeyLast, new CValueLong(6));
    vector.SetEntry(2, new CValueLong(7));
    EXPECT_THAT(longs(vector), ElementsAre(5, 6, 7));
}

TEST(ValueVector, RefusesPlacesBeyondTheEndNamesAndNull) {
    int destroyed = 0;
    CValueVector vector;
    test::ExpectThrown<CExBadParam>([&] { vector.SetEntry(1, new CCountedValue(destroyed)); },
                                    {"A value vector of 0 elements has no place '1'.",
                                     "TEVRA::CValueVector::SetEntry", "host/zeklib2core/ValueVector"});
    test::ExpectThrown<CExBadParam>([&] { vector.SetEntry("name", new CCountedValue(destroyed)); },
                                    {"A value vector of 0 elements has no place 'name'.",
                                     "TEVRA::CValueVector::SetEntry", "host/zeklib2core/ValueVector"});
    EXPECT_THROW(vector.SetEntry(-1, new CCountedValue(destroyed)), CExBadParam);
    EXPECT_EQ(destroyed, 3);
    test::ExpectThrown<CExBadParam>([&] { vector.PushBack(nullptr); },
                                    {"A value vector holds no null values.", "TEVRA::CValueVector::SetEntry",
                                     "host/zeklib2core/ValueVector"});
    EXPECT_EQ(vector.Size(), 0U);
}

TEST(ValueVector, HandsADetachedElementToTheCallerAndClosesTheGap) {
    int destroyed = 0;
    CValueVector vector(new CValueLong(1), new CCountedValue(destroyed, 2.5), new CValueLong(3));
    std::unique_ptr<CValue> detached(vector.Detach(1));
    EXPECT_THAT(longs(vector), ElementsAre(1, 3));
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(detached->Double(), 2.5);
    detached.reset();
    EXPECT_EQ(destroyed, 1);
}

TEST(ValueVector, FindsTheFirstElementWithTheSameData) {
    const CValueVector vector(new CValueLong(1), new CValueDouble(2.0), new CValueLong(2), new CValueLong(2));
    EXPECT_EQ(vector.Find(CValueLong(2)), 2U);
    EXPECT_EQ(vector.Find(CValueDouble(2.0)), 1U);
    EXPECT_EQ(vector.Find(CValueLong(3)), CString::NPOS);
}

TEST(ValueVector, EqualsAVectorWithTheSameElementsInTheSameOrder) {
    const CValueVector vector(new CValueLong(1), new CValueLong(2));
    EXPECT_TRUE(vector.EqualData(CValueVector(new CValueLong(1), new CValueLong(2))));
    EXPECT_FALSE(vector.EqualData(CValueVector(new CValueLong(2), new CValueLong(1))));
    EXPECT_FALSE(vector.EqualData(CValueVector(new CValueLong(1), new CValueLong(2), new CValueLong(3))));
    EXPECT_FALSE(vector.EqualData(CValueVector()));
}

TEST(ValueVector, ClonesDeeply) {
    CValueVector original(new CValueVector(new CValueLong(1), new CValueLong(2)), new CValueLong(3));
    const std::unique_ptr<CValue> clone(original.Clone(eTfShare));
    original.Entry(0)->Vector().Entry(0)->Long() = 9;
    EXPECT_EQ(clone->Vector().Entry(0)->Vector().Entry(0)->Long(), 1);
}

} // namespace
} // namespace TEVRA
