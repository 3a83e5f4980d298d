// SPDX-License-Identifier: BSD-3-Clause
#include "apps/PrintableText.h"

#include <gtest/gtest.h>

namespace TEVRA::apps {
namespace {

TEST(PrintableText, TextOfAllLanguagesStaysAsItIs) {
    for (const std::string text :
         {"", "plain ~ text", "\xC3\xA4\xC2\xB5m \xE2\x82\xAC \xF0\x9F\x94\xAC \xC2\xA0"}) {
        EXPECT_EQ(PrintableText(text), text);
    }
}

TEST(PrintableText, ControlCharactersAreSpelledOut) {
    EXPECT_EQ(PrintableText("a\x1B[31mb\a\x7F\t"), "a\\x1B[31mb\\x07\\x7F\\x09");
    EXPECT_EQ(PrintableText("\xC2\x9B"
                            "2J"),
              "\\xC2\\x9B"
              "2J"); // begins commands to terminals, too
    EXPECT_EQ(PrintableText(std::string_view("\0", 1)), "\\x00");
}

TEST(PrintableText, BytesThatAreNoUtf8AreSpelledOut) {
    EXPECT_EQ(PrintableText("\x9B"
                            "2J"),
              "\\x9B"
              "2J");
    EXPECT_EQ(PrintableText("\xC3"), "\\xC3");
    EXPECT_EQ(PrintableText("\xC0\x9B"), "\\xC0\\x9B");
    EXPECT_EQ(PrintableText("\xE0\x82\x9B"), "\\xE0\\x82\\x9B");
    EXPECT_EQ(PrintableText("\xED\xA0\x80 \xF4\x90\x80\x80"), "\\xED\\xA0\\x80 \\xF4\\x90\\x80\\x80");
    EXPECT_EQ(PrintableText("\xE2\x82z"), "\\xE2\\x82z");
}

} // namespace
} // namespace TEVRA::apps
