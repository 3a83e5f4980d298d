// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/BetaJob.h"

#include "jobs/Failure.h"
#include "phantom/DirectionLaw.h"
#include "phantom/RandomNumbers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace TEVRA::jobs {
namespace {

using Vector = std::array<double, 3>;

const Vector TILTED{1.0 / 3.0, 2.0 / 3.0, 2.0 / 3.0};

void add(CDirectionSample& sample, const Vector& axis) {
    sample.Add(std::acos(std::min(axis[2], 1.0)), std::atan2(axis[1], axis[0]));
}

/// Independent directions of the family around a tilted axis.
CDirectionSample family(double beta, int count, std::uint64_t seed = 1) {
    phantom::CRandomNumbers random(seed);
    CDirectionSample sample;
    for (int i = 0; i < count; ++i) {
        add(sample, phantom::DrawAxis(phantom::SBetaFamily{beta, TILTED}, random));
    }
    return sample;
}

double cosine(const Vector& a, const Vector& b) {
    return std::abs(a[0] * b[0] + a[1] * b[1] + a[2] * b[2]);
}

TEST(DistributionTypes, AreFoundByTheirNames) {
    EXPECT_EQ(DistributionTypeNames(), "girdle, cluster or intermediate");
    for (const EDistributionType type : DISTRIBUTION_TYPES) {
        EXPECT_EQ(DistributionTypeNamed(NameOf(type)), type);
    }
    EXPECT_EQ(DistributionTypeNamed("cluster"), CEstimationBeta::eCluster);
    EXPECT_EQ(DistributionTypeNamed("Cluster"), std::nullopt);
}

class BetaOfFamily : public testing::TestWithParam<double> {};

TEST_P(BetaOfFamily, IsFoundWithoutNamingTheAxis) {
    const double beta = GetParam();
    const SBetaEstimate estimate = EstimateBeta(family(beta, 20000), {});
    ASSERT_TRUE(estimate.choice);
    if (beta == 1.0) {
        // Of all axes the one is found that chance prefers most, so that beta is farther from 1 than from an axis
        // that is known; and the estimate says so.
        EXPECT_NEAR(estimate.fit.beta, beta, 0.03);
        EXPECT_EQ(estimate.choice->evidence, EEvidence::none);
        return;
    }
    EXPECT_NEAR(estimate.fit.beta, beta, 0.016 * beta);
    if (beta == 0.97) {
        EXPECT_EQ(estimate.choice->evidence, EEvidence::weak) << "that near to 1";
    } else if (beta != 0.95) { // which may come out near enough to 1
        EXPECT_EQ(estimate.choice->isOfLargest, beta < 1.0);
        EXPECT_EQ(estimate.choice->evidence, EEvidence::clear);
        EXPECT_GT(estimate.fit.logLikelihood, estimate.choice->otherFit.logLikelihood);
    }
    if (std::abs(std::log(beta)) > 0.2) {
        EXPECT_GT(cosine(*estimate.axis, TILTED), std::cos(0.04));
    }
}

// Evenly spaced in the logarithm, and where the middle eigenvector was taken for the axis.
INSTANTIATE_TEST_SUITE_P(NineteenFromOneTenthToTen, BetaOfFamily,
                         testing::Values(0.1, 0.12915, 0.16681, 0.21544, 0.27826, 0.35938, 0.46416, 0.59948,
                                         0.77426, 1.0, 1.29155, 1.6681, 2.15443, 2.78256, 3.59381, 4.64159,
                                         5.99484, 7.74264, 10.0));
INSTANTIATE_TEST_SUITE_P(WhereTheMiddleEigenvectorWasTaken, BetaOfFamily,
                         testing::Values(0.78, 0.8, 0.9, 0.95, 0.97, 1.45, 1.5, 2.1, 2.11));

TEST(BetaJob, SaysThatASampleWithoutPreferenceTellsNoAxis) {
    int none = 0;
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        none += EstimateBeta(family(1.0, 2000, seed), {}).choice->evidence == EEvidence::none ? 1 : 0;
    }
    EXPECT_GE(none, 35) << "95 of 100 on average";
}

TEST(BetaJob, SaysThatASampleWithThreeKindsOfAxesHardlyTellsWhichIsThatOfSymmetry) {
    phantom::CRandomNumbers random(3);
    CDirectionSample sample;
    for (int i = 0; i < 1500; ++i) {
        add(sample,
            phantom::Normalised({1.15 * random.Normal(), random.Normal(), std::abs(random.Normal()) / 1.15}));
    }
    const SBetaEstimate estimate = EstimateBeta(sample, {});
    EXPECT_EQ(estimate.choice->evidence, EEvidence::weak);
    EXPECT_GT(estimate.choice->isotropyStatistic, 11.0705);
}

