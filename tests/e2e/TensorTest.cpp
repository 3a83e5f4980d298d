// SPDX-License-Identifier: BSD-3-Clause
#include "e2e/ProgramRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

using nlohmann::json;
using testing::DoubleNear;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

json evaluated(const std::string& components) {
    const SOutcome outcome = RunTevra({"tensor", components, "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    return json::parse(outcome.out);
}

TEST(TensorCommand, ADiagonalTensorHasItsDiagonalAsEigenvalues) {
    const json result = evaluated("0.2,0,0,0.7,0,0.1");
    EXPECT_THAT(result["eigenvalues"].get<std::vector<double>>(),
                ElementsAre(DoubleNear(0.7, 1e-15), DoubleNear(0.2, 1e-15), DoubleNear(0.1, 1e-15)));
    EXPECT_THAT(result["mean_orientation"].get<std::vector<double>>(),
                ElementsAre(DoubleNear(0, 1e-15), DoubleNear(1, 1e-15), DoubleNear(0, 1e-15)));
    EXPECT_NEAR(result["shape"].get<double>(), std::log(3.5) / std::log(2.0), 1e-12);
    EXPECT_NEAR(result["strength"].get<double>(), std::log(7.0), 1e-12);
}

TEST(TensorCommand, ARotatedTensorHasARotatedMeanOrientation) {
    // 0.9 along (1, 1) and 0.1 along (-1, 1): off-diagonal (0.9 - 0.1) / 2.
    const json result = evaluated("0.5,0.4,0.5");
    EXPECT_THAT(result["eigenvalues"].get<std::vector<double>>(),
                ElementsAre(DoubleNear(0.9, 1e-15), DoubleNear(0.1, 1e-15)));
    EXPECT_THAT(
        result["mean_orientation"].get<std::vector<double>>(),
        ElementsAre(DoubleNear(std::numbers::sqrt2 / 2, 1e-15), DoubleNear(std::numbers::sqrt2 / 2, 1e-15)));
    EXPECT_FALSE(result.contains("shape"));
    EXPECT_FALSE(result.contains("strength"));
}

TEST(TensorCommand, TheLargestComponentOfTheMeanOrientationIsPositive) {
    const json result = evaluated("0.5,-0.45,0.5");
    EXPECT_GT(result["mean_orientation"][0].get<double>() * -result["mean_orientation"][1].get<double>(),
              0.0);
    const json steep = evaluated("0.1,-0.2,0.9");
    EXPECT_GT(steep["mean_orientation"][1].get<double>(), 0.9);
}

TEST(TensorCommand, WhatIsInfiniteOrUndefinedIsSaidWithoutASignInText) {
    const std::string text = RunTevra({"tensor", "1,0,0,0,0,0"}).out;
    EXPECT_THAT(text, MatchesRegex("(.|\n)*shape +nan\nstrength +inf\n"));
    EXPECT_THAT(RunTevra({"tensor", "0.2,-0.0,0,0.7,0,0.1"}).out, testing::Not(HasSubstr("-0.0")));
}

TEST(TensorCommand, WhatIsInfiniteOrUndefinedIsNullInJson) {
    EXPECT_TRUE(evaluated("0.5,0,0,0.5,0,0")["strength"].is_null());
    EXPECT_TRUE(evaluated("0.5,0,0,0.25,0,0.25")["shape"].is_null());
}

TEST(TensorCommand, PrintsAlignedText) {
    const SOutcome outcome = RunTevra({"tensor", "0.7,0,0,0.2,0,0.1"});
    EXPECT_EQ(outcome.out, "eigenvalues              0.700000       0.200000       0.100000\n"
                           "mean orientation         1.000000       0.000000       0.000000\n"
                           "shape                    1.807355\n"
                           "strength                 1.945910\n");
}

TEST(TensorCommand, ComponentsMayBeginWithAMinus) {
    for (const std::string components : {"-0.1,0.5,1.1", "-.1,.5,1.1"}) {
        const SOutcome outcome = RunTevra({"tensor", components});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_THAT(outcome.out, HasSubstr("eigenvalues"));
    }
}

TEST(TensorCommand, WarnsOfATraceOtherThan1) {
    const SOutcome outcome = RunTevra({"tensor", "0.5,0,0.4"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, MatchesRegex("tevra: warning: [^\n]*trace is 0.9[^\n]*\n"));
}

TEST(TensorCommand, DoesNotWarnOfRounding) {
    for (const std::string components :
         {"0.333,0,0,0.333,0,0.333", "0.333,0.333,0.333,0.333,0.333,0.333", "0.5774,0.4940,0.4226"}) {
        EXPECT_EQ(RunTevra({"tensor", components}).err, "") << components;
    }
}

TEST(TensorCommand, WarnsOfANegativeEigenvalue) {
    for (const std::string components :
         {"1.1,0,-0.1", "0.5,0.6,0.5", "0.6,0,0,0.6,0,-0.2", "0.4,0.35,-0.3,0.3,0.3,0.3"}) {
        const SOutcome outcome = RunTevra({"tensor", components});
        EXPECT_EQ(outcome.status, 0) << components;
        EXPECT_THAT(outcome.err, MatchesRegex("tevra: warning: [^\n]*negative eigenvalue[^\n]*\n"))
            << components;
    }
}

TEST(TensorCommand, RefusesWhatIsNoTensor) {
    for (const std::string components : {"", "1", "1,2", "1,2,3,4", "1,2,3,4,5,6,7", "nan,0,1", "inf,0,0",
                                         "1,0,0,inf,0,0", "a,b,c", "1e300,0,1"}) {
        const SOutcome outcome = RunTevra({"tensor", components});
        EXPECT_EQ(outcome.status, 2) << components;
        EXPECT_EQ(outcome.out, "") << components;
        EXPECT_THAT(outcome.err, MatchesRegex("tevra: error: [^\n]*COMPONENTS[^\n]*\n")) << components;
    }
}

} // namespace
} // namespace TEVRA::test
