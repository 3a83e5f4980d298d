// SPDX-License-Identifier: BSD-3-Clause
// The estimator's first stage: smoothed image and second derivatives, and the memory they take.
#include "FilterOrientations/HessianOrientations.h"

#include "VexoFilter/YoungVanVliet.h"
#include "src/TestAccess.h"
#include "support/MakeImage.h"
#include "support/MemoryLimit.h"
#include "support/RecordingMonitor.h"
#include "support/StridedImage.h"
#include "support/TaskRunners.h"
#include "support/ThrownException.h"
#include "zeklib2core/Exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace TEVRA {
namespace {

using Index = std::array<long long, 3>;

constexpr std::size_t BYTES_PER_VOXEL_3D = 4 + 6 * 4 + 2 * 4; // smoothed, Hessian, angle maps
constexpr std::size_t BYTES_PER_PIXEL_2D = 4 + 3 * 4 + 4;

/// Positions in the list that CTestAccess::Images gives.
enum EImage : std::size_t { SMOOTHED, XX, YY, ZZ, XY, XZ, YZ, PHI, THETA };

unsigned char grey(long long x, long long y, long long z) {
    return static_cast<unsigned char>((x * x * 7 + y * 41 + z * 23 + x * y * z * 5 + y * z * 11) % 251);
}

std::unique_ptr<CImage> grey_image(const CSize& size) {
    return test::MakeImage<unsigned char>(IMAGE_GREY_8, size, grey);
}

void compute(CHessianOrientations& estimator, const CSize& size, double sigmaPx = 1.2) {
    estimator.compute(*grey_image(size), sigmaPx, nullptr, CHessianOrientations::eEVSmallest);
}

/// A pixel of a float image continued constantly at its border.
double continued(const CImage& image, Index at) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        at[axis] = std::clamp(at[axis], 0LL, image.Size()[static_cast<long long>(axis)] - 1);
    }
    return static_cast<double>(
        image.Pixels<float>()[(at[2] * image.Size()[1] + at[1]) * image.Size()[0] + at[0]]);
}

Index moved(Index at, std::size_t axis, long long by) {
    at[axis] += by;
    return at;
}

/// Second derivative along two axes (possibly the same one) by central differences.
double second_derivative(const CImage& image, const Index& at, std::size_t axisA, std::size_t axisB) {
    if (axisA == axisB) {
        return continued(image, moved(at, axisA, 1)) - 2.0 * continued(image, at) +
               continued(image, moved(at, axisA, -1));
    }
    double sum = 0.0;
    for (const long long a : {-1, 1}) {
        for (const long long b : {-1, 1}) {
            sum += static_cast<double>(a * b) * continued(image, moved(moved(at, axisA, a), axisB, b));
        }
    }
    return 0.25 * sum;
}

void expect_derivative(const CImage& smoothed, const CImage* derivative, std::size_t axisA,
                       std::size_t axisB) {
    ASSERT_NE(derivative, nullptr);
    ASSERT_TRUE(derivative->Type() == IMAGE_GREY_F);
    ASSERT_TRUE(derivative->Size() == smoothed.Size());
    const CSize& size = smoothed.Size();
    double worst = 0.0;
    double largest = 0.0;
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x) {
                const double expected = second_derivative(smoothed, {x, y, z}, axisA, axisB);
                largest = std::max(largest, std::abs(expected));
                worst = std::max(worst, std::abs(continued(*derivative, {x, y, z}) - expected));
            }
        }
    }
    EXPECT_GT(largest, 1.0) << "the image is too smooth to tell derivatives apart";
    EXPECT_LT(worst, 1e-4) << "along axes " << axisA << " and " << axisB;
}

bool holds_no_image(const CHessianOrientations& estimator) {
    const std::vector<CImage*> images = CTestAccess::Images(estimator);
    return std::all_of(images.begin(), images.end(), [](const CImage* image) { return image == nullptr; }) &&
           CTestAccess::Sizes(estimator) == std::array<int, 3>{0, 0, 0};
}

} // namespace

TEST(HessianComputation, StartsWithNoImage) {
    EXPECT_TRUE(holds_no_image(CHessianOrientations()));
}

TEST(HessianComputation, SmoothsWithTheSigmaItIsGiven) {
    const CSize size(19, 17, 11);
    for (const double sigmaPx : {0.8, 1.2, 2.5}) {
        CHessianOrientations estimator;
        compute(estimator, size, sigmaPx);
        CImage expected(IMAGE_GREY_F, size, CSize(0, 0, 0));
        CYoungVanVliet(sigmaPx, nullptr, nullptr).gauss(expected, *grey_image(size));
        const CImage* smoothed = CTestAccess::Images(estimator)[SMOOTHED];
        ASSERT_NE(smoothed, nullptr);
        EXPECT_TRUE(smoothed->Type() == IMAGE_GREY_F);
        EXPECT_EQ(test::PixelsOf<float>(*smoothed), test::PixelsOf<float>(expected)) << "sigma " << sigmaPx;
    }
}

