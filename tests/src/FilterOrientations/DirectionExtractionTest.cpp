// SPDX-License-Identifier: BSD-3-Clause
// The estimator's second stage: foreground, axis and angles of every pixel, from Hessian matrices given.
#include "Axes/AxisAngles.h"
#include "FilterOrientations/HessianOrientations.h"

#include "src/TestAccess.h"
#include "support/MakeImage.h"
#include "support/MemoryLimit.h"
#include "support/ThrownException.h"
#include "zeklib2core/Exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <vector>

namespace TEVRA {
namespace {

using Vector2 = std::array<double, 2>;
using Vector3 = std::array<double, 3>;
using EVSelect = CHessianOrientations::eEVSelect;

constexpr float PI_F = std::numbers::pi_v<float>;
constexpr float NO_ANGLE = -4.1415925F;
constexpr EVSelect SMALLEST = CHessianOrientations::eEVSmallest;
constexpr EVSelect LARGEST = CHessianOrientations::eEVLargest;

/// The distinct entries of one pixel's Hessian.
struct SEntries {
    float xx = 0.0F;
    float yy = 0.0F;
    float zz = 0.0F;
    float xy = 0.0F;
    float xz = 0.0F;
    float yz = 0.0F;
};

std::unique_ptr<CImage> float_image(const CSize& size, const std::vector<float>& pixels) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_F, size, CSize(0, 0, 0));
    std::copy(pixels.begin(), pixels.end(), image->Pixels<float>());
    return image;
}

std::unique_ptr<CImage> entry_image(const CSize& size, const std::vector<SEntries>& hessians,
                                    float SEntries::*entry) {
    std::vector<float> pixels;
    for (const SEntries& hessian : hessians) {
        pixels.push_back(hessian.*entry);
    }
    return float_image(size, pixels);
}

/// Gives an estimator smoothed grey values and Hessian matrices, one per pixel, x fastest.
void set_hessian(CHessianOrientations& estimator, const CSize& size, const std::vector<float>& smoothed,
                 const std::vector<SEntries>& hessians) {
    CTestAccess::SHessian images;
    images.smoothed = float_image(size, smoothed);
    images.xx = entry_image(size, hessians, &SEntries::xx);
    images.yy = entry_image(size, hessians, &SEntries::yy);
    images.xy = entry_image(size, hessians, &SEntries::xy);
    if (size.Dim() == 3) {
        images.zz = entry_image(size, hessians, &SEntries::zz);
        images.xz = entry_image(size, hessians, &SEntries::xz);
        images.yz = entry_image(size, hessians, &SEntries::yz);
    }
    CTestAccess::SetHessian(estimator, std::move(images));
}

struct SMaps {
    std::vector<float> theta;
    std::vector<float> phi; ///< empty in 2D
};

SMaps maps_of(const CHessianOrientations& estimator) {
    const std::vector<CImage*> images = CTestAccess::Images(estimator);
    SMaps maps;
    maps.theta = test::PixelsOf<float>(*images[8]);
    if (images[7] != nullptr) {
        maps.phi = test::PixelsOf<float>(*images[7]);
    }
    return maps;
}

/// The maps for Hessian matrices at foreground pixels of a row.
SMaps directions(const std::vector<SEntries>& hessians, int dim, EVSelect select = SMALLEST) {
    const auto count = static_cast<long long>(hessians.size());
    const CSize size = dim == 3 ? CSize(count, 1, 1) : CSize(count, 1);
    CHessianOrientations estimator;
    set_hessian(estimator, size, std::vector<float>(hessians.size(), 0.0F), hessians);
    const std::vector<unsigned char> mask(hessians.size(), 1);
    CTestAccess::ComputeDirections(estimator, mask.data(), select);
    return maps_of(estimator);
}

Vector3 unit(const Vector3& v) {
    const double length = std::hypot(v[0], v[1], v[2]);
    return {v[0] / length, v[1] / length, v[2] / length};
}

