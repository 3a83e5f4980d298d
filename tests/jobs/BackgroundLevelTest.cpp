// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/BackgroundLevel.h"

#include "support/MakeImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace TEVRA::jobs {
namespace {

using test::MakeImage;
using test::PixelsOf;

const std::vector<long long> REACH = {5, 5};

/// Stripes of fibers, 4 of 10 columns wide, on another grey level.
std::unique_ptr<CImage> stripes(double background, double fiber, double noise = 0.0) {
    std::mt19937 random(1);
    std::normal_distribution<double> error(0.0, 1.0);
    return MakeImage<float>(IMAGE_GREY_F, CSize(60, 50), [&](long long x, long long, long long) {
        return (x % 10 < 4 ? fiber : background) + noise * error(random);
    });
}

double level_of(const CImage& image, const CImage* mask = nullptr) {
    return BackgroundLevel(image, SplitGreyValues(image), mask, REACH);
}

TEST(BackgroundLevel, IsTheGreyValueBetweenFibers) {
    EXPECT_EQ(level_of(*stripes(0, 200)), 0.0);
    EXPECT_EQ(level_of(*stripes(150, 250)), 150.0);
    EXPECT_EQ(level_of(*stripes(-1000, -700)), -1000.0);
    const auto bytes =
        MakeImage<unsigned char>(IMAGE_GREY_8, CSize(30, 20),
                                 [](long long x, long long, long long) { return x % 10 < 4 ? 250 : 240; });
    EXPECT_EQ(level_of(*bytes), 240.0);
    const auto words =
        MakeImage<unsigned short>(IMAGE_GREY_16, CSize(30, 20), [](long long x, long long, long long) {
            return x % 10 < 4 ? 40000 : 30000;
        });
    EXPECT_EQ(level_of(*words), 30000.0);
}

TEST(BackgroundLevel, IsHardlyMovedByNoise) {
    EXPECT_NEAR(level_of(*stripes(150, 250, 15)), 150.0, 1.5);
}

TEST(BackgroundLevel, IsHardlyMovedByAFewWrongPixels) {
    const auto image = stripes(100, 200);
    image->Pixels<float>()[5] = -300.0F; // a dead pixel
    EXPECT_EQ(level_of(*image), 100.0);
}

TEST(BackgroundLevel, IsThatOfTheBorder) {
    const auto inside = [](long long x, long long y) { return x >= 10 && x < 50 && y >= 10 && y < 40; };
    const auto image =
        MakeImage<float>(IMAGE_GREY_F, CSize(60, 50), [&](long long x, long long y, long long) {
            return x % 10 < 4 ? 1000.0 : inside(x, y) ? 80.0 : 20.0;
        });
    EXPECT_EQ(level_of(*image), 20.0);
}

TEST(BackgroundLevel, IsThatOfTheInsideWhereTheBorderIsAllFiber) {
    const auto image = MakeImage<float>(IMAGE_GREY_F, CSize(60, 50), [](long long x, long long y, long long) {
        return x >= 10 && x < 50 && y >= 10 && y < 40 ? 80.0 : 200.0;
    });
    EXPECT_EQ(level_of(*image), 80.0);
}

TEST(BackgroundLevel, IsThatOutsideTheMask) {
    const auto image = stripes(100, 50); // fibers that the automatic threshold would take for background
    const auto mask = MakeImage<unsigned char>(
        IMAGE_BINARY_FG, CSize(60, 50), [](long long x, long long, long long) { return x % 10 < 4 ? 1 : 0; });
    EXPECT_EQ(level_of(*image, mask.get()), 100.0);
    const auto full = MakeImage<unsigned char>(IMAGE_BINARY_FG, CSize(60, 50),
                                               [](long long, long long, long long) { return 1; });
    EXPECT_EQ(level_of(*image, full.get()), 50.0);
}

TEST(ForegroundThreshold, IsThatOfTheFilterBankOnABackgroundOfZero) {
    const SGreySplit split{100.0, 101.0, 0.0, 255.0};
    EXPECT_EQ(ForegroundThreshold(split, 0.0), 105.0);
}

TEST(ForegroundThreshold, MovesWithTheBackground) {
    for (const double offset : {-1000.0, 150.0, 4000.0}) {
        const SGreySplit moved{100.0 + offset, 101.0 + offset, offset, 255.0 + offset};
        EXPECT_DOUBLE_EQ(ForegroundThreshold(moved, offset), 105.0 + offset);
    }
}

TEST(ForegroundThreshold, PartsTwoValues) {
    for (const double background : {0.0, 240.0, -7.0}) {
        const auto image = stripes(background, background + 10);
        const SGreySplit split = SplitGreyValues(*image);
        const auto mask = PixelsFrom(*image, ForegroundThreshold(split, level_of(*image)));
        const std::vector<unsigned char> isFiber = PixelsOf<unsigned char>(*mask);
        for (std::size_t i = 0; i < isFiber.size(); ++i) {
            EXPECT_EQ(isFiber[i], i % 10 < 4 ? 1 : 0) << i;
        }
    }
}

TEST(WithoutBackground, ScalesByAPowerOfTwoToAtMostAnEighth) {
    for (const double scale : {1e-30, 1e-3, 1.0, 3000.0, 1e30}) {
        const auto image = stripes(-100 * scale, 27 * scale);
        const double background = static_cast<double>(
            *std::min_element(image->Pixels<float>(), image->Pixels<float>() + image->Size().Elements()));
        const SFlatImage flat = WithoutBackground(*image, SplitGreyValues(*image), background);
        int exponent = 0;
        EXPECT_EQ(std::frexp(flat.scale, &exponent), 0.5);
        const std::vector<float> values = PixelsOf<float>(*flat.image);
        const float largest = *std::max_element(values.begin(), values.end());
        EXPECT_LE(largest, 0.125F);
        EXPECT_GE(largest, 0.0625F);
        EXPECT_EQ(*std::min_element(values.begin(), values.end()), 0.0F);
        EXPECT_NEAR(static_cast<double>(values[0]) / flat.scale + background, 27 * scale, 1e-5 * scale);
    }
}

} // namespace
} // namespace TEVRA::jobs
