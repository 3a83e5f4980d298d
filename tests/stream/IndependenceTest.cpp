// SPDX-License-Identifier: BSD-3-Clause
// What the answer does not depend on: threads, memory, processes.
#include "stream/RankThreads.h"
#include "stream/Streamed.h"

#include "stream/ScratchStore.h"

#include <gmock/gmock.h>

using namespace TEVRA;
using namespace TEVRA::test;

namespace {

Impl::SAnalysisRequest parameters_of(double radius) {
    Impl::SAnalysisRequest parameters;
    parameters.fiberRadius = radius;
    parameters.subfieldPx = {11, 12, 9};
    parameters.otsuFactor = 0.95;
    parameters.withFourthOrder = true;
    return parameters;
}

constexpr std::array<double, 2> RADII{1.5, 3.0}; // sampled and recursive

TEST(TheAnswerDoesNotDependOn, TheNumberOfThreads) {
    const auto image = FiberImage(CSize(53, 150, 37));
    for (const double radius : RADII) {
        const SCase task{*image, nullptr, parameters_of(radius)};
        const SAnswer one = Streamed(task, {1, PLENTY, "/tmp"});
        for (const int threads : {2, 3, 7, 64}) {
            SCOPED_TRACE(threads);
            ExpectIdenticalAnswer(Streamed(task, {threads, PLENTY, "/tmp"}), one);
        }
    }
}

TEST(TheAnswerDoesNotDependOn, TheMemory) {
    const auto image = FiberImage(CSize(200, 210, 90));
    const auto mask = BlobMask(image->Size());
    const std::size_t little = std::size_t{44} << 20;
    for (const double radius : RADII) {
        for (CImage* const foreground : {static_cast<CImage*>(nullptr), mask.get()}) {
            Impl::SAnalysisRequest parameters = parameters_of(radius);
            parameters.subfieldPx = {50, 60, 30};
            const SCase task{*image, foreground, parameters};
            const SAnswer roomy = Streamed(task, {2, PLENTY, "/tmp"});
            const SAnswer narrow = Streamed(task, {2, little, testing::TempDir()});
            EXPECT_EQ(roomy.plan.scratchKind, stream::SScratchPlace::EKind::memory);
            EXPECT_EQ(narrow.plan.scratchKind, stream::SScratchPlace::EKind::file);
            ExpectIdenticalAnswer(narrow, roomy);
        }
    }
}

TEST(TheAnswerDoesNotDependOn, TheNumberOfProcesses) {
    const auto image = FiberImage(CSize(70, 77, 41));
    const auto mask = BlobMask(image->Size());
    for (const double radius : RADII) {
        for (CImage* const foreground : {static_cast<CImage*>(nullptr), mask.get()}) {
            const SCase task{*image, foreground, parameters_of(radius)};
            const SAnswer alone = Streamed(task);
            for (const int ranks : {2, 3, 4, 5, 41}) {
                SCOPED_TRACE(std::to_string(ranks) + " processes, radius " + std::to_string(radius));
                ExpectIdenticalAnswer(StreamedByRanks(task, ranks), alone);
            }
        }
    }
}

} // namespace
