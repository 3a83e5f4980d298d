// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/ConfidenceSums.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <random>
#include <vector>

namespace TEVRA::Impl {
namespace {

/// Angles and confidence of a row; two pixels of five have no axis.
struct SRow {
    explicit SRow(std::size_t count) : angle(count), confidence(count) {
        std::mt19937 random(static_cast<unsigned>(count));
        for (std::size_t at = 0; at < count; ++at) {
            angle[at] = random() % 5U < 2U ? -1.0F : 0.25F * static_cast<float>(random() % 4U);
            confidence[at] = static_cast<float>(random() % 10001U) / 10000.0F;
        }
    }
    std::vector<float> angle;
    std::vector<float> confidence;
};

TEST(ConfidenceSums, AddUpThePixelsWithAnAxis) {
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{3}, std::size_t{63},
                                    std::size_t{64}, std::size_t{65}, std::size_t{1000}, std::size_t{4099}}) {
        const SRow row(count);
        double sum = 0.0;
        long long axes = 0;
        long long doubtful = 0;
        for (std::size_t at = 0; at < count; ++at) {
            if (row.angle[at] >= 0.0F) {
                sum += static_cast<double>(row.confidence[at]);
                ++axes;
                doubtful += row.confidence[at] < 0.5F ? 1 : 0;
            }
        }
        SConfidenceSums sums;
        AddConfidenceOfRow(row.angle.data(), row.confidence.data(), count, sums);
        EXPECT_EQ(sums.doubtful, doubtful) << count;
        if (axes > 0) {
            EXPECT_NEAR(sums.Mean(axes), sum / static_cast<double>(axes), 1.0 / (1 << 24)) << count;
        }
    }
}

TEST(ConfidenceSums, AreTheSameHoweverARowIsCut) {
    const SRow row(1000);
    SConfidenceSums whole;
    AddConfidenceOfRow(row.angle.data(), row.confidence.data(), row.angle.size(), whole);
    SConfidenceSums parts;
    for (const std::array<std::size_t, 2> part :
         {std::array<std::size_t, 2>{517, 1000}, {0, 3}, {130, 517}, {3, 130}}) {
        SConfidenceSums one;
        AddConfidenceOfRow(row.angle.data() + part[0], row.confidence.data() + part[0], part[1] - part[0],
                           one);
        parts.Add(one);
    }
    EXPECT_EQ(parts.parts, whole.parts);
    EXPECT_EQ(parts.doubtful, whole.doubtful);
}

TEST(ConfidenceSums, HoldMoreFullConfidenceThan32Bits) {
    const std::vector<float> angle(5000, 0.0F);
    const std::vector<float> confidence(5000, 1.0F);
    SConfidenceSums sums;
    AddConfidenceOfRow(angle.data(), confidence.data(), angle.size(), sums);
    EXPECT_EQ(sums.Mean(5000), 1.0);
    EXPECT_EQ(sums.doubtful, 0);
}

} // namespace
} // namespace TEVRA::Impl
