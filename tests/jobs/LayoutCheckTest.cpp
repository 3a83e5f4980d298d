// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/LayoutCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace TEVRA::jobs {
namespace {

using EReason = SLayoutFault::EReason;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const CSize VOLUME(40, 36, 32);
const CSize PLANE(60, 50);

Impl::SAnalysisRequest request_of(double radius, const std::array<long long, 3>& subfieldPx = {-1, -1, -1}) {
    Impl::SAnalysisRequest request;
    request.fiberRadius = radius;
    request.subfieldPx = subfieldPx;
    request.lengthUnit = "px";
    request.border = radius;
    return request;
}

void expect_fault(const CSize& size, const Impl::SAnalysisRequest& request, EReason reason) {
    const auto fault = CheckLayout(size, request);
    ASSERT_TRUE(fault) << request.fiberRadius;
    EXPECT_EQ(fault->reason, reason) << request.fiberRadius;
    EXPECT_THAT(LayoutFaultText(*fault, request), Not(HasSubstr("--")));
}

TEST(LayoutCheck, AcceptsWhatFits) {
    EXPECT_FALSE(CheckLayout(VOLUME, request_of(3.0)));
    EXPECT_FALSE(CheckLayout(VOLUME, request_of(3.0, {34, 30, 26})));
    EXPECT_FALSE(CheckLayout(PLANE, request_of(3.0, {54, 6, -1})));
}

TEST(LayoutCheck, NamesTheReasonOfEveryFault) {
    expect_fault(VOLUME, request_of(16.5), EReason::radiusExceedsImage);
    expect_fault(PLANE, request_of(1e300), EReason::radiusExceedsImage);
    expect_fault(PLANE, request_of(0.5), EReason::radiusTooSmall);
    expect_fault(VOLUME, request_of(0.1), EReason::radiusTooSmall);
    expect_fault(VOLUME, request_of(16.0), EReason::nothingButBorder);
    expect_fault(CSize(40, 36, 33), request_of(16.5), EReason::nothingButBorder);
    expect_fault(VOLUME, request_of(3.0, {5, 5, 5}), EReason::radiusExceedsSubfield);
    expect_fault(VOLUME, request_of(3.0, {27, 27, 27}), EReason::subfieldsDoNotFit);
}

TEST(LayoutCheck, RefusesMoreSubfieldsThanPixels) {
    Impl::SAnalysisRequest request = request_of(3.0);
    request.subfieldCount = {4, 30, 3};
    EXPECT_EQ(CheckLayout(VOLUME, request)->reason, EReason::radiusExceedsSubfield);
    request.subfieldCount = {4, 31, 3};
    EXPECT_EQ(CheckLayout(VOLUME, request)->reason, EReason::tooManySubfields);
    request.subfieldCount = {5, 5, 4};
    EXPECT_FALSE(CheckLayout(VOLUME, request));
}

TEST(LayoutCheck, RefusesLengthsBeyondTheImage) {
    struct SCase {
        std::optional<double> Impl::SAnalysisRequest::*length;
        EReason reason;
        const char* name;
    };
    for (const SCase& one :
         {SCase{&Impl::SAnalysisRequest::along, EReason::alongExceedsImage, "along fibers"},
          SCase{&Impl::SAnalysisRequest::gradientSigma, EReason::gradientExceedsImage, "width of gradients"},
          SCase{&Impl::SAnalysisRequest::windowSigma, EReason::windowExceedsImage, "the window"}}) {
        Impl::SAnalysisRequest request = request_of(3.0);
        request.*one.length = 40.0;
        EXPECT_FALSE(CheckLayout(VOLUME, request)) << one.name;
        request.*one.length = 40.5;
        expect_fault(VOLUME, request, one.reason);
        const auto fault = CheckLayout(VOLUME, request);
        ASSERT_TRUE(fault) << one.name;
        EXPECT_THAT(LayoutFaultText(*fault, request),
                    AllOf(HasSubstr(one.name), HasSubstr("40.5 px"), HasSubstr("40 x 36 x 32 px")));
        request.spacing = {2.0, 2.0, 3.0};
        EXPECT_FALSE(CheckLayout(VOLUME, request)) << one.name;
    }
}

TEST(LayoutCheck, CountsThePixelsThatNoSubfieldHas) {
    EXPECT_THAT(PixelsBeyondSubfields(VOLUME, request_of(3.0)), IsEmpty());
    EXPECT_THAT(PixelsBeyondSubfields(VOLUME, request_of(3.0, {10, 15, 9})), ElementsAre(4, 0, 8));
    EXPECT_THAT(PixelsBeyondSubfields(PLANE, request_of(3.0, {10, 10, -1})), ElementsAre(4, 4));
    Impl::SAnalysisRequest divided = request_of(3.0);
    divided.subfieldCount = {3, 4, 1};
    EXPECT_THAT(PixelsBeyondSubfields(VOLUME, divided), ElementsAre(0, 0, 0));
}

TEST(LayoutCheck, TellsTheNumbersOfAFault) {
    const auto fault = CheckLayout(VOLUME, request_of(3.0, {27, 27, 27}));
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->radiusPx, 3.0);
    EXPECT_THAT(fault->borderPx, ElementsAre(3, 3, 3));
    EXPECT_THAT(fault->imagePx, ElementsAre(40, 36, 32));
    EXPECT_THAT(fault->evaluatedPx, ElementsAre(34, 30, 26));
    EXPECT_THAT(fault->subfieldPx, ElementsAre(27, 27, 27));
    const auto inPlane = CheckLayout(PLANE, request_of(40.0));
    ASSERT_TRUE(inPlane);
    EXPECT_THAT(inPlane->imagePx, ElementsAre(60, 50));
    EXPECT_THAT(inPlane->subfieldPx, IsEmpty());
}

