// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/Length.h"

#include "jobs/Failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace TEVRA::jobs {
namespace {

using testing::AllOf;
using testing::HasSubstr;

double in(const std::string& unit, const std::string& text) {
    return LengthIn(unit, ParseLength(text).value());
}

std::string refusal_of(const std::string& length, const std::string& imageUnit) {
    try {
        LengthInUnitOfImage(ParseLength(length).value(), "the fiber radius", imageUnit);
    } catch (const CWorkError& error) {
        return error.what();
    }
    return {};
}

TEST(Length, IsConvertedToTheUnitAskedFor) {
    EXPECT_EQ(in("mm", "2.5um"), 0.0025);
    EXPECT_EQ(in("um", "2.5um"), 2.5);
    EXPECT_EQ(in("um", "2500nm"), 2.5);
    EXPECT_EQ(in("um", "0.25mm"), 250.0);
    EXPECT_EQ(in("mm", "1.5cm"), 15.0);
    EXPECT_EQ(in("mm", "2e-3m"), 2.0);
    EXPECT_EQ(in("mm", "3 \xC2\xB5m"), 0.003); // micro sign
    EXPECT_EQ(in("mm", "3\xCE\xBCm"), 0.003);  // Greek letter mu
}

TEST(Length, WithoutAUnitIsInThatOfTheImage) {
    for (const std::string imageUnit : {"mm", "um", "px", ""}) {
        EXPECT_EQ(LengthInUnitOfImage(ParseLength("2.5").value(), "the fiber radius", imageUnit), 2.5);
    }
    EXPECT_EQ(LengthInUnitOfImage(ParseLength("2.5um").value(), "the fiber radius", "mm"), 0.0025);
}

TEST(Length, WithAUnitNeedsAnImageWithOne) {
    EXPECT_THAT(refusal_of("2.5um", "px"), AllOf(HasSubstr("the fiber radius is given in a unit (2.5 um)"),
                                                 HasSubstr("states no spacing"), HasSubstr("in pixels")));
    EXPECT_THAT(refusal_of("2.5um", ""), HasSubstr("give the spacing with its unit"));
}

TEST(Length, IsAFiniteNumberGreaterThanZeroAndAUnit) {
    for (const std::string text : {"", "um", "0", "0um", "-1um", "nan", "inf", "1e999", "2,5um", "2.5parsec",
                                   "2.5px", "2.5ums", "um2", "0x10", "1 2um", "--3", "1e308m"}) {
        EXPECT_FALSE(ParseLength(text)) << text;
    }
}

} // namespace
} // namespace TEVRA::jobs
