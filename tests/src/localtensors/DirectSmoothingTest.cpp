// SPDX-License-Identifier: BSD-3-Clause
#include "LocalTensors/DirectSmoothing.h"

#include "support/AwkwardSizes.h"
#include "support/TaskRunners.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

using namespace TEVRA;
using namespace TEVRA::Impl;

/// Some grey value that differs from pixel to pixel.
float grey_at(long long x, long long y, long long z) {
    return static_cast<float>((x * 37 + y * 61 + z * 101 + x * y % 7) % 251);
}

std::vector<float> smoothed(const CSize& size, const SPlanes& slices, double sigma,
                            const std::array<double, 3>& spacing, ITaskRunner& runner, long long atOnce = 1) {
    CDirectSmoothing smoothing(
        size, slices, sigma, spacing, [&](long long z, float* rows, std::size_t stride) {
            for (long long y = 0; y < size[1]; ++y) {
                for (long long x = 0; x < size[0]; ++x) {
                    rows[static_cast<std::size_t>(y) * stride + static_cast<std::size_t>(x)] =
                        grey_at(x, y, z);
                }
            }
        });
    const auto pixels = static_cast<std::size_t>(size[0] * size[1]);
    std::vector<float> result(static_cast<std::size_t>(slices.Count()) * pixels);
    for (long long z = slices.first; z < slices.end; z += atOnce) {
        smoothing.Next(result.data() + static_cast<std::size_t>(z - slices.first) * pixels, runner,
                       std::min(atOnce, slices.end - z));
    }
    return result;
}

std::vector<float> smoothed(const CSize& size, const SPlanes& slices, double sigma,
                            const std::array<double, 3>& spacing) {
    CTasksInTurn inTurn;
    return smoothed(size, slices, sigma, spacing, inTurn);
}

double weight(double sigmaPx, long long distance, long long reach) {
    double sum = 0.0;
    for (long long k = -reach; k <= reach; ++k) {
        sum += std::exp(-0.5 * static_cast<double>(k * k) / (sigmaPx * sigmaPx));
    }
    return std::exp(-0.5 * static_cast<double>(distance * distance) / (sigmaPx * sigmaPx)) / sum;
}

/// By three nested sums.
double plain(const CSize& size, long long x, long long y, long long z, double sigma,
             const std::array<double, 3>& spacing) {
    const auto reach = [&](std::size_t axis) {
        return static_cast<long long>(std::max(1.0, std::ceil(4.0 * sigma / spacing[axis])));
    };
    const bool isVolume = size.Dim() == 3;
    double sum = 0.0;
    for (long long dz = isVolume ? -reach(2) : 0; dz <= (isVolume ? reach(2) : 0); ++dz) {
        for (long long dy = -reach(1); dy <= reach(1); ++dy) {
            for (long long dx = -reach(0); dx <= reach(0); ++dx) {
                const double share = weight(sigma / spacing[0], dx, reach(0)) *
                                     weight(sigma / spacing[1], dy, reach(1)) *
                                     (isVolume ? weight(sigma / spacing[2], dz, reach(2)) : 1.0);
                sum += share * static_cast<double>(grey_at(
                                   std::clamp(x + dx, 0LL, size[0] - 1), std::clamp(y + dy, 0LL, size[1] - 1),
                                   isVolume ? std::clamp(z + dz, 0LL, size[2] - 1) : 0));
            }
        }
    }
    return sum;
}

void expect_plain_sums(const CSize& size) {
    constexpr double SIGMA = 0.7;
    constexpr std::array<double, 3> SPACING{1.0, 0.8, 1.7};
    const long long depth = size.Dim() == 3 ? size[2] : 1;
    const std::vector<float> found = smoothed(size, {0, depth}, SIGMA, SPACING);
    std::size_t at = 0;
    for (long long z = 0; z < depth; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x) {
                ASSERT_NEAR(static_cast<double>(found[at++]), plain(size, x, y, z, SIGMA, SPACING), 1e-4)
                    << "at " << x << ", " << y << ", " << z << " of " << size[0] << " x " << size[1] << " x "
                    << depth;
            }
        }
    }
}

TEST(DirectSmoothing, IsAWeightedSumInVolumesOfAwkwardSizes) {
    for (const CSize& size : test::AwkwardSizes3D()) {
        expect_plain_sums(size);
    }
}

TEST(DirectSmoothing, IsAWeightedSumInImagesOfAwkwardSizes) {
    for (const CSize& size : test::AwkwardSizes2D()) {
        expect_plain_sums(size);
    }
}

TEST(DirectSmoothing, GivesTheSameBitsForPartsOfTheImage) {
    const CSize size(33, 70, 21);
    constexpr std::array<double, 3> SPACING{1.0, 1.0, 1.0};
    const std::vector<float> whole = smoothed(size, {0, 21}, 1.1, SPACING);
    std::vector<float> parts;
    for (const SPlanes& slices : {SPlanes{0, 4}, SPlanes{4, 15}, SPlanes{15, 21}}) {
        const std::vector<float> part = smoothed(size, slices, 1.1, SPACING);
        parts.insert(parts.end(), part.begin(), part.end());
    }
    EXPECT_EQ(parts, whole);
}

TEST(DirectSmoothing, GivesTheSameBitsForAnyNumberOfSlicesAtOnceAndOrderOfTasks) {
    for (const CSize& size : {CSize(33, 170, 21), CSize(40, 30, 3), CSize(30, 200)}) {
        const SPlanes slices{0, size.Dim() == 3 ? size[2] : 1};
        constexpr std::array<double, 3> SPACING{1.0, 1.0, 1.0};
        const std::vector<float> expected = smoothed(size, slices, 1.1, SPACING);
        for (long long atOnce = 1; atOnce <= CDirectSmoothing::MOST_AT_ONCE; ++atOnce) {
            test::CBackwards backwards;
            EXPECT_EQ(smoothed(size, slices, 1.1, SPACING, backwards, atOnce), expected) << atOnce;
        }
    }
}

TEST(DirectSmoothing, LeavesAnImageAsItIsWhereSigmaIsFarBelowAPixel) {
    const CSize size(9, 8, 7);
    const std::vector<float> found = smoothed(size, {0, 7}, 0.04, {1.0, 1.0, 1.0});
    std::size_t at = 0;
    for (long long z = 0; z < 7; ++z) {
        for (long long y = 0; y < 8; ++y) {
            for (long long x = 0; x < 9; ++x) {
                ASSERT_EQ(found[at++], grey_at(x, y, z));
            }
        }
    }
}

} // namespace
