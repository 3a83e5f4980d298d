// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/NoForeground.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace TEVRA::jobs {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using EReason = CNoForegroundError::EReason;

constexpr auto NO_PIXEL = stream::CNoForegroundError::EReason::noneInTiles;

Impl::SAnalysisRequest request_of(const stream::SEstimator& estimator) {
    Impl::SAnalysisRequest request;
    request.estimator = estimator.name;
    request.otsuFactor = 1.125;
    return request;
}

TEST(NoForeground, OfAConstantImageIsNoMatterOfMaskOrThreshold) {
    Impl::SAnalysisRequest request = request_of(stream::LINE_VOTING);
    request.threshold = 7.0;
    const CNoForegroundError error(stream::CNoForegroundError::EReason::constantImage, true, request);
    EXPECT_EQ(error.Reason(), EReason::constantImage);
    EXPECT_THAT(error.what(), HasSubstr("the same grey value"));
}

TEST(NoForeground, OfAMaskIsTheMasksFault) {
    Impl::SAnalysisRequest request = request_of(stream::LINE_VOTING);
    request.otsuFactor.reset();
    const CNoForegroundError error(NO_PIXEL, true, request);
    EXPECT_EQ(error.Reason(), EReason::emptyMask);
    EXPECT_THAT(error.what(), HasSubstr("the mask selects no pixel"));
}

TEST(NoForeground, NamesTheThresholdThatNoPixelExceeds) {
    Impl::SAnalysisRequest request = request_of(stream::HESSIAN);
    const CNoForegroundError automatic(NO_PIXEL, false, request);
    EXPECT_EQ(automatic.Reason(), EReason::automaticThreshold);
    EXPECT_THAT(automatic.what(), EndsWith("is brighter than 1.125 times the automatic threshold"));
    request.threshold = 90.5;
    const CNoForegroundError given(NO_PIXEL, false, request);
    EXPECT_EQ(given.Reason(), EReason::threshold);
    EXPECT_THAT(given.what(), EndsWith("is brighter than the threshold of 90.5 in the smoothed image"));
}

TEST(NoForeground, OfLineVotingMayBeForWantOfLines) {
    Impl::SAnalysisRequest request = request_of(stream::LINE_VOTING);
    EXPECT_THAT(CNoForegroundError(NO_PIXEL, false, request).what(), EndsWith("and near a bright line"));
    request.contrast = Impl::EFiberContrast::dark;
    const CNoForegroundError dark(NO_PIXEL, false, request);
    EXPECT_THAT(dark.what(), HasSubstr("is darker than"));
    EXPECT_THAT(dark.what(), EndsWith("and near a dark line"));
    EXPECT_THAT(CNoForegroundError(NO_PIXEL, false, request_of(stream::STRUCTURE_TENSOR)).what(),
                Not(HasSubstr("line")));
}

} // namespace
} // namespace TEVRA::jobs
