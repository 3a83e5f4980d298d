// SPDX-License-Identifier: BSD-3-Clause
// Line voting and the structure tensor as classes for images in memory.
#include "Comparison.h"

#include "FilterOrientations/LineVotingOrientations.h"
#include "FilterOrientations/StructureTensorOrientations.h"
#include "Numeric/Matrix.h"
#include "src/Naive.h"
#include "support/MakeImage.h"
#include "support/RecordingMonitor.h"
#include "support/StridedImage.h"
#include "support/TaskRunners.h"
#include "support/ThrownException.h"
#include "zeklib2core/ValueVector.h"
#include "zeklib2image/HeaderTools.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

namespace {

using namespace TEVRA;
using namespace TEVRA::test;

constexpr std::array<double, 3> CUBES{1.0, 1.0, 1.0};

std::unique_ptr<CImage> full_mask(const CSize& size) {
    return MakeImage<unsigned char>(IMAGE_BINARY_FG, size, [](auto, auto, auto) { return 1; });
}

SMaps votes_of(const IImage& image, double radius, const IImage* mask = nullptr,
               const SLineVotingOptions& options = {}) {
    CLineVotingOrientations estimator;
    estimator.compute(image, radius, mask, options);
    return MapsOf(estimator);
}

TEST(LineVotingInMemory, GivesThePlainAxesOfAVolumeInThickSlices) {
    const SPlainImage image = Fibers({40, 37, 17}, 0.15, {0.05, 0.05, 0.1}, 5);
    const auto pixels = FloatImage(image);
    CVexoHeaderTools::SetSpacing(*pixels, 0.05, 0.05, 0.1);
    const auto mask = full_mask(pixels->Size());
    const SMaps maps = votes_of(*pixels, 0.15, mask.get());
    const SPlainScales plain{EPlainKind::lineVoting, {0.05, 0.05, 0.1}, 0.075, 0.105, 0.15};
    ExpectPlainAxes(maps, PlainAxes(image, plain), 3, AtFibers(image));
    SLineVotingOptions cubes;
    cubes.spacing = {0.05, 0.05, 0.05};
    EXPECT_NE(votes_of(*pixels, 0.15, mask.get(), cubes), maps) << "what is given goes before the header";
}

TEST(LineVotingInMemory, GivesThePlainAxesOfAPlaneWithTheLengthAlongTheFiberThatItIsGiven) {
    const SPlainImage image = Fibers({90, 80, 1}, 3.0, CUBES, 5);
    const auto pixels = FloatImage(image);
    const auto mask = full_mask(pixels->Size());
    SLineVotingOptions options;
    options.along = 1.5;
    const SMaps maps = votes_of(*pixels, 3.0, mask.get(), options);
    ExpectPlainAxes(maps, PlainAxes(image, {EPlainKind::lineVoting, CUBES, 1.5, 2.1, 1.5}), 2,
                    AtFibers(image));
}

TEST(StructureTensorInMemory, GivesThePlainAxesWithTheLengthsThatItIsGiven) {
    const SPlainImage image = Fibers({40, 37, 33}, 3.0, CUBES, 5);
    const auto pixels = FloatImage(image);
    const auto mask = full_mask(pixels->Size());
    CStructureTensorOrientations estimator;
    estimator.compute(*pixels, 3.0, mask.get());
    ExpectPlainAxes(MapsOf(estimator), PlainAxes(image, {EPlainKind::structureTensor, CUBES, 1.0, 3.0, 0.0}),
                    3);
    SStructureTensorOptions options;
    options.gradientSigma = 1.4;
    options.windowSigma = 2.0;
    options.along = 2.5;
    estimator.compute(*pixels, 3.0, mask.get(), options);
    ExpectPlainAxes(MapsOf(estimator), PlainAxes(image, {EPlainKind::structureTensor, CUBES, 1.4, 2.0, 2.5}),
                    3);
}

TEST(LocalTensorsInMemory, AreLookedForInTheMaskAndMadeOfAllPixels) {
    const auto image = FloatImage(Fibers({40, 37, 33}, 3.0, CUBES, 5));
    const CSize& size = image->Size();
    const SMaps all = votes_of(*image, 3.0, full_mask(size).get());
    CStridedImage mask(IMAGE_BINARY_FG, size);
    mask.Fill<unsigned char>([](auto x, auto y, auto z) { return (x / 5 + y / 3 + z) % 3 == 0 ? 7 : 0; });
    const SMaps some = votes_of(*image, 3.0, &mask);
    std::size_t at = 0;
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x, ++at) {
                const bool isForeground = mask.At<unsigned char>(x, y, z) != 0;
                ASSERT_EQ(some.theta[at], isForeground ? all.theta[at] : -1.0F);
                ASSERT_EQ(some.phi[at], isForeground ? all.phi[at] : -4.1415925F);
                ASSERT_EQ(some.confidence[at], isForeground ? all.confidence[at] : 0.0F);
            }
        }
    }
    EXPECT_EQ(mask.OpenAccesses(), 0);
}