Vector3 cross(const Vector3& a, const Vector3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// Sum of value[k] * axis[k] axis[k]^T.
SEntries hessian_of(const std::array<Vector3, 3>& axes, const Vector3& values) {
    const auto entry = [&](std::size_t i, std::size_t j) {
        double sum = 0.0;
        for (std::size_t k = 0; k < 3; ++k) {
            sum += values[k] * axes[k][i] * axes[k][j];
        }
        return static_cast<float>(sum);
    };
    return {entry(0, 0), entry(1, 1), entry(2, 2), entry(0, 1), entry(0, 2), entry(1, 2)};
}

/// The angle between an axis and the one that stored angles stand for.
double error_of(const Vector3& axis, float thetaRad, float phiRad) {
    const double theta = static_cast<double>(thetaRad);
    const double phi = static_cast<double>(phiRad);
    const Vector3 stored = {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi),
                            std::cos(theta)};
    const Vector3 product = cross(axis, stored);
    return std::asin(std::min(1.0, std::hypot(product[0], product[1], product[2])));
}

bool is_negative_zero(float value) {
    return value == 0.0F && std::signbit(value);
}

} // namespace

TEST(DirectionExtraction, TakesTheAxisOfTheSmallestOrLargestAbsoluteEigenvalue) {
    std::mt19937 generator(11);
    std::normal_distribution<double> normal;
    std::vector<SEntries> hessians;
    std::vector<std::array<Vector3, 3>> truth;
    const std::vector<Vector3> eigenvalues = {{-5, 3, 0.5}, {5, -3, -0.5}, {-5, -3, 0.01}, {4, 2, 1},
                                              {-4, -2, -1}, {100, -30, 2}, {0.5, 0.2, 0},  {-9, 1, -3}};
    for (int trial = 0; trial < 400; ++trial) {
        const Vector3 a = unit({normal(generator), normal(generator), normal(generator)});
        const Vector3 b = unit(cross(a, {normal(generator), normal(generator), normal(generator)}));
        std::array<Vector3, 3> axes = {a, b, cross(a, b)};
        const Vector3& values = eigenvalues[static_cast<std::size_t>(trial) % eigenvalues.size()];
        hessians.push_back(hessian_of(axes, values));
        if (std::abs(values[1]) < std::abs(values[2])) { // keep the smallest absolute value last
            std::swap(axes[1], axes[2]);
        }
        truth.push_back(axes);
    }
    const SMaps smallest = directions(hessians, 3, SMALLEST);
    const SMaps largest = directions(hessians, 3, LARGEST);
    for (std::size_t i = 0; i < hessians.size(); ++i) {
        EXPECT_LT(error_of(truth[i][2], smallest.theta[i], smallest.phi[i]), 2e-6) << "pixel " << i;
        EXPECT_LT(error_of(truth[i][0], largest.theta[i], largest.phi[i]), 2e-6) << "pixel " << i;
        for (const SMaps* maps : {&smallest, &largest}) {
            EXPECT_GE(maps->theta[i], 0.0F);
            EXPECT_LE(maps->theta[i], PI_F / 2);
            EXPECT_GT(maps->phi[i], -PI_F);
            EXPECT_LE(maps->phi[i], PI_F);
        }
    }
}