TEST(HessianComputation, OfAVolumeHoldsSixDerivativesOfTheSmoothedImage) {
    CHessianOrientations estimator;
    compute(estimator, CSize(13, 11, 9));
    const std::vector<CImage*> images = CTestAccess::Images(estimator);
    const CImage& smoothed = *images[SMOOTHED];
    expect_derivative(smoothed, images[XX], 0, 0);
    expect_derivative(smoothed, images[YY], 1, 1);
    expect_derivative(smoothed, images[ZZ], 2, 2);
    expect_derivative(smoothed, images[XY], 0, 1);
    expect_derivative(smoothed, images[XZ], 0, 2);
    expect_derivative(smoothed, images[YZ], 1, 2);
    EXPECT_EQ(CTestAccess::Sizes(estimator), (std::array<int, 3>{13, 11, 9}));
}

TEST(HessianComputation, OfAPlaneHoldsExactlyThreeDerivatives) {
    CHessianOrientations estimator;
    compute(estimator, CSize(13, 11));
    const std::vector<CImage*> images = CTestAccess::Images(estimator);
    const CImage& smoothed = *images[SMOOTHED];
    expect_derivative(smoothed, images[XX], 0, 0);
    expect_derivative(smoothed, images[YY], 1, 1);
    expect_derivative(smoothed, images[XY], 0, 1);
    EXPECT_EQ(images[ZZ], nullptr);
    EXPECT_EQ(images[XZ], nullptr);
    EXPECT_EQ(images[YZ], nullptr);
    EXPECT_EQ(images[PHI], nullptr);
    EXPECT_NE(images[THETA], nullptr);
    EXPECT_EQ(CTestAccess::Sizes(estimator), (std::array<int, 3>{13, 11, 1}));
}

TEST(HessianComputation, ASecondRunLeavesOnlyItsOwnImages) {
    const test::CPixelLeakCheck leakCheck;
    const std::size_t before = CPixelMemory::BytesInUse();
    CHessianOrientations estimator;
    compute(estimator, CSize(13, 11, 9));
    compute(estimator, CSize(10, 12));
    const std::vector<CImage*> images = CTestAccess::Images(estimator);
    for (const std::size_t only3d : {ZZ, XZ, YZ, PHI}) {
        EXPECT_EQ(images[only3d], nullptr) << "image " << only3d << " survived";
    }
    EXPECT_EQ(CPixelMemory::BytesInUse() - before, BYTES_PER_PIXEL_2D * 10 * 12);
    compute(estimator, CSize(7, 8, 9));
    EXPECT_EQ(CPixelMemory::BytesInUse() - before, BYTES_PER_VOXEL_3D * 7 * 8 * 9);
    EXPECT_EQ(CTestAccess::Sizes(estimator), (std::array<int, 3>{7, 8, 9}));
}

TEST(HessianComputation, OfAVolumePeaksAtThirtySixBytesPerVoxel) {
    const CSize size(14, 13, 12);
    const auto image = grey_image(size);
    const std::size_t before = CPixelMemory::BytesInUse();
    CHessianOrientations estimator;
    {
        const test::CPixelMemoryLimitScope limit(BYTES_PER_VOXEL_3D * size.Elements());
        EXPECT_NO_THROW(estimator.compute(*image, 1.5, nullptr, CHessianOrientations::eEVSmallest));
    }
    EXPECT_EQ(CPixelMemory::BytesInUse() - before, BYTES_PER_VOXEL_3D * size.Elements());
    const test::CPixelMemoryLimitScope limit(0);
    EXPECT_NO_THROW(estimator.compute(*image, 1.5, nullptr, CHessianOrientations::eEVSmallest))
        << "a second run reuses what the first one gives back";
}

TEST(HessianComputation, OfAPlanePeaksAtTwentyBytesPerPixel) {
    const CSize size(43, 31);
    const auto image = grey_image(size);
    const std::size_t before = CPixelMemory::BytesInUse();
    CHessianOrientations estimator;
    const test::CPixelMemoryLimitScope limit(BYTES_PER_PIXEL_2D * size.Elements());
    EXPECT_NO_THROW(estimator.compute(*image, 1.5, nullptr, CHessianOrientations::eEVSmallest));
    EXPECT_EQ(CPixelMemory::BytesInUse() - before, BYTES_PER_PIXEL_2D * size.Elements());
}

