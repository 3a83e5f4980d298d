// SPDX-License-Identifier: BSD-3-Clause
// Range and bins of rows on every instruction set that the processor has, against one value at a time.
#include "Utils/RowStatistics.h"

#include "Utils/BinCounter.h"
#include "Utils/HistogramBin.h"
#include "Utils/visitors/PointOperationStatistics.h"
#include "support/InstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

namespace TEVRA::Impl {
namespace {

constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE = std::numeric_limits<float>::infinity();
constexpr float LARGEST = std::numeric_limits<float>::max();
constexpr std::size_t LENGTHS[] = {0, 1, 2, 3, 7, 8, 15, 16, 17, 63, 64, 65, 127, 128, 129, 511, 1000};

/// Numbers of all sizes, and values that are none.
std::vector<float> awkward_row(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-5.0F, 300.0F);
    const std::vector<float> special{NOT_A_NUMBER, INFINITE, -INFINITE, LARGEST,
                                     -LARGEST,     0.0F,     -0.0F,     1e-40F};
    std::vector<float> row(count);
    for (float& value : row) {
        value = random() % 8 == 0 ? special[random() % special.size()] : uniform(random);
    }
    return row;
}

TEST(RowExtent, IsThatOfOneValueAfterTheOtherOnEveryInstructionSet) {
    for (const EInstructionSet set : test::SupportedInstructionSets()) {
        for (const std::size_t count : LENGTHS) {
            const std::vector<float> row = awkward_row(count, static_cast<unsigned>(count));
            visitors::CAnalyzerMinMax<float> expected;
            std::for_each(row.begin(), row.end(), [&](float value) { expected(value); });
            SExtent extent;
            Extend(extent, row.data(), count, set);
            EXPECT_EQ(extent.lo, expected.Min()) << count << " values, " << NameOf(set);
            EXPECT_EQ(extent.hi, expected.Max()) << count << " values, " << NameOf(set);
        }
    }
}

TEST(RowExtent, FindsTheExtremesWhereverTheyStand) {
    for (const EInstructionSet set : test::SupportedInstructionSets()) {
        for (std::size_t at = 0; at < 200; ++at) {
            std::vector<float> row(200, 1.0F);
            row[at] = -3.0F;
            row[199 - at] = 7.0F;
            SExtent extent;
            Extend(extent, row.data(), row.size(), set);
            EXPECT_EQ(extent.lo, -3.0F) << "at " << at << ", " << NameOf(set);
            EXPECT_EQ(extent.hi, 7.0F) << "at " << at << ", " << NameOf(set);
        }
    }
}

TEST(RowExtent, KeepsWhatEarlierRowsHad) {
    const std::vector<float> row(100, 2.0F);
    SExtent extent{-1.0F, 5.0F};
    Extend(extent, row.data(), row.size());
    EXPECT_EQ(extent.lo, -1.0F);
    EXPECT_EQ(extent.hi, 5.0F);
}

TEST(RowExtent, OfNaNsOnlyIsEmpty) {
    const std::vector<float> row(100, NOT_A_NUMBER);
    SExtent extent;
    Extend(extent, row.data(), row.size());
    EXPECT_GT(extent.lo, extent.hi);
}

TEST(RowBins, AreThoseOfOneValueAfterTheOtherOnEveryInstructionSet) {
    const SBinning binnings[] = {{0.0F, 255.0F, 256},   {-3.5F, 17.25F, 1},
                                 {1.0F, 1.0000001F, 7}, {-LARGEST, LARGEST, 256},
                                 {0.0F, 1e-40F, 3},     {10.0F, 200.0F, SBinning::MOST_BINS}};
    for (const EInstructionSet set : test::SupportedInstructionSets()) {
        for (const SBinning& binning : binnings) {
            for (const std::size_t count : LENGTHS) {
                const std::vector<float> row = awkward_row(count, 7);
                std::vector<unsigned short> bins(count + 1, 9999);
                BinsOfRow(binning, row.data(), count, bins.data(), set);
                for (std::size_t x = 0; x < count; ++x) {
                    const std::size_t expected =
                        row[x] == row[x] ? HistogramBin(row[x], binning.min, binning.max, binning.bins)
                                         : binning.bins;
                    ASSERT_EQ(bins[x], expected)
                        << row[x] << " in " << binning.bins << " bins from " << binning.min << " to "
                        << binning.max << ", " << NameOf(set);
                }
                EXPECT_EQ(bins[count], 9999) << "behind the row's end";
            }
        }
    }
}

TEST(BinCounter, CountsEachBinInRowsOfAnyLength) {
    std::mt19937 random(3);
    std::vector<unsigned long long> expected(5);
    CBinCounter<unsigned long long> counter(5);
    for (const std::size_t count : LENGTHS) {
        std::vector<unsigned short> bins(count);
        for (unsigned short& bin : bins) {
            bin = static_cast<unsigned short>(random() % 5);
            ++expected[bin];
        }
        counter.Add(bins.data(), count);
    }
    std::vector<unsigned long long> histogram(5);
    counter.MoveTo(histogram);
    EXPECT_EQ(histogram, expected);
}

TEST(BinCounter, AddsToAHistogramAndLeavesBinsBehindItsEndOut) {
    CBinCounter<unsigned long long> counter(3);
    const std::vector<unsigned short> bins{0, 1, 2, 2, 2, 2, 1};
    counter.Add(bins.data(), bins.size());
    std::vector<unsigned long long> histogram{10, 20};
    counter.MoveTo(histogram);
    EXPECT_EQ(histogram, (std::vector<unsigned long long>{11, 22}));
    counter.MoveTo(histogram);
    EXPECT_EQ(histogram, (std::vector<unsigned long long>{11, 22})) << "counts are moved, not copied";
}

} // namespace
} // namespace TEVRA::Impl