TEST(LocalTensorsInMemory, AreTheSameOnLentThreads) {
    CCrowd crowd;
    for (const std::array<long long, 3>& extents : {std::array<long long, 3>{33, 29, 40}, {130, 170, 1}}) {
        const auto image = FloatImage(Fibers(extents, 2.0, CUBES, 2));
        CLineVotingOrientations alone;
        CLineVotingOrientations lent;
        lent.LendThreads(&crowd);
        alone.compute(*image, 2.0);
        lent.compute(*image, 2.0);
        EXPECT_EQ(MapsOf(lent), MapsOf(alone));
        EXPECT_EQ(lent.Threshold(), alone.Threshold());
    }
}

TEST(LocalTensorsInMemory, OfDarkFibersAreThoseOfTheNegative) {
    const CSize size(50, 45, 20);
    const auto plain = Fibers({50, 45, 20}, 2.0, CUBES, 9);
    const auto grey = [&](long long x, long long y, long long z) {
        return std::round(std::clamp(plain.values[plain.Index(x, y, z)], 0.0, 255.0));
    };
    const auto bright = MakeImage<unsigned char>(IMAGE_GREY_8, size, grey);
    const auto dark = MakeImage<unsigned char>(IMAGE_GREY_8, size,
                                               [&](auto x, auto y, auto z) { return 255.0 - grey(x, y, z); });
    CLineVotingOrientations ofBright;
    CLineVotingOrientations ofDark;
    ofBright.compute(*bright, 2.0);
    SLineVotingOptions options;
    options.contrast = Impl::EFiberContrast::dark;
    ofDark.compute(*dark, 2.0, nullptr, options);
    EXPECT_EQ(MapsOf(ofDark), MapsOf(ofBright));
    EXPECT_EQ(ofDark.Threshold(), 255.0 - ofBright.Threshold());
}

TEST(LocalTensorsInMemory, TakePixelsWhereverTheyLieAndOfAnyGreyType) {
    const CSize size(40, 37, 21);
    const auto plain = Fibers({40, 37, 21}, 2.0, CUBES, 9);
    const auto grey = [&](long long x, long long y, long long z) {
        return std::round(std::clamp(plain.values[plain.Index(x, y, z)], 0.0, 255.0));
    };
    CStridedImage bytes(IMAGE_GREY_8, size);
    bytes.Fill<unsigned char>(grey);
    const SMaps maps = votes_of(bytes, 2.0);
    EXPECT_EQ(votes_of(*MakeImage<float>(IMAGE_GREY_F, size, grey), 2.0), maps);
    EXPECT_EQ(votes_of(*MakeImage<unsigned short>(IMAGE_GREY_16, size, grey), 2.0), maps);
    EXPECT_TRUE(bytes.GuardsIntact());
    EXPECT_EQ(bytes.OpenAccesses(), 0);
}

