// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/StringTools.h"

#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <string>

namespace TEVRA {
namespace {

TEST(StringTools, PrintfGivesALiteralTextBack) {
    EXPECT_EQ(CStringTools::Printf("plain"), "plain");
    EXPECT_EQ(CStringTools::Printf("100%%"), "100%");
    EXPECT_EQ(CStringTools::Printf("%s", ""), "");
}

TEST(StringTools, PrintfFillsItsArguments) {
    EXPECT_EQ(CStringTools::Printf("slice %03lu", 5UL), "slice 005");
    EXPECT_EQ(CStringTools::Printf("%s: image dimension '%d' not supported.", "input image", 4),
              "input image: image dimension '4' not supported.");
}

TEST(StringTools, PrintfMakesFormats) {
    EXPECT_EQ(CStringTools::Printf("%s %%0%ulu", "slice", 3U), "slice %03lu");
}

TEST(StringTools, PrintfMakesTextsOfAnyLength) {
    const std::string part(100000, 'x');
    EXPECT_EQ(CStringTools::Printf("%s%s", part.c_str(), part.c_str()), part + part);
}

TEST(StringTools, PrintfRefusesNull) {
    const char* none = nullptr;
    const auto thrown = test::CaptureException<CExBadParam>([&] { CStringTools::Printf(none, 0); });
    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->text, "The format must not be null.");
    EXPECT_EQ(thrown->function, "TEVRA::CStringTools::Printf");
}

TEST(StringTools, PrintfRefusesWhatCannotBeEncoded) {
    const std::wstring outside(1, static_cast<wchar_t>(0x7FFFFFFF)); // no character in any encoding
    const auto thrown =
        test::CaptureException<CExBadParam>([&] { CStringTools::Printf("%ls", outside.c_str()); });
    ASSERT_TRUE(thrown);
    EXPECT_EQ(thrown->text, "The format cannot be carried out.");
}

} // namespace
} // namespace TEVRA