TEST(DirectionExtraction, InThePlaneTakesTheAxisOfTheSmallestOrLargestAbsoluteEigenvalue) {
    std::vector<SEntries> hessians;
    std::vector<double> alongRad;
    for (int step = 0; step < 360; ++step) {
        const double angle = std::numbers::pi * (static_cast<double>(step) + 0.25) / 360.0;
        const double c = std::cos(angle);
        const double s = std::sin(angle);
        const double along = step % 2 == 0 ? 0.5 : -0.5;
        const double across = step % 3 == 0 ? 4.0 : -4.0;
        SEntries hessian;
        hessian.xx = static_cast<float>(along * c * c + across * s * s);
        hessian.yy = static_cast<float>(along * s * s + across * c * c);
        hessian.xy = static_cast<float>((along - across) * c * s);
        hessians.push_back(hessian);
        alongRad.push_back(angle);
    }
    const std::vector<float> smallest = directions(hessians, 2, SMALLEST).theta;
    const std::vector<float> largest = directions(hessians, 2, LARGEST).theta;
    for (std::size_t i = 0; i < hessians.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(smallest[i]), alongRad[i], 2e-6) << "pixel " << i;
        const double across = std::fmod(alongRad[i] + std::numbers::pi / 2, std::numbers::pi);
        EXPECT_NEAR(static_cast<double>(largest[i]), across, 2e-6) << "pixel " << i;
        EXPECT_GE(smallest[i], 0.0F);
        EXPECT_LE(smallest[i], PI_F);
    }
}

TEST(DirectionExtraction, TakesEveryOtherSelectionForTheLargestEigenvalue) {
    const std::vector<SEntries> hessians = {{0.1F, 3, 5, 0.2F, 0.3F, -0.4F}, {4, -1, 2, 1, 0.5F, 0.25F}};
    for (const int other : {2, -1, 100}) {
        EXPECT_EQ(directions(hessians, 3, static_cast<EVSelect>(other)).theta,
                  directions(hessians, 3, LARGEST).theta);
        EXPECT_EQ(directions(hessians, 2, static_cast<EVSelect>(other)).theta,
                  directions(hessians, 2, LARGEST).theta);
    }
    EXPECT_NE(directions(hessians, 3, SMALLEST).theta, directions(hessians, 3, LARGEST).theta);
}

TEST(DirectionExtraction, OfAxesAlongTheCoordinatesGivesTheirAngles) {
    // Smallest absolute eigenvalue along x, y, z.
    const SMaps maps = directions({{0.1F, 3, 5}, {5, 0.1F, 3}, {3, -5, 0.1F}}, 3);
    EXPECT_FLOAT_EQ(maps.theta[0], PI_F / 2);
    EXPECT_TRUE(maps.phi[0] == 0.0F || maps.phi[0] == PI_F) << maps.phi[0];
    EXPECT_FLOAT_EQ(maps.theta[1], PI_F / 2);
    EXPECT_FLOAT_EQ(std::abs(maps.phi[1]), PI_F / 2);
    EXPECT_EQ(maps.theta[2], 0.0F);
    const SMaps plane = directions({{0.1F, 3}, {3, 0.1F}}, 2);
    EXPECT_TRUE(plane.theta[0] == 0.0F || plane.theta[0] == PI_F) << plane.theta[0];
    EXPECT_FLOAT_EQ(plane.theta[1], PI_F / 2);
}

TEST(DirectionExtraction, HasNoLongitudeMapInThePlane) {
    EXPECT_TRUE(directions({{0.1F, 3}}, 2).phi.empty());
}

TEST(DirectionExtraction, OfAZeroHessianTakesWhateverAxisTheDecompositionGives) {
    const SMaps maps = directions({{}, {}}, 3);
    EXPECT_GE(maps.theta[0], 0.0F);
    EXPECT_LE(maps.theta[0], PI_F / 2);
    EXPECT_GT(maps.phi[0], -PI_F);
    EXPECT_LE(maps.phi[0], PI_F);
    const float alpha = directions({{}}, 2).theta[0];
    EXPECT_GE(alpha, 0.0F);
    EXPECT_LE(alpha, PI_F);
}