TEST(LocalTensorsInMemory, TakeValuesThatAreNoNumbersForTheDarkestAndInfiniteOnesForTheNearest) {
    SPlainImage plain = Fibers({40, 37, 21}, 2.0, CUBES, 9);
    const auto [lowest, highest] = std::minmax_element(plain.values.begin(), plain.values.end());
    const double lo = *lowest;
    const double hi = *highest;
    const auto set = [&](double nan, double infinite) {
        plain.values[plain.Index(7, 8, 9)] = nan;
        plain.values[plain.Index(20, 18, 10)] = infinite;
        return FloatImage(plain);
    };
    const SMaps expected = votes_of(*set(lo, hi), 2.0);
    EXPECT_EQ(
        votes_of(*set(std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()),
                 2.0),
        expected);
}

TEST(LocalTensorsInMemory, SumUpToTheTensorOfABox) {
    const auto image = FloatImage(Fibers({40, 37, 21}, 2.0, CUBES, 9));
    CLineVotingOrientations estimator;
    estimator.compute(*image, 2.0);
    const SMaps maps = MapsOf(estimator);
    const CBox box(30, 2, 3, 4, 36, 21);
    const SNaiveSums expected = NaiveSums({image->Size(), maps.theta, maps.phi}, box);
    ASSERT_GT(expected.count, 100);
    CMatrix<double> tensor(3, 3);
    CTensorRank4 tensor4(3, 3, 3, 3);
    EXPECT_EQ(estimator.OrientationTensor(tensor, box, true, &tensor4), expected.count);
    const auto count = static_cast<double>(expected.count);
    for (std::size_t at = 0; at < 9; ++at) {
        EXPECT_NEAR(tensor(at / 3, at % 3), expected.second[at] / count, 1e-12);
    }
    EXPECT_NEAR(tensor4(0, 1, 1, 2), expected.fourth[0 * 27 + 1 * 9 + 1 * 3 + 2] / count, 1e-12);
}

TEST(LocalTensorsInMemory, AreLentWithTheirValueRangesAndHandedOverOnce) {
    const auto image = FloatImage(Fibers({40, 37, 21}, 2.0, CUBES, 9));
    CLineVotingOrientations estimator;
    estimator.compute(*image, 2.0);
    const CLineVotingOrientations copy(estimator);
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    const IImage* confidence = nullptr;
    estimator.release(theta, phi);
    const std::unique_ptr<const IImage> ownedTheta(theta);
    const std::unique_ptr<const IImage> ownedPhi(phi);
    estimator.ReleaseConfidence(confidence);
    const std::unique_ptr<const IImage> ownedConfidence(confidence);
    const auto highest = [](const IImage& map) {
        return CVexoHeaderTools::GetMetaInfo(map, CVexoHeaderTools::c_sMetaMinMax.c_str())
            ->Vector()
            .Entry(1)
            ->Double();
    };
    EXPECT_EQ(highest(*theta), 3.141592653589793);
    EXPECT_EQ(highest(*phi), 3.141592653589793);
    EXPECT_EQ(highest(*confidence), 1.0);
    for (const CLocalTensorOrientations* const holder :
         {static_cast<const CLocalTensorOrientations*>(&estimator),
          static_cast<const CLocalTensorOrientations*>(&copy)}) {
        CMatrix<double> tensor(3, 3);
        EXPECT_EQ(MessageOf([&] { holder->get(theta, phi); }),
                  "There are no direction maps: call compute first.");
        EXPECT_EQ(MessageOf([&] { holder->get(theta); }), "There are no direction maps: call compute first.");
        EXPECT_EQ(MessageOf([&] { holder->GetConfidence(confidence); }),
                  "There is no confidence map: call compute first.");
        EXPECT_EQ(
            MessageOf([&] { holder->OrientationTensor(tensor, CBox(0, 0, 0, 9, 9, 9), true, nullptr); }),
            "There are no direction maps: call compute first.");
    }
}

