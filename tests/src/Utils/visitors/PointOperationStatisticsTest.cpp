// SPDX-License-Identifier: BSD-3-Clause
#include "Utils/visitors/PointOperationStatistics.h"

#include "Utils/PointOperationsImpl.h"
#include "support/MakeImage.h"
#include "support/RecordingMonitor.h"
#include "support/StridedImage.h"
#include "support/ThrownException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace TEVRA {
namespace {

using Counts = std::vector<unsigned long long>;
using FloatHistogram = visitors::CAnalyzerHistogram<float, unsigned long long>;

constexpr float NAN_PIXEL = std::numeric_limits<float>::quiet_NaN();

std::unique_ptr<CImage> float_image(const std::vector<float>& pixels) {
    return test::MakeImage<float>(
        IMAGE_GREY_F, CSize(static_cast<long long>(pixels.size()), 1),
        [&](long long x, long long, long long) { return pixels[static_cast<std::size_t>(x)]; });
}

Counts float_histogram(const std::vector<float>& pixels, float min, float max, unsigned long long bins) {
    Counts counts;
    FloatHistogram visitor(counts, min, max, bins);
    test::CRecordingMonitor monitor;
    EXPECT_TRUE(Impl::VisitorHelper<0>::VisitImageData(*float_image(pixels), visitor, monitor));
    return counts;
}

/// The bin by its formula: every operation rounded to single precision, then truncated and capped.
std::size_t naive_bin(float value, float min, float max, unsigned long long bins) {
    const volatile float offset = value - min;
    const volatile float scaled = offset * static_cast<float>(bins);
    const volatile float range = max - min;
    const volatile float position = scaled / range;
    const auto truncated = static_cast<unsigned long long>(position);
    return static_cast<std::size_t>(std::min(truncated, bins - 1));
}

template <typename PixelT>
Counts count_values(const CImage& image) {
    Counts counts(3, 77); // what an earlier visit may have left
    visitors::CAnalyzerHistogram<PixelT, unsigned long long> visitor(counts);
    test::CRecordingMonitor monitor;
    EXPECT_TRUE(Impl::VisitorHelper<0>::VisitImageData(image, visitor, monitor));
    return counts;
}

} // namespace

TEST(Histogram, OfAnEightBitImageHasOneBinPerGreyValue) {
    const auto image = test::MakeImage<unsigned char>(
        IMAGE_GREY_8, CSize(7, 5, 3),
        [](long long x, long long y, long long z) { return (x * 83 + y * 29 + z * 131) % 256; });
    Counts expected(256, 0);
    for (const unsigned char value : test::PixelsOf<unsigned char>(*image)) {
        ++expected[value];
    }
    EXPECT_EQ(count_values<unsigned char>(*image), expected);
}

TEST(Histogram, OfASixteenBitImageHasOneBinPerGreyValue) {
    const auto image =
        test::MakeImage<unsigned short>(IMAGE_GREY_16, CSize(4, 2), [](long long x, long long y, long long) {
            return x == 3 ? 65535 : x + y;
        });
    const Counts counts = count_values<unsigned short>(*image);
    ASSERT_EQ(counts.size(), 65536U);
    EXPECT_EQ(counts[0], 1U);
    EXPECT_EQ(counts[1], 2U);
    EXPECT_EQ(counts[2], 2U);
    EXPECT_EQ(counts[3], 1U);
    EXPECT_EQ(counts[65535], 2U);
}

TEST(FloatHistogram, PutsTheMaximumIntoTheLastBin) {
    EXPECT_EQ(float_histogram({0.0F, 1.0F, 4.0F}, 0.0F, 4.0F, 4), (Counts{1, 1, 0, 1}));
}

TEST(FloatHistogram, TruncatesPositionsTowardsZero) {
    EXPECT_EQ(float_histogram({2.0F, 2.999F, 3.0F, 5.9999F, 6.0F}, 2.0F, 6.0F, 4), (Counts{2, 1, 0, 2}));
}