TEST(DirectionExtraction, MarksPixelsWhoseDecompositionFails) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float inf = std::numeric_limits<float>::infinity();
    const SEntries good{0.1F, 3, 5};
    SEntries bad = good;
    bad.xz = nan;
    SEntries worse = good;
    worse.yy = inf;
    const SMaps maps = directions({good, bad, worse, good}, 3);
    EXPECT_GE(maps.theta[0], 0.0F);
    EXPECT_EQ(maps.theta[1], -1.0F);
    EXPECT_EQ(maps.phi[1], NO_ANGLE);
    EXPECT_EQ(maps.theta[2], -1.0F);
    EXPECT_EQ(maps.phi[2], NO_ANGLE);
    EXPECT_GE(maps.theta[3], 0.0F) << "the scan goes on";
    bad.xy = nan;
    EXPECT_EQ(directions({bad}, 2).theta[0], NO_ANGLE);
}

TEST(DirectionExtraction, MarksBackgroundWithFixedBitPatterns) {
    CHessianOrientations estimator;
    const std::vector<unsigned char> mask = {0, 0};
    set_hessian(estimator, CSize(2, 1, 1), {1, 2}, {{1, 2, 3}, {1, 2, 3}});
    CTestAccess::ComputeDirections(estimator, mask.data(), SMALLEST);
    const SMaps volume = maps_of(estimator);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(volume.theta[0]), 0xBF800000U) << "-1";
    EXPECT_EQ(std::bit_cast<std::uint32_t>(volume.phi[0]), 0xC08487EDU);
    set_hessian(estimator, CSize(2, 1), {1, 2}, {{1, 2}, {1, 2}});
    CTestAccess::ComputeDirections(estimator, mask.data(), SMALLEST);
    const SMaps plane = maps_of(estimator);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(plane.theta[0]), 0xC08487EDU) << "not -1";
    EXPECT_TRUE(plane.phi.empty());
}

TEST(DirectionExtraction, CountsPixelsAboveTheThresholdOnlyAsForeground) {
    // Otsu's bin is 128 of 256 in [2, 6], so that a factor of 1 gives a threshold of exactly 4.
    std::vector<float> smoothed(201, 4.0F);
    smoothed[0] = 2.0F;
    std::fill(smoothed.begin() + 101, smoothed.end(), 6.0F);
    const std::vector<SEntries> hessians(smoothed.size(), SEntries{0.1F, 3, 5});
    CHessianOrientations estimator(1.0);
    set_hessian(estimator, CSize(201, 1, 1), smoothed, hessians);
    CTestAccess::ComputeDirections(estimator, nullptr, SMALLEST);
    EXPECT_EQ(estimator.Threshold(), 4.0);
    const SMaps maps = maps_of(estimator);
    for (std::size_t i = 0; i < smoothed.size(); ++i) {
        EXPECT_EQ(maps.theta[i] >= 0.0F, smoothed[i] > 4.0F) << "pixel " << i;
        EXPECT_EQ(maps.phi[i] == NO_ANGLE, smoothed[i] <= 4.0F) << "pixel " << i;
    }
}

TEST(DirectionExtraction, ScalesTheThresholdByTheEstimatorsFactor) {
    std::vector<float> smoothed(201, 4.0F);
    smoothed[0] = 2.0F;
    std::fill(smoothed.begin() + 101, smoothed.end(), 6.0F);
    const std::vector<SEntries> hessians(smoothed.size());
    for (const double factor : {0.5, 1.25, 1.75}) {
        CHessianOrientations estimator(factor);
        set_hessian(estimator, CSize(201, 1), smoothed, hessians);
        CTestAccess::ComputeDirections(estimator, nullptr, SMALLEST);
        EXPECT_EQ(estimator.Threshold(), 0.5 * factor * 4.0 + 2.0);
        EXPECT_EQ(maps_of(estimator).theta[50] >= 0.0F, factor < 1.0);
    }
}

TEST(DirectionExtraction, UsesAFactorOfOneAndAQuarterByDefault) {
    EXPECT_EQ(CHessianOrientations::m_fDefaultOtsuFactor, 1.25);
    std::vector<float> smoothed(201, 4.0F);
    smoothed[0] = 2.0F;
    std::fill(smoothed.begin() + 101, smoothed.end(), 6.0F);
    CHessianOrientations estimator;
    EXPECT_EQ(estimator.Threshold(), 0.0) << "before any run";
    set_hessian(estimator, CSize(201, 1), smoothed, std::vector<SEntries>(201));
    CTestAccess::ComputeDirections(estimator, nullptr, SMALLEST);
    EXPECT_EQ(estimator.Threshold(), 0.5 * 1.25 * 4.0 + 2.0);
}

