// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/FilterOrientations.h"

#include "support/MakeImage.h"
#include "support/RecordingMonitor.h"
#include "support/ThrownException.h"
#include "zeklib2core/Exception.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace TEVRA {
namespace {

constexpr float NAN_PIXEL = std::numeric_limits<float>::quiet_NaN();

template <typename PixelT>
std::unique_ptr<CImage> row_of(const IImage::CType& type, const std::vector<PixelT>& pixels) {
    return test::MakeImage<PixelT>(
        type, CSize(static_cast<long long>(pixels.size()), 1),
        [&](long long x, long long, long long) { return pixels[static_cast<std::size_t>(x)]; });
}

std::vector<float> repeated(std::initializer_list<std::pair<int, float>> runs) {
    std::vector<float> pixels;
    for (const auto& [count, value] : runs) {
        pixels.insert(pixels.end(), static_cast<std::size_t>(count), value);
    }
    return pixels;
}

/// The bin that maximises the between-class variance, found by splitting the values themselves.
std::size_t brute_force_bin(const std::vector<std::size_t>& bins, std::size_t binCount) {
    std::size_t best = 0;
    double bestVariance = -1.0;
    for (std::size_t t = 0; t < binCount; ++t) {
        double lowerCount = 0.0;
        double lowerSum = 0.0;
        double upperCount = 0.0;
        double upperSum = 0.0;
        for (const std::size_t bin : bins) {
            (bin <= t ? lowerCount : upperCount) += 1.0;
            (bin <= t ? lowerSum : upperSum) += static_cast<double>(bin);
        }
        if (lowerCount == 0.0 || upperCount == 0.0) {
            continue;
        }
        const double distance = lowerSum / lowerCount - upperSum / upperCount;
        const double variance = lowerCount * upperCount * distance * distance;
        if (variance > bestVariance * (1.0 + 1e-12)) {
            bestVariance = variance;
            best = t;
        }
    }
    return best;
}

} // namespace

TEST(Threshold, OfAnEightBitImageIsOtsusBinTimesTheFactor) {
    const auto image = row_of<unsigned char>(IMAGE_GREY_8, {100, 100, 100, 200, 200});
    EXPECT_EQ(CFilterOrientations::ComputeThreshold(*image, 1.05), 100.0 * 1.05);
    EXPECT_EQ(CFilterOrientations::ComputeThreshold(*image, 1.0), 100.0);
}

TEST(Threshold, OfASixteenBitImageIsOtsusBinTimesTheFactor) {
    const auto image = row_of<unsigned short>(IMAGE_GREY_16, {1000, 1000, 50000, 50001});
    EXPECT_EQ(CFilterOrientations::ComputeThreshold(*image, 1.25), 1000.0 * 1.25);
}

TEST(Threshold, OfRandomImagesUsesTheBinOfABruteForceSearch) {
    std::mt19937 generator(3);
    std::normal_distribution<double> dark(60.0, 20.0);
    std::normal_distribution<double> bright(170.0, 30.0);
    for (int trial = 0; trial < 20; ++trial) {
        std::vector<unsigned char> pixels(300);
        std::vector<std::size_t> bins;
        for (unsigned char& pixel : pixels) {
            const double value = generator() % 4 == 0 ? bright(generator) : dark(generator);
            pixel = static_cast<unsigned char>(std::clamp(value, 0.0, 255.0));
            bins.push_back(pixel);
        }
        EXPECT_EQ(CFilterOrientations::ComputeThreshold(*row_of(IMAGE_GREY_8, pixels), 1.0),
                  static_cast<double>(brute_force_bin(bins, 256)))
            << "trial " << trial;
    }
}

TEST(Threshold, OtsusBinBelongsToTheLowerClass) {
    // With the bin in the upper class the best split of 10 | 11 would be at 11.
    const auto image = row_of<unsigned char>(IMAGE_GREY_8, {10, 10, 11, 11});
    EXPECT_EQ(CFilterOrientations::ComputeThreshold(*image, 1.0), 10.0);
}

TEST(Threshold, OfSeveralBestBinsIsTheLowest) {
    // Every bin from 50 to 249 splits the same classes.
    const auto image = row_of<unsigned char>(IMAGE_GREY_8, {50, 250});
    EXPECT_EQ(CFilterOrientations::ComputeThreshold(*image, 1.0), 50.0);
}

TEST(Threshold, OfAFloatImageScalesThePositionInsideItsRange) {
    // One pixel in bin 0, 4.0 in bin 128, 6.0 in bin 255: the classes are {2, 4} and {6}.
    const auto image = row_of(IMAGE_GREY_F, repeated({{1, 2.0F}, {100, 4.0F}, {100, 6.0F}}));
    EXPECT_EQ(CFilterOrientations::ComputeThreshold(*image, 1.05), 0.5 * 1.05 * 4.0 + 2.0);
    EXPECT_EQ(CFilterOrientations::ComputeThreshold(*image, 0.0), 2.0);
}

