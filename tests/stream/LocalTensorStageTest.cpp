// SPDX-License-Identifier: BSD-3-Clause
// Line voting and the structure tensor as estimators of the analysis slice by slice.
#include "stream/RankThreads.h"
#include "stream/Streamed.h"

#include "phantom/SeparateFibers.h"
#include "stream/Failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

using namespace TEVRA;
using namespace TEVRA::test;

namespace {

Impl::SAnalysisRequest parameters_of(double radius) {
    Impl::SAnalysisRequest parameters;
    parameters.fiberRadius = radius;
    return parameters;
}

class LocalTensorStage : public testing::TestWithParam<const stream::SEstimator*> {};

TEST_P(LocalTensorStage, GivesTheSameForAnyThreadsMemoryAndProcesses) {
    const auto image = FiberImage(CSize(61, 130, 47));
    const auto mask = BlobMask(image->Size());
    const stream::SEstimator& estimator = *GetParam();
    Impl::SAnalysisRequest parameters = parameters_of(2.0);
    parameters.subfieldPx = {15, 16, 9};
    for (const CImage* const foreground :
         {static_cast<const CImage*>(nullptr), static_cast<const CImage*>(mask.get())}) {
        const SCase task{*image, foreground, parameters, &estimator};
        const SAnswer one = Streamed(task, {1, PLENTY, "/tmp"});
        EXPECT_GT(one.foregroundPixels, 1000);
        ExpectIdenticalAnswer(Streamed(task, {2, PLENTY, "/tmp"}), one);
        ExpectIdenticalAnswer(Streamed(task, {3, PLENTY, "/tmp"}), one);
        const std::size_t least = LeastMemory(task, 2);
        for (const std::size_t memory : {one.plan.peakBytes - (std::size_t{1} << 20), least}) {
            const SAnswer narrow = Streamed(task, {2, memory, testing::TempDir()});
            EXPECT_EQ(narrow.plan.scratchKind, stream::SScratchPlace::EKind::file);
            ExpectIdenticalAnswer(narrow, one);
        }
        for (const int ranks : {2, 3, 4, 47}) {
            SCOPED_TRACE(std::to_string(ranks) + " processes");
            ExpectIdenticalAnswer(StreamedByRanks(task, ranks), one);
        }
    }
}

/// Means and shares by another road: from the maps, pixel by pixel.
void expect_confidence_of_maps(const SAnswer& answer, const CSize& size, const Impl::SFieldResult& field,
                               bool hasDoubtful) {
    double sum = 0.0;
    double axes = 0.0;
    double doubtful = 0.0;
    const CPos& lower = field.box.Point0();
    const CPos& upper = field.box.Point1();
    for (long long z = size.Dim() == 3 ? lower[2] : 0; z < (size.Dim() == 3 ? upper[2] : 1); ++z) {
        for (long long y = lower[1]; y < upper[1]; ++y) {
            for (long long x = lower[0]; x < upper[0]; ++x) {
                const auto at = static_cast<std::size_t>((z * size[1] + y) * size[0] + x);
                if (answer.theta[at] >= 0.0F) {
                    sum += static_cast<double>(answer.confidence[at]);
                    doubtful += answer.confidence[at] < 0.5F ? 1.0 : 0.0;
                    ++axes;
                }
            }
        }
    }
    ASSERT_EQ(static_cast<double>(field.foregroundPixels), axes);
    ASSERT_EQ(field.meanConfidence.has_value(), axes > 0.0);
    ASSERT_EQ(field.doubtfulFraction.has_value(), axes > 0.0 && hasDoubtful);
    if (axes > 0.0) {
        EXPECT_NEAR(*field.meanConfidence, sum / axes, 1e-7);
    }
    if (axes > 0.0 && hasDoubtful) {
        EXPECT_EQ(*field.doubtfulFraction, doubtful / axes);
    }
}

TEST_P(LocalTensorStage, SaysHowSureAxesAreOfEveryField) {
    const stream::SEstimator& estimator = *GetParam();
    for (const CSize& size : {CSize(120, 90), CSize(50, 44, 38)}) {
        const auto image = FiberImage(size);
        Impl::SAnalysisRequest parameters = parameters_of(2.0);
        parameters.subfieldPx = {7, 6, size.Dim() == 3 ? 5 : -1};
        const SAnswer answer = Streamed({*image, nullptr, parameters, &estimator});
        const bool hasDoubtful = &estimator == &stream::LINE_VOTING;
        expect_confidence_of_maps(answer, size, answer.field, hasDoubtful);
        EXPECT_GT(*answer.field.meanConfidence, 0.05);
        EXPECT_LT(*answer.field.meanConfidence, 0.99);
        for (const Impl::SFieldResult& subfield : answer.subfields) {
            expect_confidence_of_maps(answer, size, subfield, hasDoubtful);
        }
        for (std::size_t at = 0; at < answer.theta.size(); ++at) {
            ASSERT_GE(answer.confidence[at], 0.0F);
            ASSERT_LE(answer.confidence[at], answer.theta[at] < 0.0F ? 0.0F : 1.0F) << at;
        }
    }
}

TEST(Hessian, KnowsNoConfidence) {
    const auto image = FiberImage(CSize(40, 36, 30));
    SCase task{*image};
    task.parameters.fiberRadius = 2.0;
    task.parameters.subfieldPx = {8, 8, 8};
    const SAnswer answer = Streamed(task);
    EXPECT_EQ(answer.field.meanConfidence, std::nullopt);
    EXPECT_EQ(answer.subfields.front().meanConfidence, std::nullopt);
    EXPECT_EQ(answer.subfields.front().doubtfulFraction, std::nullopt);
}

TEST_P(LocalTensorStage, FindsAxesInAPlane) {
    const auto image = FiberImage(CSize(120, 90));
    const stream::SEstimator& estimator = *GetParam();
    const SCase task{*image, nullptr, parameters_of(2.5), &estimator};
    const SAnswer one = Streamed(task, {1, PLENTY, "/tmp"});
    EXPECT_GT(one.foregroundPixels, 100);
    for (const int threads : {1, 2, 3}) {
        ExpectIdenticalAnswer(Streamed(task, {threads, PLENTY, "/tmp"}), one);
        const std::size_t least = LeastMemory(task, threads);
        ExpectIdenticalAnswer(Streamed(task, {threads, least, testing::TempDir()}), one);
        try {
            Streamed(task, {threads, least - 1, testing::TempDir()});
            ADD_FAILURE() << "in less than the least";
        } catch (const stream::CMemoryLimitError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr("needs " + stream::BytesText(least)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Estimators, LocalTensorStage,
                         testing::Values(&stream::LINE_VOTING, &stream::STRUCTURE_TENSOR),
                         [](const auto& one) {
                             return std::string(one.param == &stream::LINE_VOTING ? "LineVoting"
                                                                                  : "StructureTensor");
                         });

std::array<double, 3> axis_of(double theta, double phi) {
    return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

/// Mean error in degrees of the axes of pixels that are fiber, away from the image's edges.
double mean_error(const SAnswer& answer, const phantom::SPhantom& truth, long long border) {
    const CSize& size = truth.image->Size();
    const float* const theta = truth.theta->Pixels<float>();
    const float* const phi = truth.phi->Pixels<float>();
    double sum = 0.0;
    double count = 0.0;
    for (long long z = border; z < size[2] - border; ++z) {
        for (long long y = border; y < size[1] - border; ++y) {
            for (long long x = border; x < size[0] - border; ++x) {
                const auto at = static_cast<std::size_t>((z * size[1] + y) * size[0] + x);
                if (answer.theta[at] < 0.0F || theta[at] < 0.0F) {
                    continue;
                }
                const auto found = axis_of(answer.theta[at], answer.phi[at]);
                const auto right = axis_of(theta[at], phi[at]);
                const double cosine = found[0] * right[0] + found[1] * right[1] + found[2] * right[2];
                sum += std::acos(std::min(std::abs(cosine), 1.0)) * 180.0 / std::numbers::pi;
                ++count;
            }
        }
    }
    return sum / count;
}

TEST(LineVoting, ErrsByTwoDegreesWhereTheHessianErrsByTen) {
    phantom::SSeparateOptions options;
    options.sizePx = CSize(72, 72, 72);
    options.fiberRadius = 3.0;
    options.places = phantom::SScatteredFibers{0.2, 0.0};
    options.blurSigma = 0.5;
    options.noiseSd = 10.0;
    const phantom::SPhantom phantom = MakeSeparatePhantom(options);
    const auto error_of = [&](const stream::SEstimator& estimator) {
        const SCase task{*phantom.image, nullptr, parameters_of(3.0), &estimator};
        return mean_error(Streamed(task), phantom, 6);
    };
    EXPECT_LT(error_of(stream::LINE_VOTING), 2.0);
    EXPECT_LT(error_of(stream::LINE_VOTING), 0.5 * error_of(stream::STRUCTURE_TENSOR));
    EXPECT_GT(error_of(stream::HESSIAN), 10.0);
}

} // namespace