TEST(DirectionExtraction, TakesEveryNonZeroMaskByteAsForegroundXFastest) {
    const CSize size(4, 3, 2);
    std::vector<unsigned char> mask(size.Elements(), 0);
    mask[1] = 1;
    mask[6] = 255;
    mask[14] = 2;
    mask[23] = 128;
    const std::vector<float> dark(size.Elements(), 0.0F);
    CHessianOrientations estimator;
    set_hessian(estimator, size, dark, std::vector<SEntries>(size.Elements(), SEntries{0.1F, 3, 5}));
    CTestAccess::ComputeDirections(estimator, mask.data(), SMALLEST);
    const SMaps maps = maps_of(estimator);
    for (std::size_t i = 0; i < mask.size(); ++i) {
        EXPECT_EQ(maps.theta[i] >= 0.0F, mask[i] != 0) << "pixel " << i;
    }
}

TEST(DirectionExtraction, WithAMaskKeepsTheThresholdOfTheRunBefore) {
    const CSize size(201, 1);
    std::vector<float> smoothed(201, 4.0F);
    smoothed[0] = 2.0F;
    std::fill(smoothed.begin() + 101, smoothed.end(), 6.0F);
    const std::vector<unsigned char> mask(201, 0);
    CHessianOrientations estimator;
    set_hessian(estimator, size, smoothed, std::vector<SEntries>(201));
    CTestAccess::ComputeDirections(estimator, mask.data(), SMALLEST);
    EXPECT_EQ(estimator.Threshold(), 0.0);
    CTestAccess::ComputeDirections(estimator, nullptr, SMALLEST);
    const double threshold = estimator.Threshold();
    EXPECT_GT(threshold, 0.0);
    CTestAccess::ComputeDirections(estimator, mask.data(), SMALLEST);
    EXPECT_EQ(estimator.Threshold(), threshold);
}

TEST(DirectionExtraction, WithAMaskOfZerosLeavesMarkersOnly) {
    const CSize size(3, 2, 2);
    const std::vector<unsigned char> mask(size.Elements(), 0);
    CHessianOrientations estimator;
    set_hessian(estimator, size, std::vector<float>(size.Elements(), 100.0F),
                std::vector<SEntries>(size.Elements(), SEntries{0.1F, 3, 5}));
    CTestAccess::ComputeDirections(estimator, mask.data(), SMALLEST);
    EXPECT_THAT(maps_of(estimator).theta, testing::Each(-1.0F));
    EXPECT_THAT(maps_of(estimator).phi, testing::Each(NO_ANGLE));
    EXPECT_EQ(estimator.Threshold(), 0.0);
}

TEST(DirectionExtraction, ReadsMaskAndImagesAtTheSamePlace) {
    // Every pixel of a volume gets an axis of its own.
    const CSize size(5, 4, 3);
    std::vector<SEntries> hessians;
    std::vector<Vector3> axes;
    std::mt19937 generator(5);
    std::normal_distribution<double> normal;
    for (std::size_t i = 0; i < size.Elements(); ++i) {
        const Vector3 a = unit({normal(generator), normal(generator), normal(generator)});
        const Vector3 b = unit(cross(a, {1.0, 0.3, -0.7}));
        hessians.push_back(hessian_of({a, b, cross(a, b)}, {0.1, 4, -6}));
        axes.push_back(a);
    }
    CHessianOrientations estimator;
    set_hessian(estimator, size, std::vector<float>(size.Elements()), hessians);
    const std::vector<unsigned char> mask(size.Elements(), 1);
    CTestAccess::ComputeDirections(estimator, mask.data(), SMALLEST);
    const SMaps maps = maps_of(estimator);
    for (std::size_t i = 0; i < axes.size(); ++i) {
        EXPECT_LT(error_of(axes[i], maps.theta[i], maps.phi[i]), 2e-6) << "pixel " << i;
    }
}

