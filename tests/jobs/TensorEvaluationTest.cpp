// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/TensorEvaluation.h"

#include "jobs/Failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace TEVRA::jobs {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(TensorEvaluation, HasEigenvaluesMeanOrientationShapeAndStrength) {
    const STensorEvaluation result = EvaluateTensor({0.2, 0.0, 0.0, 0.7, 0.0, 0.1});
    EXPECT_THAT(result.eigenvalues,
                ElementsAre(DoubleNear(0.7, 1e-12), DoubleNear(0.2, 1e-12), DoubleNear(0.1, 1e-12)));
    EXPECT_THAT(result.meanOrientation, ElementsAre(0.0, DoubleNear(1.0, 1e-12), 0.0));
    EXPECT_NEAR(*result.shape, std::log(3.5) / std::log(2.0), 1e-12);
    EXPECT_NEAR(*result.strength, std::log(7.0), 1e-12);
    EXPECT_FALSE(result.hasWrongTrace);
    EXPECT_FALSE(result.hasNegativeEigenvalue);
}

TEST(TensorEvaluation, InThePlaneHasNoShape) {
    const STensorEvaluation result = EvaluateTensor({0.5, 0.25, 0.5});
    EXPECT_THAT(result.eigenvalues, ElementsAre(DoubleNear(0.75, 1e-12), DoubleNear(0.25, 1e-12)));
    EXPECT_THAT(result.meanOrientation,
                ElementsAre(DoubleNear(std::sqrt(0.5), 1e-12), DoubleNear(std::sqrt(0.5), 1e-12)));
    EXPECT_FALSE(result.shape);
    EXPECT_FALSE(result.strength);
}

TEST(TensorEvaluation, SaysWhatSpeaksAgainstAnOrientationTensor) {
    EXPECT_TRUE(EvaluateTensor({0.5, 0.0, 0.6}).hasWrongTrace);
    EXPECT_FALSE(EvaluateTensor({0.333, 0.0, 0.0, 0.333, 0.0, 0.333}).hasWrongTrace) << "typed digits";
    EXPECT_TRUE(EvaluateTensor({0.5, 0.9, 0.5}).hasNegativeEigenvalue);
    EXPECT_TRUE(EvaluateTensor({0.6, 0.0, 0.0, 0.7, 0.0, -0.3}).hasNegativeEigenvalue);
}

TEST(TensorEvaluation, GivesTheReasonWhyComponentsAreWrong) {
    EXPECT_EQ(WrongComponents({0.5, 0.0, 0.5}), "");
    EXPECT_THAT(WrongComponents({0.5, 0.0}), HasSubstr("2 components"));
    EXPECT_THAT(WrongComponents({0.5, 0.0, 1e101}), HasSubstr("too large"));
    EXPECT_THAT(WrongComponents({0.5, 0.0, std::numeric_limits<double>::quiet_NaN()}),
                HasSubstr("too large"));
    EXPECT_THROW(EvaluateTensor({0.5}), CWorkError);
}

} // namespace
} // namespace TEVRA::jobs