TEST(LocalTensorsInMemory, OfAPlaneHaveOneAngle) {
    const auto image = FloatImage(Fibers({90, 80, 1}, 3.0, CUBES, 5));
    CStructureTensorOrientations estimator;
    estimator.compute(*image, 3.0);
    const IImage* theta = nullptr;
    const IImage* phi = image.get();
    estimator.get(theta, phi);
    EXPECT_EQ(phi, nullptr);
    const IImage* map = nullptr;
    estimator.release(map);
    EXPECT_EQ(map, theta);
    delete map;
    EXPECT_EQ(MessageOf([&] { estimator.get(map); }), "There are no direction maps: call compute first.");
}

TEST(LocalTensorsInMemory, RefuseWhatDoesNotSuitTheResult) {
    const auto image = FloatImage(Fibers({40, 37, 21}, 2.0, CUBES, 9));
    CLineVotingOrientations estimator;
    estimator.compute(*image, 2.0);
    const IImage* map = nullptr;
    EXPECT_EQ(MessageOf([&] { estimator.get(map); }),
              "Unable to retrieve 2d direction map. Use overloaded 3d interface function.");
    CMatrix<double> tensor(2, 3);
    EXPECT_EQ(MessageOf([&] { estimator.OrientationTensor(tensor, CBox(0, 0, 0, 9, 9, 9), true, nullptr); }),
              "The orientation tensor must be a 3x3 matrix (but it is 2 x 3).");
}

TEST(LocalTensorsInMemory, RefuseWhatCannotBeWorkedWithAndKeepTheEarlierResult) {
    const auto image = FloatImage(Fibers({40, 37, 21}, 2.0, CUBES, 9));
    CLineVotingOrientations estimator;
    CStructureTensorOrientations structure;
    estimator.compute(*image, 2.0);
    const SMaps before = MapsOf(estimator);
    const CImage line(IMAGE_GREY_F, CSize({9LL}), CSize(0, 0, 0));
    const CImage nothing(IMAGE_GREY_F, CSize(9, 0), CSize(0, 0, 0));
    const CImage spectrum(IMAGE_COMPLEX_F, CSize(9, 9), CSize(0, 0, 0));
    const CImage flat(IMAGE_GREY_F, CSize(9, 9), CSize(0, 0, 0));
    const auto missing =
        MakeImage<float>(IMAGE_GREY_F, CSize(9, 9), [](auto, auto, auto) { return std::nanf(""); });
    const auto otherMask = full_mask(CSize(40, 37, 20));
    const double nan = std::nan("");
    const double infinity = std::numeric_limits<double>::infinity();
    const auto refusal = [&](const IImage& input, double radius, const IImage* mask = nullptr,
                             const SLineVotingOptions& options = {}) {
        return MessageOf([&] { estimator.compute(input, radius, mask, options); });
    };
    const auto spacing = [](double z) {
        SLineVotingOptions options;
        options.spacing = {1.0, 1.0, z};
        return options;
    };
    const auto along = [](double length) {
        SLineVotingOptions options;
        options.along = length;
        return options;
    };
    EXPECT_EQ(refusal(line, 2.0), "Only 2d and 3d images supported.");
    EXPECT_EQ(refusal(nothing, 2.0), "The image has no pixels.");
    EXPECT_EQ(refusal(spectrum, 2.0), "Not implemented for this image type 'COMPLEX_F'.");
    EXPECT_EQ(refusal(*image, 2.0, image.get()), "Mask image must be of type BINARY_FG.");
    EXPECT_EQ(refusal(*image, 2.0, otherMask.get()), "Mask and image must have the same size.");
    for (const double radius : {0.0, -1.0, nan, infinity}) {
        EXPECT_EQ(refusal(*image, radius), "The fiber radius must be a finite number above 0.");
    }
    for (const double z : {0.0, -1.0, nan, infinity}) {
        EXPECT_EQ(refusal(*image, 2.0, nullptr, spacing(z)),
                  "The pixel spacing must be a finite number above 0.");
    }
    for (const double length : {-1.0, nan, infinity}) {
        EXPECT_EQ(refusal(*image, 2.0, nullptr, along(length)),
                  "The length along the fiber must be a finite number, 0 or more.");
    }
    const char* const tooLong =
        "The fiber radius, or a length in its place, exceeds the image size (please check "
        "for correct units).";
    EXPECT_EQ(refusal(*image, 1e9), tooLong);
    EXPECT_EQ(refusal(*image, 2.0, nullptr, spacing(1e-9)), tooLong);
    EXPECT_EQ(refusal(*image, 2.0, nullptr, along(1e9)), tooLong);
    EXPECT_EQ(refusal(flat, 2.0), "All pixels have the same grey value.");
    EXPECT_EQ(refusal(*missing, 2.0), "No grey value of the image is a finite number.");
    EXPECT_EQ(MapsOf(estimator), before);
    SStructureTensorOptions options;
    options.gradientSigma = 0.0;
    EXPECT_EQ(MessageOf([&] { structure.compute(*image, 2.0, nullptr, options); }),
              "The gradient's standard deviation must be a finite number above 0.");
    options = {};
    options.windowSigma = nan;
    EXPECT_EQ(MessageOf([&] { structure.compute(*image, 2.0, nullptr, options); }),
              "The window's standard deviation must be a finite number above 0.");
    options = {};
    options.along = -1.0;
    EXPECT_EQ(MessageOf([&] { structure.compute(*image, 2.0, nullptr, options); }),
              "The length along the fiber must be a finite number, 0 or more.");
}

