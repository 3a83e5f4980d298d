// SPDX-License-Identifier: BSD-3-Clause
#include "VexoUtils/ValueMapWithOperators.h"

#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValuePointer.h"
#include "zeklib2core/ValueVector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace TEVRA {
namespace {

CValueString* new_text(const char* text) {
    return new CValueString(text, CString::NPOS);
}

/// An entry as the subfield analysis averages it, all numbers scaled by a factor.
CValueMap entry(double factor) {
    CValueMap map;
    map.SetEntry("Orientation tensor/xx", new CValueDouble(0.5 * factor));
    map.SetEntry("Orientation tensor/xy", new CValueDouble(0.25 * factor));
    map.SetEntry("Orientation tensor/deep/er", new CValueDouble(8.0 * factor));
    map.SetEntry("Eigenvalues", new CValueMap());
    map.Entry("Eigenvalues")->Map().SetEntry(0, new CValueDouble(1.0 * factor));
    map.SetEntry("Anisotropy value", new CValueDouble(3.0 * factor));
    map.SetEntry("Count", new CValueLong(static_cast<long>(10 * factor)));
    map.SetEntry("Status", new_text("ok"));
    map.SetEntry("Flag", new CValueBool(true));
    map.SetEntry("List", new CValueVector(new CValueDouble(1.0), new CValueDouble(2.0)));
    return map;
}

void expect_numbers(const CValueMap& map, double factor) {
    EXPECT_EQ(map.Entry("Orientation tensor/xx")->Double(), 0.5 * factor);
    EXPECT_EQ(map.Entry("Orientation tensor/xy")->Double(), 0.25 * factor);
    EXPECT_EQ(map.Entry("Orientation tensor/deep/er")->Double(), 8.0 * factor);
    EXPECT_EQ(map.Entry("Eigenvalues")->Map().Entry(0)->Double(), factor);
    EXPECT_EQ(map.Entry("Anisotropy value")->Double(), 3.0 * factor);
    EXPECT_EQ(map.Entry("Count")->Long(), static_cast<int>(10 * factor));
}

void expect_others_untouched(const CValueMap& map) {
    EXPECT_EQ(map.Entry("Status")->String().Text(), "ok");
    EXPECT_TRUE(map.Entry("Flag")->Bool());
    EXPECT_EQ(map.Entry("List")->Vector().Entry(0)->Double(), 1.0);
    EXPECT_EQ(map.Entry("List")->Vector().Size(), 2U);
}

TEST(ValueMapWithOperators, BeginsEmptyOrAsACopy) {
    EXPECT_TRUE(CValueMapWithOperators().IsEmpty());
    const CValueMapWithOperators sum(entry(1.0), {});
    const CValueMapWithOperators copy(sum); // NOLINT(performance-unnecessary-copy-initialization)
    CValueMapWithOperators assigned;
    assigned.SetEntry("old", new CValueLong(1));
    assigned = sum;
    for (const CValueMap* map :
         {static_cast<const CValueMap*>(&copy), static_cast<const CValueMap*>(&assigned)}) {
        EXPECT_TRUE(map->EqualData(sum));
        EXPECT_NE(map->Entry("Count"), sum.Entry("Count"));
    }
}

TEST(ValueMapWithOperators, AddsNumbersKeyByKeyAndInDepth) {
    CValueMapWithOperators sum(entry(1.0), {});
    sum += entry(4.0);
    expect_numbers(sum, 5.0);
    expect_others_untouched(sum);
}

TEST(ValueMapWithOperators, DividesNumbersInDepth) {
    CValueMapWithOperators sum(entry(6.0), {});
    CValueMapWithOperators& quotient = (sum /= 4.0);
    EXPECT_EQ(&quotient, &sum);
    expect_numbers(sum, 1.5);
    expect_others_untouched(sum);
}

TEST(ValueMapWithOperators, AveragesToTheValueItself) {
    CValueMapWithOperators sum(entry(3.0), {});
    sum += entry(3.0);
    sum += entry(3.0);
    sum += entry(3.0);
    sum /= 4.0;
    expect_numbers(sum, 3.0);
}

TEST(ValueMapWithOperators, AddsItselfToItself) {
    CValueMapWithOperators sum(entry(1.0), {});
    CValueMapWithOperators& result = (sum += sum);
    EXPECT_EQ(&result, &sum);
    expect_numbers(sum, 2.0);
    expect_others_untouched(sum);
    EXPECT_EQ(sum.Size(), entry(1.0).Size());
}

TEST(ValueMapWithOperators, CountsAMissingNumberAsZero) {
    CValueMapWithOperators sum;
    sum += entry(2.0);
    expect_numbers(sum, 2.0);
    EXPECT_FALSE(sum.HasEntry("Status"));
    EXPECT_FALSE(sum.HasEntry("Flag"));
    EXPECT_FALSE(sum.HasEntry("List"));
    CValueMap textsOnly;
    textsOnly.SetEntry("map/text", new_text("x"));
    sum += textsOnly;
    EXPECT_FALSE(sum.HasEntry("map")) << "a map without numbers adds nothing";
}

TEST(ValueMapWithOperators, KeepsNumbersThatTheOtherMapDoesNotHave) {
    CValueMapWithOperators sum(entry(1.0), {});
    sum += CValueMap();
    expect_numbers(sum, 1.0);
}

TEST(ValueMapWithOperators, LeavesTheOtherMapAlone) {
    const CValueMap other = entry(4.0);
    CValueMapWithOperators sum;
    sum += other;
    sum += other;
    expect_numbers(sum, 8.0);
    expect_numbers(other, 4.0);
}

TEST(ValueMapWithOperators, AddsDoublesAndLongsToEachOther) {
    CValueMapWithOperators sum;
    sum.SetEntry("double", new CValueDouble(0.5));
    sum.SetEntry("long", new CValueLong(1));
    CValueMap other;
    other.SetEntry("double", new CValueLong(2));
    other.SetEntry("long", new CValueDouble(0.25));
    sum += other;
    EXPECT_EQ(sum.Entry("double")->Double(), 2.5);
    EXPECT_EQ(sum.Entry("long")->Double(), 1.25);
}

TEST(ValueMapWithOperators, PassesOverNumbersThatMeetSomethingElse) {
    CValueMapWithOperators sum;
    sum.SetEntry("text", new_text("ok"));
    sum.SetEntry("number", new CValueDouble(1.0));
    sum.SetEntry("map/a", new CValueDouble(1.0));
    CValueMap other;
    other.SetEntry("text", new CValueDouble(2.0));
    other.SetEntry("number", new_text("2"));
    other.SetEntry("map", new CValueDouble(2.0));
    sum += other;
    CValueMap third;
    third.SetEntry("number/a", new CValueDouble(2.0));
    sum += third;
    EXPECT_EQ(sum.Entry("text")->String().Text(), "ok");
    EXPECT_EQ(sum.Entry("number")->Double(), 1.0);
    EXPECT_EQ(sum.Entry("map/a")->Double(), 1.0);
}

TEST(ValueMapWithOperators, TouchesNoPointers) {
    int object = 1;
    CValueMapWithOperators sum;
    sum.SetEntry("pointer", new CValuePointer<int>(&object));
    CValueMapWithOperators other(sum);
    sum += other;
    sum /= 2.0;
    EXPECT_EQ(sum.Entry("pointer")->VoidPointer(), &object);
}

const std::vector<std::string> LEFT_OUT{"Eigenvalues", "Anisotropy value", "Status", "no such key"};

TEST(ValueMapWithOperatorsLeftOut, KeysAreNotTakenFromThePrototype) {
    const CValueMapWithOperators sum(entry(1.0), LEFT_OUT);
    EXPECT_FALSE(sum.HasEntry("Eigenvalues"));
    EXPECT_FALSE(sum.HasEntry("Anisotropy value"));
    EXPECT_FALSE(sum.HasEntry("Status"));
    EXPECT_TRUE(sum.HasEntry("Orientation tensor/xx"));
    EXPECT_EQ(sum.Size(), entry(1.0).Size() - 3);
}

TEST(ValueMapWithOperatorsLeftOut, KeysAreNotSummed) {
    CValueMapWithOperators sum(entry(1.0), LEFT_OUT);
    sum += entry(2.0);
    EXPECT_FALSE(sum.HasEntry("Eigenvalues"));
    EXPECT_FALSE(sum.HasEntry("Anisotropy value"));
    EXPECT_EQ(sum.Entry("Orientation tensor/xx")->Double(), 1.5);
    EXPECT_EQ(sum.Entry("Count")->Long(), 30);
}

TEST(ValueMapWithOperatorsLeftOut, KeysSetLaterAreNeitherSummedNorScaled) {
    CValueMapWithOperators sum(entry(1.0), LEFT_OUT);
    sum.SetEntry("Anisotropy value", new CValueDouble(0.75));
    sum.SetEntry("Eigenvalues/a", new CValueDouble(0.5));
    sum += entry(3.0);
    sum /= 2.0;
    EXPECT_EQ(sum.Entry("Anisotropy value")->Double(), 0.75);
    EXPECT_EQ(sum.Entry("Eigenvalues/a")->Double(), 0.5);
    EXPECT_EQ(sum.Entry("Eigenvalues")->Map().Size(), 1U);
    EXPECT_EQ(sum.Entry("Orientation tensor/xx")->Double(), 1.0);
}

TEST(ValueMapWithOperatorsLeftOut, KeysNameEntriesOfTheMapItselfNotOfNestedMaps) {
    CValueMap prototype;
    prototype.SetEntry("a", new CValueDouble(1.0));
    prototype.SetEntry("nested/a", new CValueDouble(1.0));
    CValueMapWithOperators sum(prototype, {"a"});
    sum += prototype;
    EXPECT_FALSE(sum.HasEntry("a"));
    EXPECT_EQ(sum.Entry("nested/a")->Double(), 2.0);
}

TEST(ValueMapWithOperatorsLeftOut, KeysMayBePaths) {
    CValueMapWithOperators sum(entry(1.0), {"Orientation tensor/xy", "Orientation tensor/deep/er"});
    sum += entry(1.0);
    EXPECT_FALSE(sum.HasEntry("Orientation tensor/xy"));
    EXPECT_FALSE(sum.HasEntry("Orientation tensor/deep/er"));
    EXPECT_EQ(sum.Entry("Orientation tensor/xx")->Double(), 1.0);
}

TEST(ValueMapWithOperatorsLeftOut, KeysAreCopiedAlong) {
    const CValueMapWithOperators original(entry(1.0), LEFT_OUT);
    CValueMapWithOperators copy(original);
    CValueMapWithOperators assigned;
    assigned = original;
    const std::unique_ptr<CValueMapWithOperators> clone(original.Clone(eTfShare));
    for (CValueMapWithOperators* map : {&copy, &assigned, clone.get()}) {
        *map += entry(1.0);
        EXPECT_FALSE(map->HasEntry("Anisotropy value"));
        EXPECT_EQ(map->Entry("Orientation tensor/xx")->Double(), 1.0);
    }
    assigned = CValueMapWithOperators(entry(1.0), {});
    assigned += entry(1.0);
    EXPECT_TRUE(assigned.HasEntry("Anisotropy value"));
}

TEST(ValueMapWithOperators, DividesByZeroAsDoublesDo) {
    CValueMapWithOperators sum;
    sum.SetEntry("plus", new CValueDouble(1.0));
    sum.SetEntry("zero", new CValueDouble(0.0));
    sum.SetEntry("long", new CValueLong(-3));
    sum.SetEntry("zero long", new CValueLong(0));
    sum /= 0.0;
    EXPECT_EQ(sum.Entry("plus")->Double(), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(sum.Entry("zero")->Double()));
    EXPECT_EQ(sum.Entry("long")->Long(), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(sum.Entry("zero long")->Long(), 0);
}

TEST(ValueMapWithOperators, RoundsQuotientsOfLongsTowardsZero) {
    CValueMapWithOperators sum;
    sum.SetEntry("plus", new CValueLong(7));
    sum.SetEntry("minus", new CValueLong(-7));
    sum /= 4.0;
    EXPECT_EQ(sum.Entry("plus")->Long(), 1);
    EXPECT_EQ(sum.Entry("minus")->Long(), -1);
}

TEST(ValueMapWithOperators, HoldsSumsOfLongsAtTheEndsOfTheirRange) {
    CValueMapWithOperators sum;
    sum.SetEntry("high", new CValueLong(std::numeric_limits<std::int32_t>::max()));
    sum.SetEntry("low", new CValueLong(std::numeric_limits<std::int32_t>::min()));
    sum += sum;
    EXPECT_EQ(sum.Entry("high")->Long(), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(sum.Entry("low")->Long(), std::numeric_limits<std::int32_t>::min());
}

TEST(ValueMapWithOperators, ClonesToItsOwnClass) {
    const CValueMapWithOperators sum(entry(1.0), {});
    const std::unique_ptr<CValue> clone(static_cast<const CValue&>(sum).Clone(eTfShare));
    EXPECT_TRUE(clone->Type() == typeid(CValueMapWithOperators));
    EXPECT_TRUE(clone->Equal(sum));
}

} // namespace
} // namespace TEVRA
