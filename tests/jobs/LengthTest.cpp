// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/Length.h"

#include "jobs/Failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

namespace TEVRA::jobs {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr std::array CUBES{0.5, 0.5, 0.5};

double in(const std::string& unit, const std::string& text) {
    return LengthIn(unit, ParseLength(text).value());
}

std::string refusal_of(const std::string& length, const std::string& imageUnit) {
    try {
        LengthInUnitOfImage(ParseLength(length).value(), "the fiber radius", {imageUnit, CUBES});
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
        EXPECT_EQ(LengthInUnitOfImage(ParseLength("2.5").value(), "the fiber radius", {imageUnit, CUBES}),
                  2.5);
    }
    EXPECT_EQ(LengthInUnitOfImage(ParseLength("2.5um").value(), "the fiber radius", {"mm", CUBES}), 0.0025);
}

TEST(Length, WithAUnitNeedsAnImageWithOne) {
    EXPECT_THAT(refusal_of("2.5um", "px"), AllOf(HasSubstr("the fiber radius is given in a unit (2.5 um)"),
                                                 HasSubstr("states no spacing"), HasSubstr("in pixels")));
    EXPECT_THAT(refusal_of("2.5um", ""), HasSubstr("give the spacing with its unit"));
}

TEST(Length, InPixelsIsThatMuchOfTheSpacing) {
    const SLength given = ParseLengthOrPixels("3px").value();
    for (const std::string imageUnit : {"mm", "um", ""}) {
        EXPECT_EQ(LengthInUnitOfImage(given, "the fiber radius", {imageUnit, CUBES}), 1.5);
    }
    constexpr std::array PIXELS{1.0, 1.0, 1.0};
    EXPECT_EQ(LengthInUnitOfImage(given, "the fiber radius", {"px", PIXELS}), 3.0);
    EXPECT_EQ(ParseLengthOrPixels("2.5um")->unit, "um");
    for (const std::string text : {"px", "0px", "-1px", "nanpx", "2.5umpx", "3pxpx", "3pix"}) {
        EXPECT_FALSE(ParseLengthOrPixels(text)) << text;
    }
}

TEST(Length, InPixelsThatAreNoCubesIsNone) {
    constexpr std::array SLABS{0.5, 0.5, 2.0};
    try {
        LengthInUnitOfImage(ParseLengthOrPixels("3px").value(), "the fiber radius", {"mm", SLABS});
        FAIL();
    } catch (const CWorkError& error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr("the fiber radius is given in pixels (3 px)"),
                                        HasSubstr("no cubes"), HasSubstr("unit of the spacing")));
    }
}

TEST(Length, IsAFiniteNumberGreaterThanZeroAndAUnit) {
    for (const std::string text : {"", "um", "0", "0um", "-1um", "nan", "inf", "1e999", "2,5um", "2.5parsec",
                                   "2.5px", "2.5ums", "um2", "0x10", "1 2um", "--3", "1e308m"}) {
        EXPECT_FALSE(ParseLength(text)) << text;
    }
}

} // namespace
} // namespace TEVRA::jobs
