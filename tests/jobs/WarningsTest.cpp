// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/Warnings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    record.foreground.pixels = 950;
    EXPECT_EQ(WarningsOfResult(record).back().kind, EWarning::hugeForeground);
    record.foreground.threshold.reset(); // a mask is what its maker wanted
    EXPECT_EQ(WarningsOfResult(record).back().kind, EWarning::infinitePixels);
}

TEST(Warnings, HaveNamesOfTheirOwn) {
    const std::set<std::string> names{WarningName(EWarning::nanPixels), WarningName(EWarning::infinitePixels),
                                      WarningName(EWarning::tinyForeground),
                                      WarningName(EWarning::hugeForeground),
                                      WarningName(EWarning::unresolvedFibers)};
    EXPECT_EQ(names.size(), 5U);
}

} // namespace
} // namespace TEVRA::jobs