TEST(HessianComputation, ThatCannotCloneReportsAndHoldsNoImage) {
    for (const CSize& size : {CSize(9, 8), CSize(9, 8, 7)}) {
        const test::CPixelLeakCheck leakCheck;
        const std::size_t clones = size.Dim() == 3 ? 6 : 3;
        const auto image = grey_image(size);
        CHessianOrientations estimator;
        for (std::size_t allocations = 1; allocations <= clones; ++allocations) {
            const test::CPixelMemoryLimitScope limit(allocations * 4 * size.Elements());
            EXPECT_EQ(test::MessageOf([&] {
                          estimator.compute(*image, 1.2, nullptr, CHessianOrientations::eEVSmallest);
                      }),
                      "Insufficient memory. Try a smaller image.")
                << "with room for " << allocations << " images of size " << size.ToString();
            EXPECT_TRUE(holds_no_image(estimator));
        }
    }
}

TEST(HessianComputation, ThatCannotCloneAfterAnEarlierRunHoldsNoImageEither) {
    const CSize size(9, 8, 7);
    CHessianOrientations estimator;
    compute(estimator, size);
    const auto larger = grey_image(CSize(12, 12, 12));
    const test::CPixelMemoryLimitScope limit(0);
    EXPECT_THROW(estimator.compute(*larger, 1.2, nullptr, CHessianOrientations::eEVSmallest), CException);
    EXPECT_TRUE(holds_no_image(estimator));
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    EXPECT_THROW(estimator.get(theta, phi), CException);
}

TEST(HessianComputation, PassesOnAFailureToAllocateTheSmoothedImageOrTheMaps) {
    const test::CPixelLeakCheck leakCheck;
    const CSize size(9, 8, 7);
    const auto image = grey_image(size);
    for (const std::size_t allocations : {0, 7, 8}) {
        CHessianOrientations estimator;
        const test::CPixelMemoryLimitScope limit(allocations * 4 * size.Elements());
        EXPECT_THROW(estimator.compute(*image, 1.2, nullptr, CHessianOrientations::eEVSmallest),
                     std::bad_alloc)
            << "with room for " << allocations << " images";
        const std::vector<CImage*> images = CTestAccess::Images(estimator);
        EXPECT_EQ(images[THETA], nullptr);
        EXPECT_EQ(images[PHI], nullptr);
    }
}

TEST(HessianComputation, AllocatesNothingButTheImagesItKeeps) {
    const CSize plane(9, 8);
    const CSize volume(9, 8, 7);
    for (const CSize& size : {plane, volume}) {
        const auto image = grey_image(size);
        const int failures = test::CountMemoryFailures(4 * size.Elements(), [&] {
            CHessianOrientations().compute(*image, 1.2, nullptr, CHessianOrientations::eEVSmallest);
        });
        EXPECT_EQ(failures, size.Dim() == 3 ? 9 : 5);
    }
}

TEST(HessianComputation, PassesOnWhatTheFilterRefuses) {
    const test::CPixelLeakCheck leakCheck;
    for (const double sigmaPx : {0.0, -1.0, std::nan("")}) {
        CHessianOrientations estimator;
        EXPECT_THROW(compute(estimator, CSize(9, 8), sigmaPx), CExBadParam) << "sigma " << sigmaPx;
    }
}

TEST(HessianComputation, KeepsTheEarlierResultWhenATypeCheckFails) {
    CHessianOrientations estimator;
    compute(estimator, CSize(9, 8));
    const std::vector<CImage*> before = CTestAccess::Images(estimator);
    CImage wrong(IMAGE_GREY_16, CSize(9, 8), CSize(0, 0, 0));
    EXPECT_THROW(estimator.compute(wrong, 1.2, nullptr, CHessianOrientations::eEVSmallest), CException);
    const CImage mask(IMAGE_GREY_8, CSize(9, 8), CSize(0, 0, 0));
    const auto image = grey_image(CSize(9, 8));
    EXPECT_THROW(estimator.compute(*image, 1.2, &mask, CHessianOrientations::eEVSmallest), CException);
    EXPECT_EQ(CTestAccess::Images(estimator), before);
}

TEST(HessianComputation, ReadsImagesThroughTheirStrides) {
    const CSize size(13, 11, 9);
    test::CStridedImage strided(IMAGE_GREY_8, size);
    strided.Fill<unsigned char>(grey);
    CHessianOrientations estimator;
    estimator.compute(strided, 1.2, nullptr, CHessianOrientations::eEVSmallest);
    CHessianOrientations reference;
    compute(reference, size);
    for (const std::size_t image : {SMOOTHED, XX, YY, ZZ, XY, XZ, YZ, PHI, THETA}) {
        EXPECT_EQ(test::PixelsOf<float>(*CTestAccess::Images(estimator)[image]),
                  test::PixelsOf<float>(*CTestAccess::Images(reference)[image]))
            << "image " << image;
    }
    EXPECT_TRUE(strided.GuardsIntact());
    EXPECT_EQ(strided.OpenAccesses(), 0);
}

