// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/BetaFit.h"

#include "FilterOrientations/EstimationBeta.h"
#include "phantom/DirectionLaw.h"
#include "phantom/RandomNumbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace TEVRA::jobs {
namespace {

SPolarSample polar(const std::vector<double>& thetaRad) {
    SPolarSample sample;
    for (const double theta : thetaRad) {
        sample.cos2.push_back(std::cos(theta) * std::cos(theta));
        sample.sin2.push_back(std::sin(theta) * std::sin(theta));
        sample.counts.push_back(1.0);
    }
    return sample;
}

/// Polar angles of the family.
std::vector<double> family(double beta, int count) {
    phantom::CRandomNumbers random(11);
    std::vector<double> thetaRad;
    for (int i = 0; i < count; ++i) {
        thetaRad.push_back(std::acos(phantom::BetaFamilyCosine(random.Uniform(), beta)));
    }
    return thetaRad;
}

TEST(BetaFit, HasALikelihoodWhoseDensitySumsUpToOne) {
    for (const double beta : {0.1, 0.5, 1.0, 2.0, 10.0}) {
        // Midpoint rule over the cosine, for which directions without preference have density 1.
        constexpr int STEPS = 200000;
        double integral = 0.0;
        for (int i = 0; i < STEPS; ++i) {
            const double cosine = (i + 0.5) / STEPS;
            const SPolarSample one{{cosine * cosine}, {1.0 - cosine * cosine}, {1.0}};
            integral += std::exp(LogLikelihood(beta, one).value) / STEPS;
        }
        EXPECT_NEAR(integral, 1.0, 1e-6) << beta;
    }
}

TEST(BetaFit, HasDerivativesThatAgreeWithDifferences) {
    const SPolarSample sample = polar({0.0, 0.2, 0.9, 1.3, 1.5707963267948966});
    constexpr double STEP = 1e-4;
    for (const double beta : {0.05, 0.7, 1.0, 3.0}) {
        const SLogLikelihood here = LogLikelihood(beta, sample);
        const SLogLikelihood below = LogLikelihood(beta * std::exp(-STEP), sample);
        const SLogLikelihood above = LogLikelihood(beta * std::exp(STEP), sample);
        EXPECT_NEAR(here.slope, (above.value - below.value) / (2 * STEP), 1e-6);
        EXPECT_NEAR(here.curvature, (above.slope - below.slope) / (2 * STEP), 1e-6);
        EXPECT_LT(here.curvature, 0.0);
    }
}

TEST(BetaFit, AgreesWithTheLibraryWhereItsStartConverges) {
    for (const double beta : {0.1, 0.3, 0.8, 1.0, 1.5, 4.0}) {
        const std::vector<double> thetaRad = family(beta, 500);
        auto type = beta < 0.5 ? CEstimationBeta::eCluster : CEstimationBeta::eGirdle;
        const double expected =
            CEstimationBeta(nullptr, nullptr)
                .computeEstimate(thetaRad, std::vector<double>(thetaRad.size()), type, true);
        ASSERT_GT(expected, 0.0);
        EXPECT_NEAR(FitBeta(polar(thetaRad)).beta, expected, 1e-10 * expected);
    }
}

TEST(BetaFit, IsNotStoppedByAnAngleOfZero) {
    for (const double single : {0.0, 1e-9, 1e-5}) {
        std::vector<double> thetaRad = family(0.3, 500);
        const double without = FitBeta(polar(thetaRad)).beta;
        thetaRad.push_back(single);
        auto type = CEstimationBeta::eCluster;
        const double ofLibrary =
            CEstimationBeta(nullptr, nullptr)
                .computeEstimate(thetaRad, std::vector<double>(thetaRad.size()), type, true);
        EXPECT_NEAR(ofLibrary, 0.0, 1e-4) << "the start that fails, or the test would show nothing";
        const SBetaFit fit = FitBeta(polar(thetaRad));
        EXPECT_EQ(fit.limit, EBetaLimit::none);
        EXPECT_NEAR(fit.beta, without, 0.01 * without);
        EXPECT_NEAR(LogLikelihood(fit.beta, polar(thetaRad)).slope, 0.0, 1e-8);
    }
}

TEST(BetaFit, FindsVeryNarrowAndVeryFlatDistributions) {
    for (const double beta : {1e-4, 1e-2, 1e2, 1e4}) {
        EXPECT_NEAR(std::log(FitBeta(polar(family(beta, 2000))).beta / beta), 0.0, 0.05) << beta;
    }
}

TEST(BetaFit, OfOneAngleHasAClosedForm) {
    for (const double thetaRad : {1e-4, 0.3, 1.0, 1.5}) {
        const double expected = std::tan(thetaRad) / std::sqrt(2.0);
        EXPECT_NEAR(FitBeta(polar({thetaRad, thetaRad})).beta, expected, 1e-10 * expected);
    }
}

TEST(BetaFit, IsAtALimitFromAThirdAlongOrTwoThirdsAcross) {
    constexpr double RIGHT = 1.5707963267948966;
    EXPECT_EQ(FitBeta(polar({0.0, 1.0, 1.2})).limit, EBetaLimit::alongAxis);
    EXPECT_EQ(FitBeta(polar({0.0, 1.0, 1.2})).beta, 0.0);
    EXPECT_EQ(FitBeta(polar({0.0, 1.0, 1.2, 0.5})).limit, EBetaLimit::none);
    EXPECT_EQ(FitBeta(polar({RIGHT, RIGHT, 0.3})).limit, EBetaLimit::acrossAxis);
    EXPECT_EQ(FitBeta(polar({RIGHT, RIGHT, 0.3})).beta, std::numeric_limits<double>::infinity());
    EXPECT_EQ(FitBeta(polar({RIGHT, RIGHT, 0.3, 0.3})).limit, EBetaLimit::none);
    EXPECT_NEAR(FitBeta(polar({0.0, 1.0, 1.2})).alongShare, 1.0 / 3.0, 1e-15);
    // The three axes themselves: every beta is as likely as 1.
    const SPolarSample even = polar({0.0, RIGHT, RIGHT});
    EXPECT_EQ(FitBeta(even).limit, EBetaLimit::none);
    EXPECT_EQ(FitBeta(even).beta, 1.0);
    EXPECT_NEAR(LogLikelihood(7.0, even).value, 0.0, 1e-12);
}

} // namespace
} // namespace TEVRA::jobs
