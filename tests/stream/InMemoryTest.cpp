// SPDX-License-Identifier: BSD-3-Clause
// The classes for images in memory against the analysis slice by slice.
#include "stream/Streamed.h"

#include "FilterOrientations/LineVotingOrientations.h"
#include "FilterOrientations/StructureTensorOrientations.h"
#include "stream/SliceSink.h"
#include "support/MakeImage.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace TEVRA;
using namespace TEVRA::test;

namespace {

struct SFound {
    std::vector<float> theta, phi, confidence;
    std::optional<double> threshold;

    bool operator==(const SFound&) const = default;
};

template <typename MapT>
std::vector<float> copy_of(const MapT& map) {
    return {map.begin(), map.end()};
}

SFound streamed(const SCase& task) {
    const auto image = ReaderOf(task.image);
    const auto mask = task.mask != nullptr ? ReaderOf(*task.mask) : nullptr;
    const auto alone = stream::SingleProcess();
    stream::CMapsInMemory maps(task.image.Size(), stream::CMapsInMemory::EMaps::anglesAndConfidence);
    stream::CStreamingAnalysis analysis({*image, mask.get(), std::nullopt, task.estimator}, task.parameters,
                                        {2, PLENTY, "/tmp"}, *alone, &maps);
    const stream::SStreamResult result = analysis.Run();
    return {copy_of(maps.Theta()), copy_of(maps.Phi()), copy_of(maps.Confidence()),
            result.analysis.threshold};
}

SFound found_by(const CLocalTensorOrientations& estimator, bool hasThreshold) {
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    const IImage* confidence = nullptr;
    estimator.get(theta, phi);
    estimator.GetConfidence(confidence);
    const auto pixels = [](const IImage* map) {
        return map != nullptr ? PixelsOf<float>(dynamic_cast<const CImage&>(*map)) : std::vector<float>();
    };
    return {pixels(theta), pixels(phi), pixels(confidence),
            hasThreshold ? std::optional(estimator.Threshold()) : std::nullopt};
}

/// By the library, on as many threads. @param mask BINARY_FG.
SFound in_memory(const SCase& task, int threads) {
    stream::CWorkers workers(threads);
    const auto compute = [&](auto estimator, auto options) {
        options.contrast = task.parameters.contrast;
        estimator.LendThreads(&workers);
        estimator.compute(task.image, task.parameters.fiberRadius, task.mask, options);
        return found_by(estimator, task.mask == nullptr);
    };
    return task.estimator == &stream::LINE_VOTING
               ? compute(CLineVotingOrientations(), SLineVotingOptions())
               : compute(CStructureTensorOrientations(), SStructureTensorOptions());
}

void expect_the_same(const CImage& image, const CImage* mask, Impl::EFiberContrast contrast) {
    for (const stream::SEstimator* const estimator : {&stream::LINE_VOTING, &stream::STRUCTURE_TENSOR}) {
        SCOPED_TRACE(estimator->name);
        SCase task{image, mask, {}, estimator};
        task.parameters.fiberRadius = 2.3;
        task.parameters.contrast = contrast;
        const SFound expected = streamed(task);
        EXPECT_GT(std::count_if(expected.theta.begin(), expected.theta.end(),
                                [](float angle) { return angle >= 0.0F; }),
                  500);
        for (const int threads : {1, 2, 3}) {
            const SFound found = in_memory(task, threads);
            EXPECT_EQ(found.threshold, expected.threshold);
            EXPECT_TRUE(found == expected) << threads << " threads";
        }
    }
}

TEST(LocalTensorsInMemory, AreThoseOfTheAnalysisSliceBySliceToTheLastBit) {
    const auto volume = FiberImage(CSize(61, 80, 47));
    const auto mask = BlobMask(volume->Size());
    expect_the_same(*volume, nullptr, Impl::EFiberContrast::bright);
    expect_the_same(*volume, nullptr, Impl::EFiberContrast::dark);
    expect_the_same(*volume, mask.get(), Impl::EFiberContrast::bright);
    expect_the_same(*FiberImage(CSize(120, 90)), nullptr, Impl::EFiberContrast::bright);
}

TEST(LocalTensorsInMemory, AreThoseOfTheAnalysisSliceBySliceForAnyGreyType) {
    const CSize size(50, 40, 30);
    const auto bytes = FiberImage(size);
    const auto value = [&](long long x, long long y, long long z) {
        return 157.0 * bytes->Pixels<unsigned char>()[(z * size[1] + y) * size[0] + x];
    };
    const auto words = MakeImage<unsigned short>(IMAGE_GREY_16, size, value);
    const auto floats = MakeImage<float>(IMAGE_GREY_F, size, [&](auto x, auto y, auto z) {
        return (x * y * z) % 997 == 5 ? std::nan("") : x == 20 && y == 21 ? 1.0 / 0.0 : value(x, y, z) / 7.0;
    });
    for (const Impl::EFiberContrast contrast : {Impl::EFiberContrast::bright, Impl::EFiberContrast::dark}) {
        expect_the_same(*words, nullptr, contrast);
        expect_the_same(*floats, nullptr, contrast);
    }
}

} // namespace