TEST(HessianComputation, FindsTheSameDirectionsOnLentThreads) {
    test::CBackwards backwards;
    test::CCrowd crowd;
    for (const CSize& size : {CSize(70, 300), CSize(33, 29, 31)}) {
        CHessianOrientations alone;
        compute(alone, size);
        for (ITaskRunner* const runner :
             {static_cast<ITaskRunner*>(&backwards), static_cast<ITaskRunner*>(&crowd)}) {
            CHessianOrientations estimator;
            estimator.LendThreads(runner);
            compute(estimator, size);
            EXPECT_EQ(test::PixelsOf<float>(*CTestAccess::Images(estimator)[THETA]),
                      test::PixelsOf<float>(*CTestAccess::Images(alone)[THETA]));
            if (size.Dim() == 3) {
                EXPECT_EQ(test::PixelsOf<float>(*CTestAccess::Images(estimator)[PHI]),
                          test::PixelsOf<float>(*CTestAccess::Images(alone)[PHI]));
            }
        }
    }
    EXPECT_GT(backwards.tasks, 2) << "more than one task for each image";
}

TEST(HessianComputation, TellsTheSameProgressOnLentThreads) {
    const CSize size(33, 29, 31);
    std::vector<std::string> events[2];
    test::CBackwards backwards;
    for (const bool isLent : {false, true}) {
        test::CRecordingMonitor monitor;
        const CProgressMonitorScope scope(monitor);
        CHessianOrientations estimator;
        estimator.LendThreads(isLent ? &backwards : nullptr);
        compute(estimator, size);
        events[isLent ? 1 : 0] = monitor.events;
    }
    EXPECT_EQ(events[0], events[1]);
}

TEST(HessianComputation, PassesOnWhatALentThreadThrowsAndKeepsNoMap) {
    class CFailing : public ITaskRunner {
      public:
        void Run(long long, const std::function<void(long long)>& task) override {
            task(0);
            throw std::runtime_error("a thread failed");
        }
    };
    const test::CPixelLeakCheck leakCheck;
    CFailing failing;
    CHessianOrientations estimator;
    estimator.LendThreads(&failing);
    EXPECT_THROW(compute(estimator, CSize(33, 29, 31)), std::runtime_error);
    EXPECT_EQ(CTestAccess::Images(estimator)[THETA], nullptr);
}

TEST(HessianComputation, CanBeInterruptedAtEveryReportWithoutALeak) {
    const test::CPixelLeakCheck leakCheck;
    const CSize size(9, 8, 7);
    test::CStridedImage image(IMAGE_GREY_8, size);
    image.Fill<unsigned char>(grey);
    test::CStridedImage mask(IMAGE_BINARY_FG, size, {0, 0, 0});
    mask.Fill<unsigned char>([](auto x, auto, auto) { return x % 2; });
    for (const IImage* maskOrNone :
         {static_cast<const IImage*>(nullptr), static_cast<const IImage*>(&mask)}) {
        test::CRecordingMonitor counting;
        {
            const CProgressMonitorScope scope(counting);
            CHessianOrientations().compute(image, 1.2, maskOrNone, CHessianOrientations::eEVSmallest);
        }
        ASSERT_GT(counting.Calls(), 0);
        EXPECT_EQ(counting.openReports, 0);
        for (int call = 1; call <= counting.Calls(); ++call) {
            test::CRecordingMonitor monitor;
            monitor.throwAtCall = call;
            const CProgressMonitorScope scope(monitor);
            CHessianOrientations estimator;
            EXPECT_THROW(estimator.compute(image, 1.2, maskOrNone, CHessianOrientations::eEVSmallest),
                         test::CInterrupted);
            EXPECT_EQ(CTestAccess::Images(estimator)[THETA], nullptr) << "a map that is not filled";
            EXPECT_EQ(image.OpenAccesses(), 0);
            EXPECT_EQ(mask.OpenAccesses(), 0);
            EXPECT_EQ(monitor.openReports, 0) << "interrupted at call " << call;
        }
    }
}

TEST(HessianComputation, ClosesTheMaskAfterTheRun) {
    test::CStridedImage mask(IMAGE_BINARY_FG, CSize(9, 8), {0, 0, 0});
    const auto image = grey_image(CSize(9, 8));
    CHessianOrientations estimator;
    estimator.compute(*image, 1.2, &mask, CHessianOrientations::eEVSmallest);
    EXPECT_EQ(mask.OpenAccesses(), 0);
    const test::CPixelMemoryLimitScope limit(0);
    EXPECT_ANY_THROW(CHessianOrientations().compute(*image, 1.2, &mask, CHessianOrientations::eEVSmallest));
    EXPECT_EQ(mask.OpenAccesses(), 0);
}

} // namespace TEVRA