TEST(DirectionExtraction, ReplacesTheMapsOfAnEarlierCall) {
    const test::CPixelLeakCheck leakCheck;
    CHessianOrientations estimator;
    const std::vector<unsigned char> all = {1};
    const std::vector<unsigned char> none = {0};
    set_hessian(estimator, CSize(1, 1, 1), {0}, {{0.1F, 3, 5}});
    CTestAccess::ComputeDirections(estimator, all.data(), SMALLEST);
    const std::size_t inUse = CPixelMemory::BytesInUse();
    CTestAccess::ComputeDirections(estimator, none.data(), SMALLEST);
    EXPECT_EQ(CPixelMemory::BytesInUse(), inUse);
    EXPECT_EQ(maps_of(estimator).theta[0], -1.0F);
}

TEST(DirectionExtraction, LeavesNoMapsWhenTheThresholdCannotBeFound) {
    const test::CPixelLeakCheck leakCheck;
    CHessianOrientations estimator;
    const std::vector<unsigned char> mask = {1, 1};
    const std::vector<float> constant = {7, 7};
    set_hessian(estimator, CSize(2, 1, 1), constant, {{0.1F, 3, 5}, {0.1F, 3, 5}});
    CTestAccess::ComputeDirections(estimator, mask.data(), SMALLEST);
    EXPECT_THROW(CTestAccess::ComputeDirections(estimator, nullptr, SMALLEST), CException);
    EXPECT_EQ(CTestAccess::Images(estimator)[7], nullptr) << "those of the earlier call";
    EXPECT_EQ(CTestAccess::Images(estimator)[8], nullptr);
}

TEST(DirectionExtraction, KeepsTheHessian) {
    CHessianOrientations estimator;
    const std::vector<unsigned char> mask = {1};
    set_hessian(estimator, CSize(1, 1, 1), {7}, {{0.1F, 3, 5, 0.25F, 0.5F, 0.75F}});
    CTestAccess::ComputeDirections(estimator, mask.data(), SMALLEST);
    const std::vector<float> expected = {7, 0.1F, 3, 5, 0.25F, 0.5F, 0.75F};
    for (std::size_t image = 0; image < expected.size(); ++image) {
        ASSERT_NE(CTestAccess::Images(estimator)[image], nullptr);
        EXPECT_EQ(CTestAccess::Images(estimator)[image]->Pixels<float>()[0], expected[image]);
    }
}

TEST(DirectionExtraction, OfAConstantImageFailsWithTheRangeMessage) {
    for (const int value : {0, 1, 100, 255}) {
        for (const CSize& size : {CSize(20, 18), CSize(16, 14, 12)}) {
            const auto image =
                test::MakeImage<unsigned char>(IMAGE_GREY_8, size, [=](auto...) { return value; });
            CHessianOrientations estimator;
            const std::string message = test::MessageOf(
                [&] { estimator.compute(*image, 2.0, nullptr, CHessianOrientations::eEVSmallest); });
            EXPECT_EQ(message.substr(0, 23), "Value range is invalid ")
                << "grey value " << value << ", size " << size.ToString();
        }
    }
}

