// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/FilterJob.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace TEVRA::jobs {
namespace {

using report::SFilterParameters;
using report::SPixelBox;
using testing::ElementsAre;
using testing::HasSubstr;
using EParameter = CFilterParameterError::EParameter;

SFilterParameters make_parameters() {
    SFilterParameters parameters;
    parameters.majorWidth = 12.0;
    parameters.minorWidth = 6.0;
    parameters.resolution = "coarse";
    return parameters;
}

SPixelBox evaluated_box(const CSize& size, const SFilterParameters& parameters) {
    return EvaluatedPixels(size, parameters).boxPx;
}

template <typename WorkT>
void expect_parameter_error(EParameter parameter, const char* part, WorkT work) {
    try {
        work();
        FAIL() << "accepted";
    } catch (const CFilterParameterError& error) {
        EXPECT_EQ(error.Parameter(), parameter) << error.what();
        EXPECT_THAT(error.what(), HasSubstr(part));
        EXPECT_THAT(error.what(), testing::Not(HasSubstr("--")));
    }
}

TEST(EvaluatedPixels, LeaveTheRimOut) {
    const SEvaluatedPixels evaluated = EvaluatedPixels(CSize(100, 80, 60), make_parameters());
    EXPECT_THAT(evaluated.rimPx, ElementsAre(8, 8, 8)); // 2 * 12 / pi = 7.6
    EXPECT_THAT(evaluated.boxPx.lower, ElementsAre(8, 8, 8));
    EXPECT_THAT(evaluated.boxPx.upper, ElementsAre(92, 72, 52));
    EXPECT_FALSE(evaluated.isBoxClipped);
}

TEST(EvaluatedPixels, TakeANarrowerRimOnDemand) {
    SFilterParameters parameters = make_parameters();
    parameters.rimPx = {3};
    EXPECT_THAT(evaluated_box(CSize(100, 80), parameters).upper, ElementsAre(97, 77));
    parameters.rimPx = {3, 20};
    EXPECT_THAT(evaluated_box(CSize(100, 80), parameters).lower, ElementsAre(3, 20));
}

TEST(EvaluatedPixels, AreThoseThatTheTensorVisits) {
    SFilterParameters parameters = make_parameters();
    parameters.rimPx = {0};
    EXPECT_THAT(evaluated_box(CSize(150, 1), parameters).upper, ElementsAre(149, 1));
    for (const long long upper : {149, 150}) {
        parameters.boxPx = {{10, 0}, {upper, 1}};
        EXPECT_THAT(evaluated_box(CSize(150, 1), parameters).upper, ElementsAre(149, 1));
    }
    parameters.boxPx = {{149, 0}, {150, 0}};
    EXPECT_THAT(evaluated_box(CSize(150, 1), parameters).lower, ElementsAre(149, 0));
    EXPECT_THAT(evaluated_box(CSize(150, 1), parameters).upper, ElementsAre(150, 1));
}

TEST(EvaluatedPixels, SayThatTheRimClipsABox) {
    SFilterParameters parameters = make_parameters();
    parameters.boxPx = {{20, 20}, {92, 72}};
    EXPECT_FALSE(EvaluatedPixels(CSize(100, 80), parameters).isBoxClipped);
    parameters.boxPx = {{20, 72}, {92, 7}}; // corners in any order
    const SEvaluatedPixels evaluated = EvaluatedPixels(CSize(100, 80), parameters);
    EXPECT_TRUE(evaluated.isBoxClipped);
    EXPECT_THAT(evaluated.boxPx.lower, ElementsAre(20, 8));
}

TEST(EvaluatedPixels, HaveNoRimAlongAxesThatItWouldUseUp) {
    const SEvaluatedPixels evaluated = EvaluatedPixels(CSize(100, 80, 16), make_parameters());
    EXPECT_THAT(evaluated.rimPx, ElementsAre(8, 8, 0));
    EXPECT_THAT(evaluated.axesTooThin, ElementsAre(2));
    EXPECT_THAT(EvaluatedPixels(CSize(100, 80, 17), make_parameters()).axesTooThin, ElementsAre());
    SFilterParameters parameters = make_parameters();
    parameters.rimPx = {8};
    expect_parameter_error(EParameter::rim, "no pixel is left",
                           [&] { EvaluatedPixels(CSize(100, 80, 16), parameters); });
}

TEST(EvaluatedPixels, RefuseBoxesAndRimsThatDoNotGoWithTheImage) {
    const CSize size(100, 80);
    const auto expect_box_refused = [&](const SPixelBox& box, EParameter parameter, const char* part) {
        SFilterParameters parameters = make_parameters();
        parameters.boxPx = box;
        expect_parameter_error(parameter, part, [&] { EvaluatedPixels(size, parameters); });
    };
    expect_box_refused({{0, 0}, {101, 5}}, EParameter::box, "leaves the image of 100 x 80 px");
    expect_box_refused({{-1, 0}, {10, 5}}, EParameter::box, "leaves the image");
    expect_box_refused({{100, 0}, {100, 5}}, EParameter::box, "leaves the image");
    expect_box_refused({{0, 0, 0}, {10, 5, 5}}, EParameter::box, "2 axes");
    expect_box_refused({{0, 0}, {7, 80}}, EParameter::rim, "the box lies in the rim");
    for (const std::vector<long long>& rim : {std::vector<long long>{-1}, {1, 2, 3}}) {
        SFilterParameters parameters = make_parameters();
        parameters.rimPx = rim;
        expect_parameter_error(EParameter::rim, "", [&] { EvaluatedPixels(size, parameters); });
    }
}

TEST(FilterMemory, IsDominatedByTheFrameOfWideFilters) {
    SFilterParameters narrow = make_parameters();
    SFilterParameters wide = make_parameters();
    wide.majorWidth = 100.0;
    const CSize size(16, 16, 16);
    const double framed = 416.0 * 416.0 * 416.0 * 20.0;
    EXPECT_NEAR(static_cast<double>(FilterMemory(size, 1, wide)), framed, 0.03 * framed);
    EXPECT_LT(FilterMemory(size, 1, narrow), std::size_t{40} << 20);
}

TEST(FilterMemory, DoesNotOverflow) {
    SFilterParameters wide = make_parameters();
    wide.majorWidth = 1000.0;
    const long long most = 1LL << 31;
    EXPECT_EQ(FilterMemory(CSize(most, most, most), 4, wide), std::numeric_limits<std::size_t>::max());
}

} // namespace
} // namespace TEVRA::jobs