TEST(LocalTensorsInMemory, FindNoDirectionInAMaskedImageOfOneGreyValue) {
    const CImage flat(IMAGE_GREY_8, CSize(20, 20, 20), CSize(0, 0, 0));
    const SMaps maps = votes_of(flat, 2.0, full_mask(flat.Size()).get());
    EXPECT_EQ(maps.theta, std::vector<float>(8000, -1.0F));
    EXPECT_EQ(maps.confidence, std::vector<float>(8000, 0.0F));
}

TEST(LocalTensorsInMemory, CanBeCancelledAndInterruptedAtEveryReport) {
    const auto image = FloatImage(Fibers({24, 20, 37}, 2.0, CUBES, 9));
    CRecordingMonitor counting;
    {
        const CProgressMonitorScope scope(counting);
        votes_of(*image, 2.0);
    }
    EXPECT_EQ(counting.openReports, 0);
    EXPECT_GE(counting.polls, 10 + 3 * 37)
        << "asked after every fourth slice that is smoothed, after every one of range, histogram and maps";
    const CPixelLeakCheck leakCheck;
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    for (int poll = 1; poll <= counting.polls; ++poll) {
        CRecordingMonitor monitor;
        monitor.cancelFromPoll = poll;
        const CProgressMonitorScope scope(monitor);
        CLineVotingOrientations estimator;
        estimator.compute(*image, 2.0);
        EXPECT_EQ(MessageOf([&] { estimator.get(theta, phi); }),
                  "There are no direction maps: call compute first.");
    }
    for (int call = 1; call <= counting.Calls(); ++call) {
        CRecordingMonitor monitor;
        monitor.throwAtCall = call;
        const CProgressMonitorScope scope(monitor);
        CLineVotingOrientations estimator;
        EXPECT_THROW(estimator.compute(*image, 2.0), CInterrupted);
        EXPECT_EQ(monitor.openReports, 0);
        EXPECT_EQ(MessageOf([&] { estimator.get(theta, phi); }),
                  "There are no direction maps: call compute first.");
    }
}

} // namespace
