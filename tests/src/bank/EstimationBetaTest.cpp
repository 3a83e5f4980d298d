// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/EstimationBeta.h"

#include "FilterOrientations/BetaLikelihood.h"
#include "src/bank/TestAccess.h"
#include "support/MakeImage.h"
#include "support/StridedImage.h"
#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <vector>

namespace TEVRA {
namespace {

using EType = CEstimationBeta::EDistributionType;
constexpr EType GIRDLE = CEstimationBeta::eGirdle;
constexpr EType CLUSTER = CEstimationBeta::eCluster;
constexpr EType INTERMEDIATE = CEstimationBeta::eIntermediate;

constexpr double PI = std::numbers::pi;
constexpr double MAGIC_ANGLE = 0.9553166181245092; // cos^2 = 1/3

struct SSample {
    std::vector<double> theta;
    std::vector<double> phi;

    void Add(double t, double p) {
        theta.push_back(t);
        phi.push_back(p);
    }
};

struct SEstimate {
    double beta;
    EType type;
};

SEstimate estimate(const SSample& sample) {
    EType type = GIRDLE;
    const double beta =
        CEstimationBeta(nullptr, nullptr).computeEstimate(sample.theta, sample.phi, type, false);
    return {beta, type};
}

double estimate_as(EType type, const SSample& sample) {
    return CEstimationBeta(nullptr, nullptr).computeEstimate(sample.theta, sample.phi, type, true);
}

/// Directions along the coordinate axes, so many of each: their shares are the eigenvalues.
SSample along_axes(int alongX, int alongY, int alongZ) {
    SSample sample;
    for (int i = 0; i < alongX; ++i) {
        sample.Add(PI / 2, 0.0);
    }
    for (int i = 0; i < alongY; ++i) {
        sample.Add(PI / 2, PI / 2);
    }
    for (int i = 0; i < alongZ; ++i) {
        sample.Add(0.0, 0.0);
    }
    return sample;
}

/// The same as unit vectors, whose components are exact.
EType type_of_shares(std::size_t alongX, std::size_t alongY, std::size_t alongZ) {
    const auto ones_then_zeros = [&](std::size_t zeros, std::size_t ones) {
        std::vector<double> components(zeros, 0.0);
        components.resize(zeros + ones, 1.0);
        components.resize(alongX + alongY + alongZ, 0.0);
        return components;
    };
    return CTestAccess::PrincipalAxis(ones_then_zeros(0, alongX), ones_then_zeros(alongX, alongY),
                                      ones_then_zeros(alongX + alongY, alongZ), GIRDLE, false)
        .type;
}

/// Polar angle below which a share `quantile` of the family's directions with cos(theta) in [0, 1] lies
/// above: the share with cosine at most u is beta u / sqrt(1 + (beta^2 - 1) u^2).
double polar_angle(double beta, double quantile) {
    const double q2 = quantile * quantile;
    return std::acos(std::min(1.0, quantile / std::sqrt(beta * beta - q2 * (beta * beta - 1.0))));
}

/// A sample of the family, symmetry axis z, at random places of the distribution.
SSample sample_of_family(double beta, int size, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    const auto uniform = [&random] { return (static_cast<double>(random() >> 11) + 0.5) * 0x1p-53; };
    SSample sample;
    for (int i = 0; i < size; ++i) {
        const double theta = polar_angle(beta, uniform());
        sample.Add(theta, PI * (2.0 * uniform() - 1.0));
    }
    return sample;
}

Impl::SBetaRoot solve(double start, const std::vector<double>& cos2, const std::vector<double>& sin2) {
    return Impl::SolveBetaEquation(start, {cos2, sin2});
}

} // namespace

TEST(EstimationBeta, FindsTheBetaASampleWasDrawnWith) {
    for (const double beta : {0.1, 0.3, 1.0, 3.0, 10.0}) {
        const SEstimate found = estimate(sample_of_family(beta, 100000, 1));
        EXPECT_NEAR(found.beta, beta, 0.01 * beta);
    }
}

TEST(EstimationBeta, ClassifiesClustersAndGirdlesOfTheFamily) {
    EXPECT_EQ(estimate(sample_of_family(0.1, 10000, 2)).type, CLUSTER);
    EXPECT_EQ(estimate(sample_of_family(0.3, 10000, 2)).type, CLUSTER);
    EXPECT_EQ(estimate(sample_of_family(3.0, 10000, 2)).type, GIRDLE);
    EXPECT_EQ(estimate(sample_of_family(10.0, 10000, 2)).type, GIRDLE);
}

TEST(EstimationBeta, IsTheMaximumOfTheLikelihood) {
    const SSample sample = sample_of_family(0.4, 500, 3);
    const auto logLikelihood = [&sample](double beta) {
        double sum = 0.0;
        for (const double theta : sample.theta) {
            const double c = std::cos(theta);
            sum += std::log(beta) - 1.5 * std::log1p((beta * beta - 1.0) * c * c);
        }
        return sum;
    };
    const double beta = estimate(sample).beta;
    for (const double step : {1e-3, 1e-2, 0.1}) {
        EXPECT_GT(logLikelihood(beta), logLikelihood(beta * (1.0 + step)));
        EXPECT_GT(logLikelihood(beta), logLikelihood(beta * (1.0 - step)));
    }
}

TEST(EstimationBeta, SolvesASampleOfOneAngleInClosedForm) {
    // beta^2 cos^2 = sin^2 / 2
    for (const double theta : {0.5, 0.8, 1.0, 1.2}) {
        SSample sample;
        sample.Add(theta, 0.0);
        sample.Add(theta, 1.0);
        EXPECT_NEAR(estimate_as(CLUSTER, sample), std::tan(theta) / std::sqrt(2.0), 1e-12);
    }
}

TEST(EstimationBeta, StaysAtItsStartWhereThatIsTheRoot) {
    SSample sample;
    for (int i = 0; i < 10; ++i) {
        sample.Add(MAGIC_ANGLE, 0.3 * i);
    }
    EXPECT_NEAR(estimate_as(GIRDLE, sample), 1.0, 1e-12);
}

TEST(EstimationBeta, TakesPolarAnglesAsTheyArePassed) {
    // The azimuths, and with them the sample's own axis, play no part once the type is given.
    const SSample sample = sample_of_family(0.5, 1000, 4);
    SSample other = sample;
    for (double& phi : other.phi) {
        phi = 0.1;
    }
    EXPECT_EQ(estimate_as(CLUSTER, sample), estimate_as(CLUSTER, other));
}

TEST(EstimationBeta, DoesNotCareWhichWayADirectionPoints) {
    const SSample sample = sample_of_family(0.5, 1000, 5);
    SSample opposite = sample;
    for (double& theta : opposite.theta) {
        theta = PI - theta;
    }
    for (double& phi : opposite.phi) {
        phi += PI;
    }
    const SEstimate found = estimate(sample);
    const SEstimate foundOpposite = estimate(opposite);
    EXPECT_NEAR(found.beta, foundOpposite.beta, 1e-10);
    EXPECT_EQ(found.type, foundOpposite.type);
}

TEST(EstimationBeta, LeavesAGivenTypeAlone) {
    EType type = INTERMEDIATE;
    const SSample sample = sample_of_family(0.1, 1000, 6);
    CEstimationBeta(nullptr, nullptr).computeEstimate(sample.theta, sample.phi, type, true);
    EXPECT_EQ(type, INTERMEDIATE);
}

TEST(EstimationBeta, StartsAClusterNearItsRootAndTheOthersAtOne) {
    // From 1 the first step of so narrow a cluster goes far astray, and the iteration ends at 0.
    const SSample narrow = sample_of_family(0.01, 1000, 7);
    EXPECT_NEAR(estimate_as(CLUSTER, narrow), 0.01, 0.001);
    EXPECT_EQ(estimate_as(GIRDLE, narrow), 0.0);
    EXPECT_EQ(estimate_as(INTERMEDIATE, narrow), 0.0);
}

TEST(EstimationBeta, IsZeroForAnEmptySample) {
    const SEstimate found = estimate({});
    EXPECT_EQ(found.beta, 0.0);
    EXPECT_EQ(found.type, GIRDLE);
}

TEST(EstimationBeta, SurvivesAnglesWithoutATangent) {
    SSample onTheAxis;
    onTheAxis.Add(0.0, 0.0);
    onTheAxis.Add(0.0, 0.0);
    EXPECT_EQ(estimate_as(CLUSTER, onTheAxis), 0.0);
    SSample acrossTheAxis;
    acrossTheAxis.Add(PI / 2, 0.0);
    EXPECT_GE(estimate_as(CLUSTER, acrossTheAxis), 0.0);
}

TEST(EstimationBeta, IsNeverNegative) {
    // With the type of a cluster that is none, the iteration may end at the negative root.
    std::mt19937_64 random(8);
    std::uniform_real_distribution<double> angle(0.0, PI);
    for (int i = 0; i < 500; ++i) {
        SSample sample;
        for (int j = 0; j < 3; ++j) {
            sample.Add(angle(random), angle(random));
        }
        for (const EType type : {GIRDLE, CLUSTER}) {
            EXPECT_GE(estimate_as(type, sample), 0.0);
        }
    }
}

TEST(BetaEquation, HasItsDerivative) {
    const std::vector<double> cos2{0.1, 0.5, 0.9};
    const std::vector<double> sin2{0.9, 0.5, 0.1};
    for (const double beta : {0.2, 1.0, 4.0}) {
        const double h = 1e-6;
        const double slope = (Impl::BetaEquation(beta + h, {cos2, sin2}).value -
                              Impl::BetaEquation(beta - h, {cos2, sin2}).value) /
                             (2.0 * h);
        EXPECT_NEAR(Impl::BetaEquation(beta, {cos2, sin2}).derivative, slope, 1e-8);
    }
}

TEST(SolveBetaEquation, EndsAfterOneStepAtTheRoot) {
    const Impl::SBetaRoot root = solve(1.0, {0.25, 0.25}, {0.5, 0.5});
    EXPECT_EQ(root.beta, 1.0);
    EXPECT_EQ(root.steps, 1);
}

TEST(SolveBetaEquation, MayFindTheNegativeRoot) {
    // The first step from 1 leads to -1/9.
    const std::vector<double> cos2{0.75};
    const std::vector<double> sin2{0.25};
    const Impl::SBetaRoot root = solve(1.0, cos2, sin2);
    EXPECT_NEAR(root.beta, -std::sqrt(1.0 / 6.0), 1e-12);
    SSample sample;
    sample.Add(PI / 6, 0.0);
    EXPECT_NEAR(estimate_as(GIRDLE, sample), std::sqrt(1.0 / 6.0), 1e-12);
}

TEST(SolveBetaEquation, StopsAfter999Steps) {
    // Steps from 1 to -1 and back for ever: value / derivative is exactly +-2 there.
    const Impl::SBetaRoot root = solve(1.0, {0.25}, {0.125});
    EXPECT_EQ(root.steps, 999);
    EXPECT_EQ(root.beta, -1.0);
}

TEST(SolveBetaEquation, EndsAtZeroWhereTheDerivativeVanishes) {
    const Impl::SBetaRoot root = solve(1.0, {1.0}, {0.0});
    EXPECT_EQ(root.beta, 0.0);
    EXPECT_EQ(root.steps, 2);
}

TEST(PrincipalAxis, ClassifiesAtTheThresholds) {
    EXPECT_EQ(type_of_shares(50, 29, 21), CLUSTER);
    EXPECT_EQ(type_of_shares(39, 35, 26), INTERMEDIATE);
    EXPECT_EQ(type_of_shares(36, 34, 30), GIRDLE);
    // e1 < 0.3
    EXPECT_EQ(type_of_shares(5000, 2999, 2001), CLUSTER);
    EXPECT_EQ(type_of_shares(5000, 3000, 2000), GIRDLE);
    EXPECT_EQ(type_of_shares(4001, 3000, 2999), INTERMEDIATE);
    EXPECT_EQ(type_of_shares(4002, 2999, 2999), CLUSTER);
    // |e1 + e2 - 0.6| < 0.02
    EXPECT_EQ(type_of_shares(3801, 3200, 2999), INTERMEDIATE);
    EXPECT_EQ(type_of_shares(3799, 3201, 3000), GIRDLE);
    EXPECT_EQ(type_of_shares(4199, 3101, 2700), INTERMEDIATE);
    EXPECT_EQ(type_of_shares(4201, 3100, 2699), GIRDLE);
}

TEST(PrincipalAxis, DoesNotDependOnTheOrderOfTheAxes) {
    for (const auto& shares : {std::array<int, 3>{50, 29, 21}, {29, 50, 21}, {21, 29, 50}}) {
        EXPECT_EQ(estimate(along_axes(shares[0], shares[1], shares[2])).type, CLUSTER);
    }
    for (const auto& shares : {std::array<int, 3>{39, 35, 26}, {26, 39, 35}, {35, 26, 39}}) {
        EXPECT_EQ(estimate(along_axes(shares[0], shares[1], shares[2])).type, INTERMEDIATE);
    }
}

TEST(PrincipalAxis, BelongsToTheEigenvalueOfTheType) {
    // Shares 3 of x, 2 of y, 1 of z.
    const std::vector<double> x{1, 1, 1, 0, 0, 0};
    const std::vector<double> y{0, 0, 0, 1, 1, 0};
    const std::vector<double> z{0, 0, 0, 0, 0, 1};
    const auto axis = [&](EType type) { return CTestAccess::PrincipalAxis(x, y, z, type, true).axis; };
    EXPECT_NEAR(std::abs(axis(CLUSTER)[0]), 1.0, 1e-12);
    EXPECT_NEAR(std::abs(axis(INTERMEDIATE)[1]), 1.0, 1e-12);
    EXPECT_NEAR(std::abs(axis(GIRDLE)[2]), 1.0, 1e-12);
}

TEST(PrincipalAxis, IsNotWrittenForAnUnknownType) {
    const auto result = CTestAccess::PrincipalAxis({1.0}, {0.0}, {0.0}, static_cast<EType>(3), true);
    EXPECT_EQ(result.axis, (std::array<double, 3>{9.0, 9.0, 9.0}));
}

TEST(PrincipalAxis, FindsTheAxisOfATiltedCluster) {
    const std::array<double, 3> truth{0.48, -0.6, 0.64};
    std::mt19937_64 random(9);
    std::normal_distribution<double> noise(0.0, 0.05);
    std::vector<double> x;
    std::vector<double> y;
    std::vector<double> z;
    for (int i = 0; i < 20000; ++i) {
        const std::array<double, 3> v{truth[0] + noise(random), truth[1] + noise(random),
                                      truth[2] + noise(random)};
        const double length = std::hypot(v[0], v[1], v[2]);
        x.push_back(v[0] / length);
        y.push_back(v[1] / length);
        z.push_back(v[2] / length);
    }
    const auto result = CTestAccess::PrincipalAxis(x, y, z, GIRDLE, false);
    EXPECT_EQ(result.type, CLUSTER);
    const double cosine = result.axis[0] * truth[0] + result.axis[1] * truth[1] + result.axis[2] * truth[2];
    EXPECT_GT(std::abs(cosine), 0.99999);
}

TEST(PrincipalAxis, GivesTiesToTheLowerIndex) {
    EXPECT_EQ(CTestAccess::IndexOfSmallest(1, 1, 1), 0);
    EXPECT_EQ(CTestAccess::IndexOfSmallest(2, 1, 1), 1);
    EXPECT_EQ(CTestAccess::IndexOfSmallest(2, 3, 1), 2);
    EXPECT_EQ(CTestAccess::IndexOfLargest(1, 1, 1), 0);
    EXPECT_EQ(CTestAccess::IndexOfLargest(1, 2, 2), 1);
    EXPECT_EQ(CTestAccess::IndexOfLargest(1, 2, 3), 2);
}

TEST(BetaTest, AgreesWithTheEstimateFromLists) {
    const CSize size(10, 8, 6);
    const SSample sample = sample_of_family(0.5, 480, 10);
    const auto at = [](long long x, long long y, long long z) {
        return static_cast<std::size_t>((z * 8 + y) * 10 + x);
    };
    const auto theta = test::MakeImage<float>(IMAGE_GREY_F, size, [&](long long x, long long y, long long z) {
        return at(x, y, z) % 3 == 0 ? -1.0 : sample.theta[at(x, y, z)];
    });
    const auto phi = test::MakeImage<float>(
        IMAGE_GREY_F, size, [&](long long x, long long y, long long z) { return sample.phi[at(x, y, z)]; });
    SSample kept; // in the order of the operation: x outermost, z innermost
    for (long long x = 0; x < 10; ++x) {
        for (long long y = 0; y < 8; ++y) {
            for (long long z = 0; z < 6; ++z) {
                if (at(x, y, z) % 3 != 0) {
                    kept.Add(static_cast<double>(static_cast<float>(sample.theta[at(x, y, z)])),
                             static_cast<double>(static_cast<float>(sample.phi[at(x, y, z)])));
                }
            }
        }
    }
    EType type = INTERMEDIATE;
    const double beta = CEstimationBeta(nullptr, nullptr).testbeta(theta.get(), phi.get(), &type, false);
    const SEstimate expected = estimate(kept);
    EXPECT_EQ(beta, expected.beta);
    EXPECT_EQ(type, expected.type);
}

TEST(BetaTest, SkipsNothingButTheMarker) {
    // -0.5 and 0 are angles here; a pixel one float away from -1 is one, too.
    const auto image = [](std::vector<float> values) {
        const CSize size(static_cast<long long>(values.size()), 1, 1);
        return test::MakeImage<float>(IMAGE_GREY_F, size, [&values](long long x, long long, long long) {
            return values[static_cast<std::size_t>(x)];
        });
    };
    const auto theta = image({-1.0F, -0.5F, 0.0F, std::nextafter(-1.0F, 0.0F), 0.7F});
    const auto phi = image({9.0F, 0.1F, 0.2F, 0.3F, 0.4F});
    SSample kept;
    kept.Add(-0.5, 0.1);
    kept.Add(0.0, 0.2);
    kept.Add(static_cast<double>(std::nextafter(-1.0F, 0.0F)), 0.3);
    kept.Add(static_cast<double>(0.7F), 0.4);
    EType type = CLUSTER;
    EXPECT_EQ(CEstimationBeta(nullptr, nullptr).testbeta(theta.get(), phi.get(), &type, true),
              estimate_as(CLUSTER, kept));
}

TEST(BetaTest, RunsOnNothingWhereEveryVoxelIsMarked) {
    const auto theta = test::MakeImage<float>(IMAGE_GREY_F, CSize(3, 3, 3),
                                              [](long long, long long, long long) { return -1.0F; });
    EType type = CLUSTER;
    EXPECT_EQ(CEstimationBeta(nullptr, nullptr).testbeta(theta.get(), theta.get(), &type, false), 0.0);
    EXPECT_EQ(type, GIRDLE);
}

TEST(BetaTest, ReadsPlanarImages) {
    const auto theta =
        test::MakeImage<float>(IMAGE_GREY_F, CSize(3, 2), [](long long x, long long y, long long) {
            return 0.3F + 0.1F * static_cast<float>(x + 3 * y);
        });
    SSample sample;
    for (int x = 0; x < 3; ++x) {
        for (int y = 0; y < 2; ++y) {
            const float t = 0.3F + 0.1F * static_cast<float>(x + 3 * y);
            sample.Add(static_cast<double>(t), static_cast<double>(t));
        }
    }
    EType type = GIRDLE;
    EXPECT_EQ(CEstimationBeta(nullptr, nullptr).testbeta(theta.get(), theta.get(), &type, true),
              estimate_as(GIRDLE, sample));
}

TEST(BetaTest, ReadsEightBitImagesAsWholeNumbers) {
    const auto bytes = test::MakeImage<unsigned char>(IMAGE_GREY_8, CSize(4, 1, 1),
                                                      [](long long x, long long, long long) { return x; });
    SSample sample;
    for (const double value : {0.0, 1.0, 2.0, 3.0}) {
        sample.Add(value, value);
    }
    EType type = GIRDLE;
    EXPECT_EQ(CEstimationBeta(nullptr, nullptr).testbeta(bytes.get(), bytes.get(), &type, true),
              estimate_as(GIRDLE, sample));
}

TEST(BetaTest, RefusesOtherPixelTypes) {
    CImage words(IMAGE_GREY_16, CSize(2, 2, 2), CSize(0, 0, 0));
    CImage floats(IMAGE_GREY_F, CSize(2, 2, 2), CSize(0, 0, 0));
    EType type = GIRDLE;
    const test::SThrown refusal{"Implmented for FLOAT-data, only.", "TEVRA::CEstimationBeta::readPixel",
                                "src/FilterOrientations/EstimationBeta", 200};
    CEstimationBeta estimation(nullptr, nullptr);
    test::ExpectThrown([&] { estimation.testbeta(&words, &floats, &type, false); }, refusal);
    test::ExpectThrown([&] { estimation.testbeta(&floats, &words, &type, false); }, refusal);
}

TEST(EstimationBeta, CopiesAsTheAlgorithmItIs) {
    const CEstimationBeta original("original", nullptr);
    CEstimationBeta copy(original);
    EXPECT_EQ(copy.Instance(), "original");
    copy = CEstimationBeta("other", nullptr);
    EXPECT_EQ(copy.Instance(), "other");
}

} // namespace TEVRA
