// SPDX-License-Identifier: BSD-3-Clause
#include "stream/Streamed.h"

#include "zeklib2core/Exception.h"

#include <gmock/gmock.h>

using namespace TEVRA;
using namespace TEVRA::test;

namespace {

Impl::SAnalysisRequest parameters_of(double radius, std::array<long long, 3> subfield = {-1, -1, -1}) {
    Impl::SAnalysisRequest parameters;
    parameters.fiberRadius = radius;
    parameters.subfieldPx = subfield;
    parameters.otsuFactor = 0.95; // foreground in every small image
    return parameters;
}

void expect_same_as_library(const SCase& task) {
    ExpectSameAnswer(Streamed(task), InMemory(task));
}

TEST(SameAnswerAsTheLibrary, OfAVolume) {
    const auto image = FiberImage(CSize(40, 37, 33));
    expect_same_as_library({*image, nullptr, parameters_of(3.0)});
}

TEST(SameAnswerAsTheLibrary, OfAVolumeInSubfieldsWithFourthOrder) {
    const auto image = FiberImage(CSize(45, 38, 31));
    Impl::SAnalysisRequest parameters = parameters_of(2.6, {9, 10, 8});
    parameters.withFourthOrder = true;
    expect_same_as_library({*image, nullptr, parameters});
}

TEST(SameAnswerAsTheLibrary, OfAVolumeWithAMask) {
    const auto image = FiberImage(CSize(33, 34, 35));
    const auto mask = BlobMask(image->Size());
    expect_same_as_library({*image, mask.get(), parameters_of(3.0, {12, 12, 12})});
}

TEST(SameAnswerAsTheLibrary, OfAPlaneImage) {
    const auto image = FiberImage(CSize(97, 83));
    Impl::SAnalysisRequest parameters = parameters_of(3.0, {20, 25, -1});
    parameters.withFourthOrder = true;
    expect_same_as_library({*image, nullptr, parameters});
}

TEST(SameAnswerAsTheLibrary, OfAPlaneImageWithAMask) {
    const auto image = FiberImage(CSize(61, 73));
    const auto mask = BlobMask(image->Size());
    expect_same_as_library({*image, mask.get(), parameters_of(3.0)});
}

TEST(SameAnswerAsTheLibrary, WithTheSampledKernelOfThinFibers) {
    const auto image = FiberImage(CSize(29, 31, 37));
    for (const double radius : {0.3, 0.6, 1.0, 1.7, 2.4}) {
        SCOPED_TRACE(radius);
        expect_same_as_library({*image, nullptr, parameters_of(radius, {7, 7, 7})});
    }
    const auto plane = FiberImage(CSize(50, 41));
    expect_same_as_library({*plane, nullptr, parameters_of(1.3)});
}

TEST(SameAnswerAsTheLibrary, OfImagesSmallerThanTheReachOfTheFilter) {
    const auto image = FiberImage(CSize(13, 11, 12));
    expect_same_as_library({*image, nullptr, parameters_of(4.6)});
    expect_same_as_library({*image, nullptr, parameters_of(2.0)});
    const auto plane = FiberImage(CSize(11, 13));
    expect_same_as_library({*plane, nullptr, parameters_of(4.6)});
}

TEST(SameAnswerAsTheLibrary, OfOneSliceAndOfThinSlabs) {
    for (const long long depth : {2, 3, 4, 5}) {
        SCOPED_TRACE(depth);
        const auto image = FiberImage(CSize(23, 19, depth));
        expect_same_as_library({*image, nullptr, parameters_of(0.45)});
    }
    // The last slice counts for no tile, the only one neither.
    const auto slice = FiberImage(CSize(23, 19, 1));
    const SCase task{*slice, nullptr, parameters_of(0.45)};
    EXPECT_THROW(Streamed(task), stream::CNoForegroundError);
    EXPECT_THROW(InMemory(task), CException);
}

TEST(SameAnswerAsTheLibrary, OfPhysicalLengths) {
    const auto image = FiberImage(CSize(36, 32, 30));
    Impl::SAnalysisRequest parameters = parameters_of(0.0075, {10, 10, 10});
    parameters.spacing = {0.0025, 0.0025, 0.0025};
    expect_same_as_library({*image, nullptr, parameters});
}

TEST(SameAnswerAsTheLibrary, OfSizesThatNothingDivides) {
    for (const long long extent : {17, 23, 31, 67}) {
        SCOPED_TRACE(extent);
        const auto image = FiberImage(CSize(extent, 29, 19));
        expect_same_as_library({*image, nullptr, parameters_of(2.7, {7, 6, 8})});
        const auto tall = FiberImage(CSize(19, 29, extent));
        expect_same_as_library({*tall, nullptr, parameters_of(2.7, {7, 6, 8})});
    }
}

TEST(SameAnswerAsTheLibrary, WithoutABorder) {
    // A radius below half a pixel leaves no border: the last column, row and slice count for no tile.
    const auto image = FiberImage(CSize(16, 15, 14));
    expect_same_as_library({*image, nullptr, parameters_of(0.4, {4, 5, 7})});
}

} // namespace
