// SPDX-License-Identifier: BSD-3-Clause
#include "report/Base64.h"

#include <gtest/gtest.h>

#include <string>

namespace TEVRA::report {
namespace {

std::string encoded(const std::string& text) {
    return Base64(std::as_bytes(std::span(text)));
}

TEST(Base64, EncodesTheTestVectorsOfItsStandard) { // RFC 4648, section 10
    EXPECT_EQ(encoded(""), "");
    EXPECT_EQ(encoded("f"), "Zg==");
    EXPECT_EQ(encoded("fo"), "Zm8=");
    EXPECT_EQ(encoded("foo"), "Zm9v");
    EXPECT_EQ(encoded("foob"), "Zm9vYg==");
    EXPECT_EQ(encoded("fooba"), "Zm9vYmE=");
    EXPECT_EQ(encoded("foobar"), "Zm9vYmFy");
}

TEST(Base64, UsesAllLetters) {
    EXPECT_EQ(encoded("\xfb\xff\xbf\x00"), "+/+/"); // the text ends at the zero byte
    EXPECT_EQ(encoded(std::string("\x00\x10\x83", 3)), "ABCD");
}

} // namespace
} // namespace TEVRA::report
