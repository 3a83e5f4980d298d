// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/ValueKey.h"

#include <gtest/gtest.h>

#include <limits>

namespace TEVRA {
namespace {

TEST(ValueKey, IsANameMadeFromCharacters) {
    const CValue_Key key("Status");
    EXPECT_TRUE(key.IsName());
    EXPECT_FALSE(key.IsIndex());
    EXPECT_EQ(key.Name(), "Status");
    EXPECT_EQ(key.Index(), 0U);
    EXPECT_EQ(key.ToString(), "Status");
    EXPECT_EQ(CValue_Key(static_cast<const char*>(nullptr)).Name(), "");
}

TEST(ValueKey, IsAnIndexMadeFromAnyWholeNumber) {
    EXPECT_TRUE(CValue_Key(2).IsIndex());
    EXPECT_EQ(CValue_Key(2).Index(), 2U);
    EXPECT_EQ(CValue_Key(2LL).Index(), 2U);
    EXPECT_EQ(CValue_Key(2ULL).Index(), 2U);
    EXPECT_EQ(CValue_Key(254ULL).ToString(), "254");
    EXPECT_EQ(CValue_Key(-1).ToString(), "-1");
    EXPECT_FALSE(CValue_Key(2).IsName());
    EXPECT_EQ(CValue_Key(2).Name(), "");
}

TEST(ValueKey, IndicesAreEqualByNumberWhateverTheirType) {
    EXPECT_TRUE(CValue_Key(2) == CValue_Key(2LL));
    EXPECT_TRUE(CValue_Key(2LL) == CValue_Key(2ULL));
    EXPECT_TRUE(CValue_Key(-1) == CValue_Key(-1LL));
    EXPECT_FALSE(CValue_Key(2) == CValue_Key(3));
    EXPECT_FALSE(CValue_Key(1) == CValue_Key(std::numeric_limits<unsigned long long>::max()));
}

TEST(ValueKey, KeysOfDifferentKindsAreNeverEqual) {
    EXPECT_FALSE(CValue_Key("0") == CValue_Key(0));
    EXPECT_FALSE(CValue_Key(CValue_Key::eKeyFirst) == CValue_Key(0));
    EXPECT_FALSE(CValue_Key(CValue_Key::eKeyLast) == CValue_Key("<last>"));
}

TEST(ValueKey, NamesAreEqualByText) {
    const std::string name = "xx";
    EXPECT_TRUE(CValue_Key("xx") == CValue_Key(name.c_str()));
    EXPECT_TRUE(CValue_Key("xx") != CValue_Key("xX"));
}

TEST(ValueKey, ReservedKeysAreToldApart) {
    const CValue_Key first(CValue_Key::eKeyFirst);
    const CValue_Key last(CValue_Key::eKeyLast);
    EXPECT_TRUE(first.Is(CValue_Key::eKeyFirst));
    EXPECT_FALSE(first.Is(CValue_Key::eKeyLast));
    EXPECT_FALSE(first == last);
    EXPECT_FALSE(first.IsName() || first.IsIndex());
    EXPECT_EQ(first.ToString(), "<first>");
    EXPECT_EQ(last.ToString(), "<last>");
    EXPECT_FALSE(CValue_Key(0).Is(CValue_Key::eKeyFirst));
}

TEST(ValueKey, EqualKeysHaveEqualHashes) {
    const CValue_Key::Hash hash;
    EXPECT_EQ(hash(CValue_Key(2)), hash(CValue_Key(2ULL)));
    EXPECT_EQ(hash(CValue_Key("xx")), hash(CValue_Key(std::string("xx").c_str())));
}

} // namespace
} // namespace TEVRA
