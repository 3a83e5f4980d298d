// SPDX-License-Identifier: BSD-3-Clause
#include "apps/Arguments.h"

#include "apps/Failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace TEVRA::apps {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

/// The message of the usage error that the call throws, or an empty text.
std::string refusal_of(const std::function<void()>& call) {
    try {
        call();
    } catch (const CUsageError& error) {
        return error.what();
    }
    return {};
}

TEST(Arguments, NumbersAreReadFromAList) {
    EXPECT_THAT(ReadNumbers({"--spacing", "0.5,-1e-3,2"}), ElementsAre(0.5, -1e-3, 2.0));
    EXPECT_THAT(ReadNumbers({"--spacing", " 0.5, 1 "}), ElementsAre(0.5, 1.0));
}

TEST(Arguments, WholeNumbersAreReadFromAList) {
    EXPECT_THAT(ReadWholeNumbers({"--subfield", "64,-1"}), ElementsAre(64, -1));
}

TEST(Arguments, WhatIsNoFiniteNumberIsRefusedWithNameAndText) {
    for (const std::string text : {"", ",", "1,", "1,,2", "abc", "1 2", "0x10", "nan", "inf", "-inf", "1e999",
                                   "1;2", "1.5mm", "+1", "+-1"}) {
        const std::string message = refusal_of([&] { ReadNumbers({"--spacing", text}); });
        EXPECT_THAT(message, HasSubstr("--spacing: '" + text + "' is not")) << text;
    }
}

TEST(Arguments, FractionsAndHugeNumbersAreNoWholeNumbers) {
    for (const std::string text : {"1.5", "1e2", "99999999999999999999", "", "nan"}) {
        EXPECT_NE(refusal_of([&] { ReadWholeNumbers({"--subfield", text}); }), "") << text;
        EXPECT_NE(refusal_of([&] { ReadWholeNumber({"--threads", text}, 0); }), "") << text;
    }
}

TEST(Arguments, PositiveNumbersExcludeZero) {
    EXPECT_EQ(ReadPositiveNumber({"--fiber-radius", "1e-9"}), 1e-9);
    for (const std::string text : {"0", "-0.0", "-1", "nan", "inf", "", "1,2"}) {
        EXPECT_THAT(refusal_of([&] {
                        ReadPositiveNumber({"--fiber-radius", text});
                    }),
                    HasSubstr("greater than 0"))
            << text;
    }
}

TEST(Arguments, AWholeNumberMustReachTheSmallestAllowed) {
    EXPECT_EQ(ReadWholeNumber({"--threads", "1"}, 1), 1);
    EXPECT_THAT(refusal_of([] { ReadWholeNumber({"--threads", "0"}, 1); }), HasSubstr("at least 1"));
}

TEST(Arguments, MoreThreadsThanAreStartedAreRefused) {
    EXPECT_EQ(ReadThreads("1"), 1);
    EXPECT_EQ(ReadThreads("1024"), 1024); // more than the cores is allowed
    EXPECT_GE(ReadThreads(std::nullopt), 1);
    for (const std::string text : {"1025", "100000"}) {
        EXPECT_THAT(
            refusal_of([&] { ReadThreads(text); }),
            AllOf(HasSubstr("--threads: '" + text + "' is more than 1024"), HasSubstr("this machine has")));
    }
}

TEST(Arguments, AmountsOfMemoryHaveUnitsOf1024) {
    EXPECT_EQ(ReadBytes({"--memory", "4096"}), 4096U);
    EXPECT_EQ(ReadBytes({"--memory", "512M"}), std::size_t{512} << 20);
    EXPECT_EQ(ReadBytes({"--memory", "1.5g"}), std::size_t{3} << 29);
    EXPECT_EQ(ReadBytes({"--memory", "2GB"}), std::size_t{2} << 30);
    EXPECT_EQ(ReadBytes({"--memory", "8k"}), std::size_t{8192});
    for (const std::string text : {"", "G", "0", "-1G", "many", "1X", "1e30", "nan", "1 G x", "0.0001"}) {
        EXPECT_THAT(refusal_of([&] {
                        ReadBytes({"--memory", text});
                    }),
                    HasSubstr("--memory: '" + text + "'"))
            << text;
    }
}

TEST(Arguments, DirectionsAreMadeUnitVectors) {
    EXPECT_THAT(ReadDirection({"--reference", "0,3,4"}, 3), ElementsAre(0.0, 0.6, 0.8));
    EXPECT_THAT(ReadDirection({"--reference", "-2,0"}, 2), ElementsAre(-1.0, 0.0, 0.0));
    EXPECT_THAT(refusal_of([] { ReadDirection({"--reference", "1,0"}, 3); }), HasSubstr("X,Y,Z"));
    EXPECT_THAT(refusal_of([] { ReadDirection({"--reference", "1,0,0,0"}, 2); }), HasSubstr("X,Y,Z"));
    EXPECT_THAT(refusal_of([] { ReadDirection({"--reference", "0,0,0"}, 3); }), HasSubstr("no direction"));
}

TEST(Arguments, NamesAreThoseKnownOrTheNearestIsListedFirst) {
    EXPECT_THAT(ReadNames({"--export", "two,one,two"}, {"one", "two", "three"}), ElementsAre("two", "one"));
    EXPECT_EQ(refusal_of([] {
                  ReadNames({"--export", "one,thre"}, {"one", "two", "three"});
              }),
              "--export: 'thre' is none of three, one, two");
    EXPECT_EQ(refusal_of([] {
                  ReadNames({"--export", ""}, {"one", "two"});
              }),
              "--export: '' is none of one, two");
}

} // namespace
} // namespace TEVRA::apps