TEST(Threshold, OfAFloatImageIsMeasuredFromANegativeMinimum) {
    const auto image = row_of(IMAGE_GREY_F, repeated({{1, -6.0F}, {100, -4.0F}, {100, -2.0F}}));
    EXPECT_EQ(CFilterOrientations::ComputeThreshold(*image, 1.25), 0.5 * 1.25 * 4.0 - 6.0);
}

TEST(Threshold, OfRandomFloatImagesAgreesWithTheFormula) {
    std::mt19937 generator(4);
    std::normal_distribution<float> dark(0.3F, 0.2F);
    std::normal_distribution<float> bright(1.7F, 0.4F);
    for (int trial = 0; trial < 10; ++trial) {
        std::vector<float> pixels(400);
        for (float& pixel : pixels) {
            pixel = generator() % 3 == 0 ? bright(generator) : dark(generator);
        }
        const auto [min, max] = std::minmax_element(pixels.begin(), pixels.end());
        std::vector<std::size_t> bins;
        for (const float pixel : pixels) {
            const float position = (pixel - *min) * 256.0F / (*max - *min);
            bins.push_back(std::min<std::size_t>(static_cast<std::size_t>(position), 255));
        }
        const double position = static_cast<double>(brute_force_bin(bins, 256)) / 256.0;
        const double range = static_cast<double>(*max) - static_cast<double>(*min);
        EXPECT_NEAR(CFilterOrientations::ComputeThreshold(*row_of(IMAGE_GREY_F, pixels), 1.05),
                    position * 1.05 * range + static_cast<double>(*min), 1e-6)
            << "trial " << trial;
    }
}

TEST(Threshold, LeavesNanPixelsOutOfRangeAndHistogram) {
    std::vector<float> pixels = repeated({{1, 2.0F}, {100, 4.0F}, {100, 6.0F}});
    const double withoutNan = CFilterOrientations::ComputeThreshold(*row_of(IMAGE_GREY_F, pixels), 1.05);
    pixels.insert(pixels.begin(), 500, NAN_PIXEL);
    pixels.insert(pixels.end(), 500, NAN_PIXEL);
    EXPECT_EQ(CFilterOrientations::ComputeThreshold(*row_of(IMAGE_GREY_F, pixels), 1.05), withoutNan);
}

TEST(Threshold, OfAConstantFloatImageFailsWithTheRangeMessage) {
    const auto image = row_of(IMAGE_GREY_F, repeated({{20, 3.5F}}));
    EXPECT_EQ(test::MessageOf([&] { CFilterOrientations::ComputeThreshold(*image, 1.25); }),
              "Value range is invalid (min value = 3.5 larger or equal to max value 3.5");
}

TEST(Threshold, OfAFloatImageOfNanOnlyFailsWithTheRangeMessage) {
    const auto image = row_of(IMAGE_GREY_F, repeated({{20, NAN_PIXEL}}));
    EXPECT_EQ(test::MessageOf([&] { CFilterOrientations::ComputeThreshold(*image, 1.25); }).substr(0, 40),
              "Value range is invalid (min value = inf ");
}

TEST(Threshold, OfAConstantIntegerImageDoesNotFail) {
    EXPECT_NO_THROW(
        CFilterOrientations::ComputeThreshold(*row_of<unsigned char>(IMAGE_GREY_8, {7, 7, 7}), 1.25));
    EXPECT_NO_THROW(
        CFilterOrientations::ComputeThreshold(*row_of<unsigned short>(IMAGE_GREY_16, {7000, 7000}), 1.25));
}

TEST(Threshold, OfOtherImageTypesIsNotImplemented) {
    for (const IImage::CType& type : {IMAGE_COMPLEX_F, IMAGE_BINARY_FG, IMAGE_BINARY_BG, IMAGE_BOOL}) {
        const CImage image(type, CSize(2, 2), CSize(0, 0, 0));
        EXPECT_EQ(test::MessageOf([&] { CFilterOrientations::ComputeThreshold(image, 1.0); }),
                  std::string("Not implemented for this image type '") + type.ToString() + "'.");
    }
}

TEST(Threshold, TakesVolumes) {
    const auto image = test::MakeImage<unsigned char>(
        IMAGE_GREY_8, CSize(3, 4, 5), [](long long, long long, long long z) { return z < 2 ? 40 : 90; });
    EXPECT_EQ(CFilterOrientations::ComputeThreshold(*image, 1.0), 40.0);
}

TEST(Threshold, PassesOnWhatTheMonitorThrows) {
    const auto image = test::MakeImage<unsigned char>(IMAGE_GREY_8, CSize(3, 4), [](auto...) { return 1; });
    test::CRecordingMonitor monitor;
    monitor.throwAtCall = 1;
    const CProgressMonitorScope scope(monitor);
    EXPECT_THROW(CFilterOrientations::ComputeThreshold(*image, 1.0), test::CInterrupted);
}

} // namespace TEVRA