TEST(BetaJob, TakesTheAxisOfTheTypeThatIsGiven) {
    const CDirectionSample sample = family(0.3, 2000);
    const SBetaEstimate cluster = EstimateBeta(sample, {CEstimationBeta::eCluster, SPrincipalAxis{}});
    const SBetaEstimate girdle = EstimateBeta(sample, {CEstimationBeta::eGirdle, SPrincipalAxis{}});
    const SBetaEstimate between = EstimateBeta(sample, {CEstimationBeta::eIntermediate, SPrincipalAxis{}});
    EXPECT_TRUE(cluster.choice->isOfLargest);
    EXPECT_FALSE(girdle.choice->isOfLargest);
    EXPECT_TRUE(between.choice->isOfLargest) << "the one that stands apart";
    EXPECT_EQ(girdle.fit.beta, cluster.choice->otherFit.beta);
    EXPECT_EQ(girdle.choice->evidence, EEvidence::weak) << "the other axis is far more likely";
    EXPECT_EQ(girdle.type, CEstimationBeta::eGirdle);
}

TEST(BetaJob, ClassifiesLikeTheLibrary) {
    for (const double beta : {0.2, 0.8, 0.95, 1.5, 2.1, 5.0}) {
        phantom::CRandomNumbers random(8);
        CDirectionSample sample;
        std::vector<double> theta;
        std::vector<double> phi;
        for (int i = 0; i < 3000; ++i) {
            const Vector axis = phantom::DrawAxis(phantom::SBetaFamily{beta, TILTED}, random);
            theta.push_back(std::acos(std::min(axis[2], 1.0)));
            phi.push_back(std::atan2(axis[1], axis[0]));
            sample.Add(theta.back(), phi.back());
        }
        EDistributionType type = CEstimationBeta::eGirdle;
        CEstimationBeta(nullptr, nullptr).computeEstimate(theta, phi, type, false);
        EXPECT_EQ(EstimateBeta(sample, {}).type, type) << beta;
    }
}

TEST(BetaJob, CountsBeyondTwoToTheThirtyFirst) {
    CDirectionSample few;
    CDirectionSample many;
    constexpr long long TIMES = 3'000'000'000;
    for (int i = 0; i < 50; ++i) {
        const double theta = 0.02 * i;
        const double phi = 0.7 * i;
        few.Add(theta, phi);
        many.Add(theta, phi, TIMES);
    }
    const SBetaEstimate ofFew = EstimateBeta(few, {});
    const SBetaEstimate ofMany = EstimateBeta(many, {});
    EXPECT_EQ(ofMany.sampleSize, 50 * TIMES);
    EXPECT_EQ(ofMany.type, ofFew.type);
    EXPECT_NEAR(ofMany.fit.beta, ofFew.fit.beta, 1e-9 * ofFew.fit.beta);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(ofMany.eigenvalues[i], ofFew.eigenvalues[i], 1e-12);
    }
    EXPECT_NEAR(ofMany.fit.logLikelihood / TIMES, ofFew.fit.logLikelihood, 1e-9);
}

TEST(BetaJob, KeepsRunsOfEqualDirectionsAsOne) {
    CDirectionSample sample;
    sample.Add(0.1, 0.2);
    sample.Add(0.1, 0.2, 4);
    sample.Add(0.3, 0.2);
    sample.Add(0.1, 0.2);
    EXPECT_EQ(sample.Runs(), 3U);
    EXPECT_EQ(sample.Count(), 7);
    EXPECT_EQ(sample.CountOf(0), 5.0);
}

TEST(BetaJob, RefusesAnEmptySampleWithoutNamingOptions) {
    try {
        EstimateBeta(CDirectionSample(), {});
        FAIL() << "nothing was thrown";
    } catch (const CWorkError& error) {
        EXPECT_EQ(std::string(error.what()).find("--"), std::string::npos);
    }
}

TEST(UnitVectorOf, AnyLengthIsFoundAndOfNoneIsNot) {
    EXPECT_EQ(UnitVector({0.0, 0.0, -7.0}), (Vector{0.0, 0.0, -1.0}));
    EXPECT_EQ(UnitVector({1e300, 0.0, 0.0}), (Vector{1.0, 0.0, 0.0}));
    EXPECT_FALSE(UnitVector({0.0, 0.0, 0.0}));
    EXPECT_FALSE(UnitVector({0.0, std::nan(""), 1.0}));
    EXPECT_FALSE(UnitVector({0.0, HUGE_VAL, 1.0}));
}

} // namespace
} // namespace TEVRA::jobs