TEST(LayoutCheck, ChecksEveryAxisWithItsOwnSpacing) {
    Impl::SAnalysisRequest request = request_of(3.0, {20, 20, 5});
    request.spacing = {0.5, 0.5, 2.0}; // 6, 6 and 1.5 px
    request.border = 6.0;              // 12, 12 and 3 px
    const auto tooLarge = CheckLayout(VOLUME, request);
    ASSERT_TRUE(tooLarge);
    EXPECT_EQ(tooLarge->reason, EReason::subfieldsDoNotFit);
    EXPECT_THAT(tooLarge->evaluatedPx, ElementsAre(16, 12, 26));
    EXPECT_THAT(LayoutFaultText(*tooLarge, request), HasSubstr("border of 12 x 12 x 3 px"));
    request.subfieldPx = {13, 12, 4};
    EXPECT_FALSE(CheckLayout(VOLUME, request));
    request.subfieldPx = {13, 11, 4};
    const auto tooSmall = CheckLayout(VOLUME, request);
    ASSERT_TRUE(tooSmall);
    EXPECT_EQ(tooSmall->reason, EReason::radiusExceedsSubfield);
    EXPECT_THAT(LayoutFaultText(*tooSmall, request), HasSubstr("6 x 6 x 1.5 px"));
    request.fiberRadius = 9.5;
    EXPECT_EQ(CheckLayout(VOLUME, request)->reason, EReason::radiusExceedsImage);
}

TEST(LayoutCheck, RefusesABorderThatLeavesNothing) {
    Impl::SAnalysisRequest request = request_of(3.0);
    for (const double border : {16.0, 40.0, 1e300}) {
        request.border = border;
        expect_fault(VOLUME, request, EReason::nothingButBorder);
    }
}

TEST(LayoutCheck, TakesTheRadiusInTheUnitOfTheSpacing) {
    Impl::SAnalysisRequest request = request_of(3.0);
    request.spacing = {0.001, 0.001, 0.001};
    request.lengthUnit = "mm";
    const auto fault = CheckLayout(VOLUME, request);
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->reason, EReason::radiusExceedsImage);
    EXPECT_THAT(LayoutFaultText(*fault, request), AllOf(HasSubstr("3 mm = 3000 px"), HasSubstr("as in 3px")));
}

} // namespace
} // namespace TEVRA::jobs
