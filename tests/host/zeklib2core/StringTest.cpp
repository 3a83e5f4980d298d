// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2core/String.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

namespace TEVRA {
namespace {

constexpr auto ENCODING = static_cast<CString::EnEncoding>(1);

CString text_of(const char* text) {
    return {text, ENCODING};
}

std::string number_text(double value) {
    return text_of("%1").Arg(value, 0).Text();
}

/// The shortest text that `printf` finds for a number by trying all precisions.
std::string shortest_by_printf(double value) {
    std::array<char, 64> buffer{};
    for (int precision = 1; precision <= 17; ++precision) {
        const int length = std::snprintf(buffer.data(), buffer.size(), "%.*g", precision, value);
        if (length > 0 && std::strtod(buffer.data(), nullptr) == value) {
            break;
        }
    }
    return buffer.data();
}

TEST(String, HoldsItsTextAsNullTerminatedCharacters) {
    const CString text("Fiber radius \xC2\xB5m", ENCODING);
    EXPECT_STREQ(text.c_str(), "Fiber radius \xC2\xB5m");
    EXPECT_EQ(text.Length(), 16U);
    EXPECT_FALSE(text.IsEmpty());
}

TEST(String, ReadsNullAsEmpty) {
    EXPECT_TRUE(CString(nullptr, ENCODING).IsEmpty());
    EXPECT_TRUE(CString().IsEmpty());
    EXPECT_STREQ(CString().c_str(), "");
}

TEST(String, CopiesAreIndependent) {
    CString original = text_of("a %1");
    CString copy(original);
    copy.Arg(1, 0);
    CString assigned;
    assigned = original;
    original.Set("changed", CString::NPOS);
    EXPECT_EQ(copy.Text(), "a 1");
    EXPECT_EQ(assigned.Text(), "a %1");
    EXPECT_FALSE(assigned == original);
    EXPECT_TRUE(assigned == text_of("a %1"));
}

TEST(String, SetTakesTheFirstCharactersOrAll) {
    CString text;
    text.Set("orientation", 6);
    EXPECT_EQ(text.Text(), "orient");
    text.Set("orientation", CString::NPOS);
    EXPECT_EQ(text.Text(), "orientation");
    text.Set("orientation", 0);
    EXPECT_TRUE(text.IsEmpty());
    text.Set("again", CString::NPOS);
    text.Set(nullptr, CString::NPOS);
    EXPECT_TRUE(text.IsEmpty());
}

TEST(String, SetTakesAPartOfItself) {
    CString text = text_of("orientation");
    text.Set(text.c_str() + 6, CString::NPOS);
    EXPECT_EQ(text.Text(), "ation");
}

TEST(StringArg, FillsPlaceholdersInOrderAndChains) {
    CString text = text_of("Tried to add %1-by-%2 and %3-by-%4 matrices");
    CString& chained = text.Arg(2, 0).Arg(3, 0).Arg(3, 0).Arg(2, 0);
    EXPECT_EQ(&chained, &text);
    EXPECT_EQ(text.Text(), "Tried to add 2-by-3 and 3-by-2 matrices");
}

TEST(StringArg, TakesEveryKindOfArgument) {
    CString text = text_of("%1|%2|%3|%4|%5|%6|%7");
    text.Arg(std::numeric_limits<long long>::min(), 0)
        .Arg(-7, 0)
        .Arg(0.5, 0)
        .Arg('c')
        .Arg("characters")
        .Arg(text_of("string"))
        .Arg(std::string("standard"));
    EXPECT_EQ(text.Text(), "-9223372036854775808|-7|0.5|c|characters|string|standard");
}

TEST(StringArg, ReplacesTheLowestNumberWhereverItStands) {
    EXPECT_EQ(text_of("%3 %1 %2").Arg("a").Arg("b").Arg("c").Text(), "c a b");
}

TEST(StringArg, SkipsNumbersThatAreNotThere) {
    EXPECT_EQ(text_of("%7 %4").Arg("a").Text(), "%7 a");
    EXPECT_EQ(text_of("%7 %4").Arg("a").Arg("b").Text(), "b a");
}

TEST(StringArg, ReplacesARepeatedPlaceholderEverywhereAtOnce) {
    CString text = text_of("%1: Pixel type '%2' and image type '%2' do not match");
    text.Arg("input image").Arg("float");
    EXPECT_EQ(text.Text(), "input image: Pixel type 'float' and image type 'float' do not match");
}

TEST(StringArg, ReadsTwoDigitNumbers) {
    CString text = text_of("%10 %9 %1");
    text.Arg("a");
    EXPECT_EQ(text.Text(), "%10 %9 a");
    text.Arg("b");
    EXPECT_EQ(text.Text(), "%10 b a");
    text.Arg("c");
    EXPECT_EQ(text.Text(), "c b a");
    EXPECT_EQ(text_of("%123").Arg("a").Text(), "a3") << "a third digit is text";
}

TEST(StringArg, LeavesTextWithoutPlaceholderAlone) {
    EXPECT_EQ(text_of("no placeholder").Arg(1, 0).Arg("x").Text(), "no placeholder");
    EXPECT_EQ(text_of("").Arg(1, 0).Text(), "");
    EXPECT_EQ(text_of("%1").Arg(1, 0).Arg(2, 0).Text(), "1");
}

TEST(StringArg, LeavesAPercentSignThatIsNoPlaceholderAlone) {
    EXPECT_EQ(text_of("100% of %1 %").Arg("it").Text(), "100% of it %");
    EXPECT_EQ(text_of("%s: image dimension '%d'").Arg("x").Text(), "%s: image dimension '%d'");
    EXPECT_EQ(text_of("%0 %").Arg("x").Text(), "%0 %");
    EXPECT_EQ(text_of("%%1").Arg("x").Text(), "%x");
}

TEST(StringArg, DoesNotReadInsertedTextInTheSameCall) {
    EXPECT_EQ(text_of("%1 %1").Arg("%1").Text(), "%1 %1");
    EXPECT_EQ(text_of("%1%1").Arg("%").Text(), "%%");
}

TEST(StringArg, WorksOnTheTextAsItIsSoInsertedPlaceholdersCountNext) {
    EXPECT_EQ(text_of("'%1' '%2'").Arg("%1").Arg("x").Text(), "'x' '%2'");
    EXPECT_EQ(text_of("'%1' '%2'").Arg("%2").Arg("x").Text(), "'x' 'x'");
    EXPECT_EQ(text_of("'%1' '%2'").Arg("%9").Arg("x").Text(), "'%9' 'x'");
    EXPECT_EQ(text_of("%11").Arg("%").Text(), "%") << "the digit goes with its placeholder";
    EXPECT_EQ(text_of("%2%1").Arg("2").Arg("x").Text(), "x") << "%2 has become %22";
}

TEST(StringArg, TakesItselfAsArgument) {
    CString text = text_of("<%1 %1>");
    text.Arg(text);
    EXPECT_EQ(text.Text(), "<<%1 %1> <%1 %1>>");
    CString characters = text_of("<%1 %1 and a text beyond any small buffer>");
    characters.Arg(characters.c_str());
    EXPECT_EQ(characters.Text(), "<<%1 %1 and a text beyond any small buffer> "
                                 "<%1 %1 and a text beyond any small buffer> "
                                 "and a text beyond any small buffer>");
}

TEST(StringArg, ReadsNullAsEmpty) {
    EXPECT_EQ(text_of("[%1]").Arg(static_cast<const char*>(nullptr)).Text(), "[]");
}

TEST(StringArg, PadsNumbersOnTheLeftToTheFieldWidth) {
    EXPECT_EQ(text_of("[%1]").Arg(42, 5).Text(), "[   42]");
    EXPECT_EQ(text_of("[%1]").Arg(-1.5, 6).Text(), "[  -1.5]");
    EXPECT_EQ(text_of("[%1]").Arg(123456LL, 3).Text(), "[123456]");
    EXPECT_EQ(text_of("[%1]").Arg(7, -3).Text(), "[7]");
}

TEST(StringArg, PrintsDoublesInTheirShortestForm) {
    EXPECT_EQ(number_text(0.0), "0");
    EXPECT_EQ(number_text(-0.0), "-0");
    EXPECT_EQ(number_text(2.0), "2");
    EXPECT_EQ(number_text(1.25), "1.25");
    EXPECT_EQ(number_text(0.1), "0.1");
    EXPECT_EQ(number_text(0.1 + 0.2), "0.30000000000000004");
    EXPECT_EQ(number_text(1.0 / 3.0), "0.3333333333333333");
    EXPECT_EQ(number_text(-123.456), "-123.456");
    EXPECT_EQ(number_text(1e300), "1e+300");
    EXPECT_EQ(number_text(5e-324), "5e-324");
    EXPECT_EQ(number_text(std::numeric_limits<double>::max()), "1.7976931348623157e+308");
}

TEST(StringArg, NamesWhatIsNoNumber) {
    EXPECT_EQ(number_text(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(number_text(-std::numeric_limits<double>::infinity()), "-inf");
    EXPECT_EQ(number_text(std::numeric_limits<double>::quiet_NaN()), "nan");
    EXPECT_EQ(number_text(-std::numeric_limits<double>::quiet_NaN()), "nan");
}

void expect_shortest_round_trip(double value) {
    const std::string text = number_text(value);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr)),
              std::bit_cast<std::uint64_t>(value))
        << text;
    const std::string reference = shortest_by_printf(value);
    EXPECT_LE(text.size(), reference.size()) << text << " against " << reference;
}

TEST(StringArg, PrintsRandomDoublesSoThatTheyReadBackAndNoShorterTextDoes) {
    std::mt19937_64 random(20160203);
    for (int i = 0; i < 20000; ++i) {
        const auto anyBits = std::bit_cast<double>(random());
        if (std::isfinite(anyBits)) {
            expect_shortest_round_trip(anyBits);
        }
        const auto number = static_cast<double>(random() >> 11);
        expect_shortest_round_trip(number / 0x1p53);             // [0, 1)
        expect_shortest_round_trip(std::floor(number / 0x1p33)); // whole numbers to a million
        expect_shortest_round_trip(std::floor(number / 0x1p33) / 1000.0);
    }
}

} // namespace
} // namespace TEVRA
