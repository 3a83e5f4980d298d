// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/ValuePointer.h"

#include "CountedValue.h"
#include "support/ThrownException.h"
#include "zeklib2core/ValueMap.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace TEVRA {
namespace {

constexpr std::uint16_t OWNER = CValuePointerBase::FLAG_OWNER;

/// A map whose destruction is counted.
CValueMap* new_counted_map(int& destroyed) {
    auto map = std::make_unique<CValueMap>();
    map->SetEntry("counted", new test::CCountedValue(destroyed));
    return map.release();
}

TEST(ValuePointer, IsMadeFromTypeElementSizeAndFlags) {
    const CValuePointerBase value(typeid(CValueMap), sizeof(CValueMap), std::uint16_t{2});
    EXPECT_EQ(value.GenericType(), CValue::ePointer);
    EXPECT_TRUE(value.ElementType() == typeid(CValueMap));
    EXPECT_EQ(value.ElementSize(), sizeof(CValueMap));
    EXPECT_EQ(value.Flags(), 2);
    EXPECT_EQ(value.Pointer(), nullptr);
    EXPECT_FALSE(value.IsValid());
    EXPECT_FALSE(value.IsLink());
}

TEST(ValuePointer, KnowsTheClassOfItsObject) {
    CValueMap object;
    CValuePointer<CValueMap> value(&object);
    EXPECT_TRUE(value.ElementType() == typeid(CValueMap));
    EXPECT_EQ(value.ElementSize(), sizeof(CValueMap));
    EXPECT_EQ(value.Pointer(), &object);
    CValue& base = value;
    EXPECT_EQ(base.Pointer().Pointer(), &object);
    EXPECT_EQ(std::as_const(base).Pointer().Pointer(), &object);
    EXPECT_EQ(base.VoidPointer(), &object);
    EXPECT_EQ(std::as_const(base).VoidPointer(), &object);
    CValueMap map;
    map.SetEntry("document", new CValuePointer<CValueMap>(&object));
    EXPECT_TRUE(map.HasEntry("document", CValue::ePointer));
    EXPECT_TRUE(map.HasEntry("document", typeid(CValueMap)));
    EXPECT_TRUE(map.HasEntry("document", typeid(CValuePointer<CValueMap>)));
}

TEST(ValuePointer, IsInvalidWithoutObject) {
    const CValuePointer<CValueMap> value(nullptr, OWNER);
    EXPECT_FALSE(value.IsValid());
    EXPECT_FALSE(value.IsLink());
    EXPECT_EQ(value.Pointer(), nullptr);
}

TEST(ValuePointer, LeavesAnObjectThatItOnlyRefersTo) {
    int destroyed = 0;
    const std::unique_ptr<CValueMap> object(new_counted_map(destroyed));
    {
        const CValuePointer<CValueMap> value(object.get());
        EXPECT_TRUE(value.IsValid());
        EXPECT_TRUE(value.IsLink());
    }
    EXPECT_EQ(destroyed, 0);
}

TEST(ValuePointer, DeletesAnObjectThatItOwns) {
    int destroyed = 0;
    {
        const CValuePointer<CValueMap> value(new_counted_map(destroyed), OWNER);
        EXPECT_TRUE(value.IsValid());
        EXPECT_FALSE(value.IsLink());
        EXPECT_EQ(value.Flags(), OWNER);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(ValuePointer, GivesItsObjectUp) {
    int destroyed = 0;
    std::unique_ptr<CValueMap> object;
    {
        CValuePointer<CValueMap> value(new_counted_map(destroyed), OWNER);
        object.reset(value.Release());
        EXPECT_FALSE(value.IsValid());
        EXPECT_EQ(value.Release(), nullptr);
    }
    EXPECT_EQ(destroyed, 0);
    EXPECT_TRUE(object->HasEntry("counted"));
}

TEST(ValuePointer, ClonesReferToTheObjectAndNeverOwnIt) {
    int destroyed = 0;
    const auto owner = std::make_unique<CValuePointer<CValueMap>>(new_counted_map(destroyed), OWNER);
    {
        const std::unique_ptr<CValuePointer<CValueMap>> clone(owner->Clone(eTfShare));
        EXPECT_EQ(clone->Pointer(), owner->Pointer());
        EXPECT_TRUE(clone->IsLink());
        EXPECT_TRUE(clone->EqualData(*owner));
    }
    EXPECT_EQ(destroyed, 0);
    EXPECT_TRUE(owner->IsValid());
}

TEST(ValuePointer, EqualsAPointerToTheSameObject) {
    CValueMap a;
    CValueMap b;
    EXPECT_TRUE(CValuePointer<CValueMap>(&a).EqualData(CValuePointer<CValueMap>(&a)));
    EXPECT_FALSE(CValuePointer<CValueMap>(&a).EqualData(CValuePointer<CValueMap>(&b)));
    EXPECT_TRUE(CValuePointer<CValueMap>().EqualData(CValuePointer<CValueMap>()));
    EXPECT_FALSE(CValuePointer<CValueMap>().EqualData(CValuePointer<int>()));
}

TEST(ValuePointer, CopyDropsTheOwnObjectAndRefersToTheOther) {
    int destroyed = 0;
    CValueMap other;
    {
        CValuePointer<CValueMap> value(new_counted_map(destroyed), OWNER);
        value.Copy(CValuePointer<CValueMap>(&other), eTfShare, true);
        EXPECT_EQ(destroyed, 1);
        EXPECT_EQ(value.Pointer(), &other);
        EXPECT_TRUE(value.IsLink());
    }
}

TEST(ValuePointer, MoveTakesTheOwnershipAlong) {
    int destroyed = 0;
    {
        CValuePointer<CValueMap> target;
        {
            CValuePointer<CValueMap> source(new_counted_map(destroyed), OWNER);
            target.Move(source);
            EXPECT_FALSE(source.IsValid());
        }
        EXPECT_EQ(destroyed, 0);
        EXPECT_FALSE(target.IsLink());
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(ValuePointer, GoesOnOwningAnObjectItIsGivenAgain) {
    int destroyed = 0;
    {
        CValuePointer<CValueMap> owner(new_counted_map(destroyed), OWNER);
        CValuePointer<CValueMap> link(owner.Pointer());
        owner.Copy(link, eTfShare, true);
        EXPECT_EQ(destroyed, 0);
        EXPECT_FALSE(owner.IsLink());
        owner.Move(link);
        EXPECT_EQ(destroyed, 0);
        EXPECT_FALSE(owner.IsLink());
        EXPECT_FALSE(link.IsValid());
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(ValuePointer, RefusesPointersToAnotherClass) {
    int number = 1;
    CValueMap object;
    CValuePointer<CValueMap> value(&object);
    CValuePointer<int> other(&number);
    EXPECT_THROW(value.Copy(other, eTfShare, true), CExBadType);
    EXPECT_THROW(value.Move(other), CExBadType);
    EXPECT_EQ(value.Pointer(), &object);
    EXPECT_EQ(other.Pointer(), &number);
}

} // namespace
} // namespace TEVRA