TEST(DirectionExtraction, OfACylinderFollowsItsAxis) {
    constexpr long long SIZE = 24;
    constexpr double CENTRE = 11.5;
    for (int axis = 0; axis < 3; ++axis) {
        const auto image = test::MakeImage<unsigned char>(
            IMAGE_GREY_8, CSize(SIZE, SIZE, SIZE), [=](long long x, long long y, long long z) {
                const std::array<long long, 3> at = {x, y, z};
                const double a = static_cast<double>(at[static_cast<std::size_t>((axis + 1) % 3)]) - CENTRE;
                const double b = static_cast<double>(at[static_cast<std::size_t>((axis + 2) % 3)]) - CENTRE;
                return std::hypot(a, b) < 3.0 ? 200 : 20;
            });
        CHessianOrientations estimator;
        estimator.compute(*image, 3.0, nullptr, CHessianOrientations::eEVSmallest);
        const IImage* theta = nullptr;
        const IImage* phi = nullptr;
        estimator.get(theta, phi);
        const SMaps maps = maps_of(estimator);
        int foreground = 0;
        for (long long k = 0; k < SIZE; ++k) {
            std::array<long long, 3> at = {11, 11, 11};
            at[static_cast<std::size_t>(axis)] = k;
            const auto i = static_cast<std::size_t>((at[2] * SIZE + at[1]) * SIZE + at[0]);
            if (maps.theta[i] < 0.0F) {
                continue;
            }
            ++foreground;
            if (axis == 2) {
                EXPECT_LT(maps.theta[i], 0.01F);
            } else {
                EXPECT_NEAR(maps.theta[i], PI_F / 2, 0.01F);
                const float phiRad = std::abs(maps.phi[i]);
                EXPECT_NEAR(axis == 0 ? std::min(phiRad, PI_F - phiRad) : std::abs(phiRad - PI_F / 2), 0.0F,
                            0.01F);
            }
        }
        EXPECT_EQ(foreground, SIZE) << "the middle of a bright cylinder is foreground, axis " << axis;
    }
}

TEST(DirectionExtraction, OfARunInThePlaneHoldsAnglesUpToPiOrTheMarker) {
    const auto image =
        test::MakeImage<unsigned char>(IMAGE_GREY_8, CSize(40, 37), [](long long x, long long y, long long) {
            return (x * x * 3 + y * 17 + x * y * 7) % 256;
        });
    CHessianOrientations estimator;
    estimator.compute(*image, 1.5, nullptr, CHessianOrientations::eEVSmallest);
    int foreground = 0;
    for (const float angle : maps_of(estimator).theta) {
        const bool isAngle = angle >= 0.0F && angle <= PI_F;
        foreground += isAngle ? 1 : 0;
        EXPECT_TRUE(isAngle || angle == NO_ANGLE) << angle;
    }
    EXPECT_GT(foreground, 0);
    EXPECT_LT(foreground, 40 * 37);
}

TEST(DirectionExtraction, IsTheSameForAnImageThatIsAMaskAndForItsBytes) {
    const CSize size(20, 18);
    const auto image = test::MakeImage<unsigned char>(
        IMAGE_GREY_8, size, [](long long x, long long y, long long) { return (x * 31 + y * 17) % 200; });
    const auto mask = test::MakeImage<unsigned char>(
        IMAGE_BINARY_FG, size, [](long long x, long long y, long long) { return x > y ? 3 * x : 0; });
    CHessianOrientations estimator;
    estimator.compute(*image, 1.5, mask.get(), CHessianOrientations::eEVSmallest);
    const SMaps maps = maps_of(estimator);
    const std::vector<unsigned char> bytes = test::PixelsOf<unsigned char>(*mask);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        EXPECT_EQ(maps.theta[i] >= 0.0F, bytes[i] != 0) << "pixel " << i;
    }
}

TEST(AxisAngles, FoldAxesIntoTheUpperHalfSpace) {
    for (const Vector3& axis : {Vector3{0.36, 0.48, 0.8}, {-0.36, 0.48, 0.8}, {0.6, -0.64, 0.48}}) {
        const Impl::SAxisAngles up = Impl::AnglesOfAxis(axis);
        EXPECT_EQ(up.colatitudeRad, static_cast<float>(std::acos(axis[2])));
        EXPECT_EQ(up.longitudeRad, static_cast<float>(std::atan2(axis[1], axis[0])));
        const Impl::SAxisAngles down = Impl::AnglesOfAxis({-axis[0], -axis[1], -axis[2]});
        EXPECT_EQ(down.colatitudeRad, up.colatitudeRad);
        EXPECT_EQ(down.longitudeRad, up.longitudeRad);
    }
}