TEST(FloatHistogram, BinsInSinglePrecisionLikeANaiveLoop) {
    std::mt19937 generator(20);
    std::uniform_real_distribution<float> uniform(-3.0F, 11.0F);
    std::vector<float> pixels(20000);
    std::generate(pixels.begin(), pixels.end(), [&] { return uniform(generator); });
    const auto [min, max] = std::minmax_element(pixels.begin(), pixels.end());
    for (const unsigned long long bins : {1ULL, 2ULL, 7ULL, 256ULL, 1000ULL}) {
        Counts expected(bins, 0);
        for (const float value : pixels) {
            ++expected[naive_bin(value, *min, *max, bins)];
        }
        EXPECT_EQ(float_histogram(pixels, *min, *max, bins), expected) << bins << " bins";
    }
}

TEST(FloatHistogram, DiffersFromDoublePrecisionWhereSinglePrecisionRoundsUp) {
    // A value whose position is a whole number in single precision and just below it in double precision.
    const float max = 0.7F;
    float value = 0.0F;
    std::size_t bin = 0;
    for (std::uint32_t bits = std::bit_cast<std::uint32_t>(0.1F); value < max; ++bits) {
        value = std::bit_cast<float>(bits);
        bin = naive_bin(value, 0.0F, max, 256);
        const double exact = static_cast<double>(value) * 256.0 / static_cast<double>(max);
        if (bin > static_cast<std::size_t>(exact)) {
            break;
        }
    }
    ASSERT_LT(value, max) << "no such value, the test would show nothing";
    Counts expected(256, 0);
    expected[bin] = 1;
    EXPECT_EQ(float_histogram({value}, 0.0F, max, 256), expected);
}

TEST(FloatHistogram, LeavesOutNan) {
    EXPECT_EQ(float_histogram({NAN_PIXEL, 0.0F, NAN_PIXEL, 1.0F}, 0.0F, 1.0F, 2), (Counts{1, 1}));
}

TEST(FloatHistogram, CapsValuesBeyondTheRange) {
    EXPECT_EQ(float_histogram({1e30F, 3.0F, std::numeric_limits<float>::infinity()}, 0.0F, 1.0F, 3),
              (Counts{0, 0, 3}));
}

TEST(FloatHistogram, IsTheSameForRowsWithGaps) {
    std::mt19937 generator(4);
    std::uniform_real_distribution<float> uniform(0.0F, 1.0F);
    const CSize size(67, 13, 5);
    const auto contiguous = test::MakeImage<float>(
        IMAGE_GREY_F, size, [&](long long, long long, long long) { return uniform(generator); });
    test::CStridedImage strided(IMAGE_GREY_F, size);
    strided.Fill<float>([&](long long x, long long y, long long z) {
        return contiguous->Pixels<float>()[(z * size[1] + y) * size[0] + x];
    });
    for (const unsigned long long bins : {7ULL, 256ULL, 5000ULL}) {
        test::CRecordingMonitor monitor;
        Counts ofContiguous;
        FloatHistogram first(ofContiguous, 0.0F, 1.0F, bins);
        Impl::VisitorHelper<0>::VisitImageData(*contiguous, first, monitor);
        Counts ofStrided;
        FloatHistogram second(ofStrided, 0.0F, 1.0F, bins);
        Impl::VisitorHelper<0>::VisitImageData(strided, second, monitor);
        EXPECT_EQ(ofContiguous, ofStrided) << bins << " bins";
        EXPECT_EQ(std::accumulate(ofStrided.begin(), ofStrided.end(), 0ULL), size.Elements());
    }
}

TEST(FloatHistogram, RefusesAnEmptyRange) {
    Counts counts{5};
    EXPECT_THROW(FloatHistogram(counts, 1.0F, 1.0F, 256), CException);
    EXPECT_THROW(FloatHistogram(counts, 2.0F, 1.0F, 256), CException);
    EXPECT_EQ(counts, (Counts{5})) << "a failed check leaves the visitor's target alone";
}

TEST(FloatHistogram, RefusesTwoToTheSixtyOneBins) {
    Counts counts;
    EXPECT_THROW(FloatHistogram(counts, 0.0F, 1.0F, 2305843009213693952ULL), CException);
    EXPECT_NO_THROW(FloatHistogram(counts, 0.0F, 1.0F, 2305843009213693951ULL));
}

TEST(FloatHistogram, RefusesToHaveNoBin) {
    Counts counts{5};
    EXPECT_THROW(FloatHistogram(counts, 0.0F, 1.0F, 0), CException);
    EXPECT_EQ(counts, (Counts{5}));
}

