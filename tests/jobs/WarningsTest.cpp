// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/Warnings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <set>

namespace TEVRA::jobs {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

std::vector<EWarning> kinds(const report::SRunRecord& record) {
    std::vector<EWarning> kinds;
    for (const SWarning& warning : WarningsOfResult(record)) {
        kinds.push_back(warning.kind);
    }
    return kinds;
}

/// Of a run that leaves nothing to doubt.
report::SRunRecord good_record() {
    report::SRunRecord record;
    record.foreground = {97.5, 250, 1000};
    record.confidence = {0.9, 0.02, {}, {}};
    return record;
}

TEST(Warnings, AreNoneWhereAllIsWell) {
    EXPECT_THAT(kinds(good_record()), IsEmpty());
}

TEST(Warnings, TellOfFibersThatAreNotResolved) {
    report::SRunRecord record = good_record();
    record.confidence->mean = 0.65;
    EXPECT_THAT(kinds(record), IsEmpty());
    record.confidence->mean = 0.649;
    EXPECT_THAT(kinds(record), testing::ElementsAre(EWarning::unresolvedFibers));
    EXPECT_THAT(WarningText(WarningsOfResult(record).front(), {}), HasSubstr("0.649"));
    record.confidence->doubtfulFraction.reset(); // confidence that tells axes of one image apart only
    EXPECT_THAT(kinds(record), IsEmpty());
    record.confidence.reset();
    EXPECT_THAT(kinds(record), IsEmpty());
}

TEST(Warnings, TellOfPixelsWithoutValuesAndOfDoubtfulForegroundsInTheirOrder) {
    report::SRunRecord record = good_record();
    record.foreground.pixels = 29;
    record.input.nanPixels = 3;
    record.input.infinitePixels = 2;
    const std::vector<SWarning> warnings = WarningsOfResult(record);
    ASSERT_THAT(kinds(record), testing::ElementsAre(EWarning::nanPixels, EWarning::infinitePixels,
                                                    EWarning::tinyForeground));
    Impl::SAnalysisRequest request;
    EXPECT_EQ(WarningText(warnings[0], request), "3 pixels have no value (NaN) and count as darkest");
    EXPECT_EQ(WarningText(warnings[2], request), "only 2.9 % of the image counts as fiber");
    request.contrast = Impl::EFiberContrast::dark;
    EXPECT_EQ(WarningText(warnings[0], request), "3 pixels have no value (NaN) and count as brightest");
    EXPECT_EQ(WarningText({EWarning::nanPixels, 1.0}, {}),
              "1 pixel has no value (NaN) and counts as darkest");
    EXPECT_EQ(WarningText({EWarning::infinitePixels, 1.0}, {}),
              "1 pixel is infinite and counts as darkest or brightest");
    record.foreground.pixels = 950;
    EXPECT_EQ(WarningsOfResult(record).back().kind, EWarning::hugeForeground);
    record.foreground.threshold.reset(); // a mask is what its maker wanted
    EXPECT_EQ(WarningsOfResult(record).back().kind, EWarning::infinitePixels);
}

TEST(Warnings, TellOfSpacingsThatAreNoneUnlessThereIsAnother) {
    volume::SImageInfo info;
    info.spacingNote = "the element spacing is no length: 0";
    EXPECT_THAT(WarningsOfImage(info, report::ESpacingOrigin::none), IsEmpty()) << "the file states none";
    info.isSpacingBroken = true;
    EXPECT_THAT(WarningsOfImage(info, report::ESpacingOrigin::option), IsEmpty());
    const std::vector<SWarning> warnings = WarningsOfImage(info, report::ESpacingOrigin::none);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_EQ(warnings[0].kind, EWarning::brokenSpacing);
    EXPECT_FALSE(warnings[0].value.has_value());
    EXPECT_EQ(WarningText(warnings[0], {}),
              "the spacing that the file states is none (the element spacing is no "
              "length: 0), so that lengths are in pixels");
}

TEST(Warnings, TellOfPixelsThatWereCompressedWithLosses) {
    volume::SImageInfo info;
    info.lossyCompression = "JPEG";
    const std::vector<SWarning> warnings = WarningsOfImage(info, report::ESpacingOrigin::header);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_EQ(warnings[0].kind, EWarning::lossyPixels);
    EXPECT_THAT(WarningText(warnings[0], {}), HasSubstr("compressed with losses (JPEG)"));
}

std::vector<SWarning> warnings_of_eigenvalues(std::size_t dim, const std::array<double, 3>& eigenvalues) {
    Impl::STensorValues values;
    values.tensor.dim = dim;
    values.eigenvalues = eigenvalues;
    return WarningsOfDirection(values);
}

TEST(Warnings, TellOfMeanDirectionsWhereTheLargestEigenvalueHardlyStandsApart) {
    EXPECT_THAT(warnings_of_eigenvalues(3, {0.9, 0.05, 0.05}), IsEmpty());
    EXPECT_THAT(warnings_of_eigenvalues(3, {0.375, 0.3125, 0.3125}), IsEmpty());
    EXPECT_THAT(warnings_of_eigenvalues(2, {0.53, 0.47, 0.0}), IsEmpty());
    EXPECT_EQ(warnings_of_eigenvalues(3, {0.5, 0.5, 0.0}).size(), 1U) << "all directions of a plane alike";
    EXPECT_EQ(warnings_of_eigenvalues(2, {0.52, 0.48, 0.0}).size(), 1U);
    const std::vector<SWarning> warnings = warnings_of_eigenvalues(3, {0.375, 0.34375, 0.28125});
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_EQ(warnings[0].kind, EWarning::vagueDirection);
    EXPECT_EQ(warnings[0].value, 0.03125);
    EXPECT_THAT(WarningText(warnings[0], {}), HasSubstr("differ by less than 0.05 (0.031)"));
}

std::vector<SWarning> warnings_of_radius(double radius) {
    Impl::SAnalysisRequest request;
    request.fiberRadius = radius;
    return WarningsOfRequest(request);
}

TEST(Warnings, TellOfRadiiBelowTwoPixels) {
    EXPECT_THAT(warnings_of_radius(2.0), IsEmpty());
    const std::vector<SWarning> warnings = warnings_of_radius(1.75);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_EQ(warnings[0].kind, EWarning::smallRadius);
    EXPECT_THAT(WarningText(warnings[0], {}), HasSubstr("radius is 1.75 px: below 2 px"));
}

TEST(Warnings, NameTheFactorToBinAnImageByWhoseFibersAreAboveTenPixels) {
    EXPECT_THAT(warnings_of_radius(10.0), IsEmpty());
    struct SCase {
        double radius;
        const char* text;
    };
    for (const SCase& one :
         {SCase{10.5, "bin the image by 2; with 5.2 px"}, SCase{12.0, "bin the image by 3; with 4 px"},
          SCase{45.0, "bin the image by 10; with 4.5 px"}}) {
        const std::vector<SWarning> warnings = warnings_of_radius(one.radius);
        ASSERT_EQ(warnings.size(), 1U) << one.radius;
        EXPECT_EQ(warnings[0].kind, EWarning::largeRadius);
        EXPECT_THAT(WarningText(warnings[0], {}), HasSubstr(one.text));
    }
}

TEST(Warnings, TellOfPixelsThatAreLongerThanTheFiberRadiusWhereLineVotingLeans) {
    Impl::SAnalysisRequest request;
    request.fiberRadius = 0.15;
    request.spacing = {0.05, 0.05, 0.15};
    request.estimator = "line-voting";
    EXPECT_THAT(WarningsOfRequest(request), IsEmpty());
    request.spacing = {0.05, 0.2, 0.05};
    const std::vector<SWarning> warnings = WarningsOfRequest(request);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_EQ(warnings[0].kind, EWarning::thickPixels);
    EXPECT_NEAR(warnings[0].value.value(), 4.0 / 3.0, 1e-12);
    EXPECT_THAT(WarningText(warnings[0], request), HasSubstr("1.33 fiber radii long along y"));
    request.estimator = "structure-tensor";
    EXPECT_THAT(WarningsOfRequest(request), IsEmpty());
    request.estimator = "line-voting";
    request.fiberRadius =
        0.09; // of thin fibers the derivatives have a pixel, half of one that is twice as long
    request.spacing = {0.05, 0.05, 0.1};
    const std::vector<SWarning> ofThin = WarningsOfRequest(request);
    ASSERT_EQ(ofThin.size(), 1U);
    EXPECT_EQ(ofThin[0].kind, EWarning::smallRadius);
}

TEST(Warnings, HaveNamesOfTheirOwn) {
    const std::set<std::string> names{
        WarningName(EWarning::brokenSpacing),   WarningName(EWarning::lossyPixels),
        WarningName(EWarning::smallRadius),     WarningName(EWarning::largeRadius),
        WarningName(EWarning::thickPixels),     WarningName(EWarning::nanPixels),
        WarningName(EWarning::infinitePixels),  WarningName(EWarning::tinyForeground),
        WarningName(EWarning::hugeForeground),  WarningName(EWarning::vagueDirection),
        WarningName(EWarning::unresolvedFibers)};
    EXPECT_EQ(names.size(), 11U);
}

} // namespace
} // namespace TEVRA::jobs