TEST(AxisAngles, LeaveAnAxisInTheEquatorAsItIs) {
    const Impl::SAxisAngles plus = Impl::AnglesOfAxis({0.6, 0.8, 0.0});
    const Impl::SAxisAngles minus = Impl::AnglesOfAxis({-0.6, -0.8, 0.0});
    EXPECT_EQ(plus.colatitudeRad, static_cast<float>(std::numbers::pi / 2));
    EXPECT_EQ(minus.colatitudeRad, static_cast<float>(std::numbers::pi / 2));
    EXPECT_EQ(plus.longitudeRad, static_cast<float>(std::atan2(0.8, 0.6)));
    EXPECT_EQ(minus.longitudeRad, static_cast<float>(std::atan2(-0.8, -0.6)));
}

TEST(AxisAngles, CountNegativeZeroAsZero) {
    EXPECT_EQ(Impl::AnglesOfAxis({-1.0, -0.0, 0.0}).longitudeRad, PI_F) << "never -pi";
    EXPECT_EQ(Impl::AnglesOfAxis({0.6, -0.0, -0.8}).longitudeRad, PI_F) << "negated by the folding";
    EXPECT_EQ(Impl::AnglesOfAxis({0.6, 0.0, -0.8}).longitudeRad, PI_F);
    EXPECT_FALSE(is_negative_zero(Impl::AnglesOfAxis({1.0, -0.0, 0.0}).longitudeRad));
    EXPECT_EQ(Impl::AnglesOfAxis({-1.0, 0.0, -0.0}).longitudeRad, PI_F);
    EXPECT_FALSE(is_negative_zero(Impl::AnglesOfAxis({0.0, 0.0, -1.0}).longitudeRad));
    EXPECT_EQ(Impl::AnglesOfAxis({0.0, 0.0, -1.0}).longitudeRad, 0.0F);
    EXPECT_EQ(Impl::AnglesOfAxis({0.0, 0.0, -1.0}).colatitudeRad, 0.0F);
}

TEST(AxisAngles, InThePlaneFoldIntoZeroToPi) {
    EXPECT_EQ(Impl::AngleOfAxis({1.0, 0.0}), 0.0F);
    EXPECT_EQ(Impl::AngleOfAxis({-1.0, 0.0}), PI_F);
    EXPECT_EQ(Impl::AngleOfAxis({0.0, -1.0}), static_cast<float>(std::numbers::pi / 2));
    EXPECT_EQ(Impl::AngleOfAxis({0.6, -0.8}), static_cast<float>(std::atan2(0.8, -0.6)));
    EXPECT_EQ(Impl::AngleOfAxis({-0.6, -0.8}), static_cast<float>(std::atan2(0.8, 0.6)));
}

TEST(AxisAngles, InThePlaneCountNegativeZeroAsZero) {
    EXPECT_EQ(Impl::AngleOfAxis({-1.0, -0.0}), PI_F) << "pi along -x, never a negative angle";
    EXPECT_EQ(Impl::AngleOfAxis({1.0, -0.0}), 0.0F);
    EXPECT_FALSE(is_negative_zero(Impl::AngleOfAxis({1.0, -0.0})));
}

TEST(AxisAngles, AreRoundedFromDoublePrecision) {
    std::mt19937 generator(9);
    std::uniform_real_distribution<double> uniform(0.0, std::numbers::pi);
    for (int trial = 0; trial < 1000; ++trial) {
        const double angle = uniform(generator);
        const Vector2 axis = {std::cos(angle), std::sin(angle)};
        EXPECT_EQ(Impl::AngleOfAxis(axis), static_cast<float>(std::atan2(axis[1], axis[0])));
    }
}

} // namespace TEVRA