TEST(FloatHistogram, ReportsTooManyBinsBeforeAnEmptyRangeAndThatBeforeNoBin) {
    Counts counts;
    EXPECT_EQ(test::MessageOf([&] { FloatHistogram(counts, 1.0F, 1.0F, 2305843009213693952ULL); }),
              "vector size is insufficient (std::vector<T>::max_size() = 2305843009213693951 is lower than "
              "2305843009213693952");
    EXPECT_EQ(test::MessageOf([&] { FloatHistogram(counts, 2.0F, 1.0F, 0); }),
              "Value range is invalid (min value = 2 larger or equal to max value 1");
}

TEST(FloatHistogram, OfACancelledVisitIsPartiallyFilled) {
    const auto image = test::MakeImage<float>(IMAGE_GREY_F, CSize(4, 6),
                                              [](long long, long long y, long long) { return y; });
    Counts counts;
    FloatHistogram visitor(counts, 0.0F, 6.0F, 6);
    test::CRecordingMonitor monitor;
    monitor.cancelFromPoll = 2;
    EXPECT_FALSE(Impl::VisitorHelper<0>::VisitImageData(*image, visitor, monitor));
    EXPECT_EQ(counts, (Counts{4, 4, 0, 0, 0, 0}));
}

TEST(FloatHistogram, StartsAnewWithEveryVisit) {
    const auto image = float_image({0.0F, 1.0F});
    Counts counts;
    FloatHistogram visitor(counts, 0.0F, 1.0F, 2);
    test::CRecordingMonitor monitor;
    Impl::VisitorHelper<0>::VisitImageData(*image, visitor, monitor);
    Impl::VisitorHelper<0>::VisitImageData(*image, visitor, monitor);
    EXPECT_EQ(counts, (Counts{1, 1}));
}

TEST(MinMax, FindsTheSmallestAndTheLargestValue) {
    visitors::CAnalyzerMinMax<float> visitor;
    test::CRecordingMonitor monitor;
    const auto image = float_image({3.0F, -2.5F, 7.25F, 0.0F});
    EXPECT_TRUE(Impl::VisitorHelper<0>::VisitImageData(*image, visitor, monitor));
    EXPECT_EQ(visitor.Min(), -2.5F);
    EXPECT_EQ(visitor.Max(), 7.25F);
}

TEST(MinMax, FindsBothInImagesOfOneSign) {
    test::CRecordingMonitor monitor;
    visitors::CAnalyzerMinMax<float> negative;
    Impl::VisitorHelper<0>::VisitImageData(*float_image({-3.0F, -2.0F}), negative, monitor);
    EXPECT_EQ(negative.Min(), -3.0F);
    EXPECT_EQ(negative.Max(), -2.0F);
    visitors::CAnalyzerMinMax<float> positive;
    Impl::VisitorHelper<0>::VisitImageData(*float_image({5.0F, 4.0F}), positive, monitor);
    EXPECT_EQ(positive.Min(), 4.0F);
    EXPECT_EQ(positive.Max(), 5.0F);
}

TEST(MinMax, LeavesOutNanWhereverItStands) {
    for (const std::vector<float>& pixels :
         {std::vector<float>{NAN_PIXEL, 1.0F, 2.0F}, {1.0F, NAN_PIXEL, 2.0F}, {2.0F, 1.0F, NAN_PIXEL}}) {
        visitors::CAnalyzerMinMax<float> visitor;
        test::CRecordingMonitor monitor;
        Impl::VisitorHelper<0>::VisitImageData(*float_image(pixels), visitor, monitor);
        EXPECT_EQ(visitor.Min(), 1.0F);
        EXPECT_EQ(visitor.Max(), 2.0F);
    }
}

TEST(MinMax, ForgetsTheVisitBefore) {
    visitors::CAnalyzerMinMax<float> visitor;
    test::CRecordingMonitor monitor;
    Impl::VisitorHelper<0>::VisitImageData(*float_image({-100.0F, 100.0F}), visitor, monitor);
    Impl::VisitorHelper<0>::VisitImageData(*float_image({1.0F, 2.0F}), visitor, monitor);
    EXPECT_EQ(visitor.Min(), 1.0F);
    EXPECT_EQ(visitor.Max(), 2.0F);
}

} // namespace TEVRA
