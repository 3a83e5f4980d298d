// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/ValueLeaf.h"

#include "zeklib2core/ValueMap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <type_traits>

namespace TEVRA {
namespace {

TEST(ValueLeaf, DoubleHoldsANumber) {
    CValueDouble value(1.5);
    EXPECT_EQ(value.Double(), 1.5);
    value.Double() = -2.0;
    EXPECT_EQ(std::as_const(value).Double(), -2.0);
    EXPECT_EQ(value.GenericType(), CValue::eDouble);
    EXPECT_TRUE(value.Type() == typeid(CValueDouble));
    EXPECT_TRUE(value.ElementType() == typeid(double));
}

TEST(ValueLeaf, LongHoldsAThirtyTwoBitNumber) {
    CValueLong value(-7);
    EXPECT_EQ(value.Long(), -7);
    value.Long() = 12;
    EXPECT_EQ(std::as_const(value).Long(), 12);
    EXPECT_EQ(value.GenericType(), CValue::eLong);
    EXPECT_TRUE(value.Type() == typeid(CValueLong));
    EXPECT_TRUE(value.ElementType() == typeid(std::int32_t));
    static_assert(std::is_same_v<decltype(std::as_const(value).Long()), std::int32_t>);
    EXPECT_EQ(CValueLong(std::numeric_limits<std::int32_t>::min()).Long(),
              std::numeric_limits<std::int32_t>::min());
}

TEST(ValueLeaf, LongKeepsTheLowerBitsOfAWiderNumber) {
    EXPECT_EQ(CValueLong((1L << 32) + 5).Long(), 5);
    EXPECT_EQ(CValueLong(1L << 31).Long(), std::numeric_limits<std::int32_t>::min());
}

TEST(ValueLeaf, BoolHoldsAFlag) {
    CValueBool value(true);
    EXPECT_TRUE(value.Bool());
    value.Bool() = false;
    EXPECT_FALSE(std::as_const(value).Bool());
    EXPECT_EQ(value.GenericType(), CValue::eBool);
    EXPECT_TRUE(value.Type() == typeid(CValueBool));
    EXPECT_TRUE(value.ElementType() == typeid(bool));
}

TEST(ValueLeaf, StringHoldsAText) {
    CValueString value("no valid subfields", CString::NPOS);
    EXPECT_EQ(value.String().Text(), "no valid subfields");
    EXPECT_EQ(CValueString("no valid subfields", 2).String().Text(), "no");
    value.String() = CString("ok", CString::eEncodingUtf8);
    EXPECT_EQ(std::as_const(value).String().Text(), "ok");
    value.SetString("Status", 4);
    EXPECT_EQ(value.String().Text(), "Stat");
    value.SetString("Status", CString::NPOS);
    EXPECT_EQ(value.String().Text(), "Status");
    EXPECT_EQ(value.GenericType(), CValue::eString);
    EXPECT_TRUE(value.Type() == typeid(CValueString));
    EXPECT_TRUE(value.ElementType() == typeid(CString));
}

TEST(ValueLeaf, IsValidAndNoLink) {
    EXPECT_TRUE(CValueDouble(0.0).IsValid());
    EXPECT_TRUE(CValueString("", CString::NPOS).IsValid());
    EXPECT_FALSE(CValueLong(0).IsLink());
    EXPECT_FALSE(CValueBool(false).IsLink());
}

TEST(ValueLeaf, EqualsLeavesOfTheSameKindAndData) {
    EXPECT_TRUE(CValueDouble(1.5).EqualData(CValueDouble(1.5)));
    EXPECT_FALSE(CValueDouble(1.5).EqualData(CValueDouble(1.25)));
    EXPECT_TRUE(CValueDouble(0.0).EqualData(CValueDouble(-0.0)));
    EXPECT_FALSE(CValueDouble(std::nan("")).EqualData(CValueDouble(std::nan(""))));
    EXPECT_TRUE(CValueLong(3).EqualData(CValueLong(3)));
    EXPECT_FALSE(CValueLong(3).EqualData(CValueLong(4)));
    EXPECT_TRUE(CValueBool(true).EqualData(CValueBool(true)));
    EXPECT_FALSE(CValueBool(true).EqualData(CValueBool(false)));
    EXPECT_TRUE(CValueString("a", 1).EqualData(CValueString("ab", 1)));
    EXPECT_FALSE(CValueString("a", 1).EqualData(CValueString("ab", 2)));
    EXPECT_FALSE(CValueLong(1).EqualData(CValueDouble(1.0)));
    EXPECT_FALSE(CValueDouble(1.0).EqualData(CValueLong(1)));
    EXPECT_FALSE(CValueBool(true).EqualData(CValueLong(1)));
    EXPECT_FALSE(CValueString("1", 1).EqualData(CValueLong(1)));
}

TEST(ValueLeaf, ClonesWithDataAndMetadata) {
    {
        CValueDouble original(1.5);
        original.Meta().SetEntry("unit", new CValueString("rad", CString::NPOS));
        const std::unique_ptr<CValue> clone(original.Clone(eTfShare));
        original.Double() = 2.0;
        original.Meta().Clear();
        EXPECT_TRUE(clone->Type() == typeid(CValueDouble));
        EXPECT_EQ(clone->Double(), 1.5);
        EXPECT_EQ(clone->Meta().Entry("unit")->String().Text(), "rad");
    }
    EXPECT_EQ(std::unique_ptr<CValue>(CValueLong(-3).Clone(eTfShare))->Long(), -3);
    EXPECT_TRUE(std::unique_ptr<CValue>(CValueBool(true).Clone(eTfShare))->Bool());
    EXPECT_EQ(std::unique_ptr<CValue>(CValueString("ok", 2).Clone(eTfShare))->String().Text(), "ok");
}

} // namespace
} // namespace TEVRA
