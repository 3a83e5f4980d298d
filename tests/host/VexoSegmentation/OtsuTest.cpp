// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSegmentation/Otsu.h"

#include "VexoSegmentation/OtsuBin.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

namespace TEVRA::test {
namespace {

using Histogram = std::vector<unsigned long long>;

struct SClass {
    long double count = 0.0L;
    long double mean = 0.0L;
};

SClass class_of(const Histogram& histogram, std::size_t first, std::size_t last) {
    SClass result;
    for (std::size_t bin = first; bin < last; ++bin) {
        result.count += static_cast<long double>(histogram[bin]);
    }
    for (std::size_t bin = first; bin < last && result.count > 0.0L; ++bin) {
        result.mean +=
            static_cast<long double>(bin) * (static_cast<long double>(histogram[bin]) / result.count);
    }
    return result;
}

/// Between-class variance as it is defined, times the square of all counts; nothing if a class is empty.
long double variance_at(const Histogram& histogram, std::size_t threshold) {
    const SClass lower = class_of(histogram, 0, threshold + 1);
    const SClass upper = class_of(histogram, threshold + 1, histogram.size());
    const long double distance = upper.mean - lower.mean;
    return lower.count > 0.0L && upper.count > 0.0L ? lower.count * upper.count * distance * distance : -1.0L;
}

/// The threshold is one of the best, as far as the definition in extended precision can tell, and the lowest
/// that makes its two classes.
void expect_best(const Histogram& histogram) {
    long double best = -1.0L;
    for (std::size_t threshold = 0; threshold < histogram.size(); ++threshold) {
        best = std::max(best, variance_at(histogram, threshold));
    }
    const std::size_t bin = OtsuBin(histogram);
    ASSERT_LT(bin, histogram.size());
    if (best < 0.0L) {
        EXPECT_EQ(bin, 0U);
        return;
    }
    EXPECT_GE(variance_at(histogram, bin), best * (1.0L - 1e-13L)) << "bin " << bin;
    EXPECT_GT(histogram[bin], 0U) << "bin " << bin;
}

/// The lowest best bin in whole numbers, for histograms so small that nothing overflows.
std::size_t exact_search(const Histogram& histogram) {
    long long bestNumerator = 0;
    long long bestDenominator = 1;
    std::size_t best = 0;
    for (std::size_t threshold = 0; threshold < histogram.size(); ++threshold) {
        long long lowerCount = 0;
        long long lowerSum = 0;
        long long count = 0;
        long long sum = 0;
        for (std::size_t bin = 0; bin < histogram.size(); ++bin) {
            const auto counts = static_cast<long long>(histogram[bin]);
            const long long weighted = counts * static_cast<long long>(bin);
            lowerCount += bin <= threshold ? counts : 0;
            lowerSum += bin <= threshold ? weighted : 0;
            count += counts;
            sum += weighted;
        }
        const long long upperCount = count - lowerCount;
        if (lowerCount == 0 || upperCount == 0) {
            continue;
        }
        // Squared distance of the means times both counts.
        const long long difference = (sum - lowerSum) * lowerCount - lowerSum * upperCount;
        const long long numerator = difference * difference;
        const long long denominator = lowerCount * upperCount;
        if (numerator * bestDenominator > bestNumerator * denominator) {
            bestNumerator = numerator;
            bestDenominator = denominator;
            best = threshold;
        }
    }
    return best;
}

/// Next histogram in counting order. @return false after the last.
bool count_on(Histogram& histogram, unsigned long long largest) {
    for (unsigned long long& counts : histogram) {
        if (counts < largest) {
            ++counts;
            return true;
        }
        counts = 0;
    }
    return false;
}

Histogram random_histogram(std::size_t bins, unsigned long long largest, unsigned percentFilled,
                           std::mt19937_64& random) {
    Histogram histogram(bins);
    for (unsigned long long& counts : histogram) {
        counts = random() % 100 < percentFilled ? random() % largest + 1 : 0;
    }
    return histogram;
}

TEST(Otsu, IsTheLowestBestBinOfEverySmallHistogram) {
    for (const auto& [bins, largest] :
         {std::pair{1U, 3U}, {2U, 4U}, {3U, 9U}, {4U, 5U}, {5U, 3U}, {7U, 2U}, {9U, 1U}}) {
        Histogram histogram(bins);
        do {
            ASSERT_EQ(OtsuBin(histogram), exact_search(histogram)) << testing::PrintToString(histogram);
        } while (count_on(histogram, largest));
    }
}

TEST(Otsu, IsTheBestBinOfRandomHistograms) {
    std::mt19937_64 random(1);
    for (const unsigned long long largest : {1ULL, 10ULL, 1000000ULL, 1ULL << 40, 1ULL << 63}) {
        for (const unsigned percentFilled : {2U, 10U, 50U, 100U}) {
            for (int i = 0; i < 20; ++i) {
                expect_best(random_histogram(256, largest, percentFilled, random));
            }
        }
    }
}

TEST(Otsu, IsTheBestBinOfTwoOverlappingBells) {
    std::mt19937_64 random(2);
    std::normal_distribution<double> background(80.0, 20.0);
    std::normal_distribution<double> foreground(160.0, 25.0);
    Histogram histogram(256);
    for (int i = 0; i < 100000; ++i) {
        const double value = i % 4 == 0 ? foreground(random) : background(random);
        ++histogram[static_cast<std::size_t>(std::clamp(value, 0.0, 255.0))];
    }
    expect_best(histogram);
    EXPECT_NEAR(static_cast<double>(OtsuBin(histogram)), 120.0, 10.0);
}

TEST(Otsu, IsTheBestBinOf65536) {
    std::mt19937_64 random(3);
    for (const unsigned long long largest : {3ULL, 1ULL << 40}) {
        Histogram histogram(65536);
        for (int i = 0; i < 300; ++i) { // as many as the definition has time for
            histogram[random() % 65536] += random() % largest + 1;
        }
        // Only bins with counts can be best: the others make the classes of a lower one.
        long double best = -1.0L;
        for (std::size_t bin = 0; bin < histogram.size(); ++bin) {
            best = histogram[bin] > 0 ? std::max(best, variance_at(histogram, bin)) : best;
        }
        const std::size_t bin = OtsuBin(histogram);
        EXPECT_GT(histogram[bin], 0U);
        EXPECT_GE(variance_at(histogram, bin), best * (1.0L - 1e-13L));
    }
}

TEST(Otsu, OfAnEvenHistogramOf65536BinsIsItsMiddle) {
    EXPECT_EQ(OtsuBin(Histogram(65536, 1ULL << 40)), 32767U);
    EXPECT_EQ(OtsuBin(Histogram(65536, ~0ULL)), 32767U);
}

TEST(Otsu, OfTwoSpikesIsTheLowerOne) {
    for (const unsigned long long counts : {1ULL, 1ULL << 40, ~0ULL}) {
        for (const std::size_t bins : {256U, 65536U}) {
            Histogram histogram(bins);
            histogram[17] = counts;
            histogram[bins - 3] = 3;
            EXPECT_EQ(OtsuBin(histogram), 17U);
        }
    }
}

TEST(Otsu, OfTwoBlocksIsTheEndOfTheLowerOneHoweverWideTheGap) {
    Histogram histogram(256);
    std::fill_n(histogram.begin() + 10, 20, 1000003);
    std::fill_n(histogram.begin() + 200, 30, 999983);
    EXPECT_EQ(OtsuBin(histogram), 29U);
}

TEST(Otsu, OfOneSpikeIsZero) {
    Histogram histogram(256);
    histogram[100] = 5;
    EXPECT_EQ(OtsuBin(histogram), 0U);
}

TEST(Otsu, WithoutCountsIsZero) {
    EXPECT_EQ(OtsuBin(Histogram(256)), 0U);
    EXPECT_EQ(OtsuBin(Histogram(1)), 0U);
    EXPECT_EQ(OtsuBin(Histogram()), 0U);
}

TEST(Otsu, TakesTheLowerOfTwoBestBinsOfMirrorSymmetricHistograms) {
    // Threshold t and its mirror image n - 2 - t are exactly as good; rounding would choose by chance.
    std::mt19937_64 random(4);
    for (const unsigned long long largest : {10ULL, 1000000007ULL, 1ULL << 40, 1ULL << 63}) {
        for (int i = 0; i < 300; ++i) {
            Histogram histogram = random_histogram(51, largest, 100, random);
            histogram[25] += largest / 2 * 50 % (1ULL << 62); // a middle that is worth splitting off
            std::copy(histogram.begin(), histogram.begin() + 25, histogram.rbegin());
            ASSERT_LE(OtsuBin(histogram), 24U) << "of " << i;
        }
    }
}

TEST(Otsu, DoesNotChangeWhenAllCountsAreMultiplied) {
    std::mt19937_64 random(5);
    for (int i = 0; i < 200; ++i) {
        Histogram histogram = random_histogram(100, 1000, 60, random);
        const std::size_t bin = OtsuBin(histogram);
        for (unsigned long long& counts : histogram) {
            counts *= 0xFFFFFFFFFFFFULL;
        }
        ASSERT_EQ(OtsuBin(histogram), bin);
    }
}

TEST(Otsu, MovesWithTheHistogram) {
    std::mt19937_64 random(6);
    for (int i = 0; i < 200; ++i) {
        Histogram histogram = random_histogram(100, 1000, 60, random);
        const std::size_t bin = OtsuBin(histogram);
        histogram.insert(histogram.begin(), 37, 0);
        histogram.insert(histogram.end(), 12, 0);
        ASSERT_EQ(OtsuBin(histogram), bin + 37);
    }
}

TEST(Otsu, IsWhatTheAlgorithmClassCalculates) {
    std::mt19937_64 random(7);
    const Histogram histogram = random_histogram(256, 1000, 60, random);
    EXPECT_EQ(COtsu::CalculateThreshold(histogram), OtsuBin(histogram));
    EXPECT_EQ(COtsu("otsu", nullptr).Instance(), "otsu");
}

} // namespace
} // namespace TEVRA::test
