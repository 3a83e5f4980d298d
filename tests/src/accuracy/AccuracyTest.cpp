// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/Phantom.h"
#include "src/accuracy/Analysis.h"
#include "src/accuracy/ReferenceEstimator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <tuple>
#include <vector>

#ifndef TEVRA_ACCURACY_EXTENT
#define TEVRA_ACCURACY_EXTENT 128
#endif

namespace TEVRA::test {
namespace {

using namespace TEVRA::phantom;

constexpr long long EXTENT = TEVRA_ACCURACY_EXTENT;
constexpr double RADIUS_PX = 4.0;

SAxisField truth_of(const SPhantom& phantom) {
    return FieldOfMaps(*phantom.theta, phantom.phi.get());
}

class SingleFiber : public testing::TestWithParam<Axis> {};

TEST_P(SingleFiber, AxisErrsByLessThanHalfADegreeInTheMedian) {
    SPhantomOptions options;
    options.sizePx = CSize(EXTENT, EXTENT, EXTENT);
    options.fiberRadiusPx = RADIUS_PX;
    options.places = SThroughCentre{};
    options.directions = SOneAxis{GetParam()};
    const SPhantom phantom = MakePhantom(options);
    const SAxisField truth = truth_of(phantom);

    const SAnalysis analysis = Analyse(*phantom.image, {});

    const std::vector<double> errors = DifferencesDeg(truth, analysis.axes);
    ASSERT_EQ(errors.size(), truth.Count()) << "fiber pixels without an axis";
    EXPECT_LT(Quantile(errors, 0.5), 0.5);
}

INSTANTIATE_TEST_SUITE_P(Axes, SingleFiber,
                         testing::Values(Axis{1, 0, 0}, Axis{0, 1, 0}, Axis{0, 0, 1}, Axis{1, 1, 1}));

TEST(SingleFiberInThePlane, AngleErrsByLessThanHalfADegreeInTheMedian) {
    for (int step = 0; step < 18; ++step) {
        const double angle = step * std::numbers::pi / 18.0;
        SPhantomOptions options;
        options.sizePx = CSize(128, 128);
        options.fiberRadiusPx = RADIUS_PX;
        options.places = SThroughCentre{};
        options.directions = SOneAxis{{std::cos(angle), std::sin(angle), 0.0}};
        const SPhantom phantom = MakePhantom(options);
        const SAxisField truth = truth_of(phantom);

        const SAnalysis analysis = Analyse(*phantom.image, {});

        const std::vector<double> errors = DifferencesDeg(truth, analysis.axes);
        ASSERT_EQ(errors.size(), truth.Count()) << "fiber pixels without an axis, angle " << 10 * step;
        EXPECT_LT(Quantile(errors, 0.5), 0.5) << "angle " << 10 * step;
    }
}

class RandomField : public testing::TestWithParam<std::tuple<double, double>> {};

TEST_P(RandomField, AgreesWithAnIndependentComputationOfTheMethod) {
    const auto [volumeFraction, beta] = GetParam();
    SPhantomOptions options;
    options.sizePx = CSize(EXTENT, EXTENT, EXTENT);
    options.fiberRadiusPx = RADIUS_PX;
    options.places = SRandomPlaces{volumeFraction};
    options.directions = SBetaFamily{beta, {0.0, 0.0, 1.0}};
    options.noiseSd = 5.0;
    const SPhantom phantom = MakePhantom(options);

    const SAnalysis analysis = Analyse(*phantom.image, {});
    const SAxisField reference = ReferenceAxes(*phantom.image, {});

    // The threshold decides alike up to pixels whose grey value nearly equals it, and up to one of Otsu's
    // bins, which is what a smoothing that differs in the fourth digit can move: 2 % of the foreground of a
    // small image.
    EXPECT_LT(ForegroundMismatch(analysis.axes, reference), 0.03);
    const std::vector<double> differences = DifferencesDeg(analysis.axes, reference);
    EXPECT_LT(Quantile(differences, 0.5), 1.0);
    const auto border = static_cast<long long>(RADIUS_PX);
    const Tensor expected = MeanTensor(reference, WithoutBorder(options.sizePx, border));
    EXPECT_LT(LargestDifference(analysis.fieldTensor, expected), 0.01);
    RecordProperty("MedianDifferenceDeg", std::to_string(Quantile(differences, 0.5)));
    RecordProperty("TensorDifference", std::to_string(LargestDifference(analysis.fieldTensor, expected)));
}

INSTANTIATE_TEST_SUITE_P(FractionsAndBetas, RandomField,
                         testing::Combine(testing::Values(0.05, 0.15, 0.25),
                                          testing::Values(0.1, 0.5, 1.0, 3.0)));

} // namespace
} // namespace TEVRA::test
