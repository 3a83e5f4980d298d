// SPDX-License-Identifier: BSD-3-Clause
// The estimators' short numbers against a plain computation in double precision, on images that are hard for them:
// weak fibers in a wide range of grey values, noise, large offsets, thick slices, planes.
#include "Comparison.h"

#include "FilterOrientations/LineVotingOrientations.h"
#include "FilterOrientations/StructureTensorOrientations.h"
#include "support/MakeImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <tuple>

namespace {

using namespace TEVRA;
using namespace TEVRA::test;

constexpr std::array<double, 3> CUBES{1.0, 1.0, 1.0};

enum class EAxes {
    everywhere,
    atFibers ///< the directions of noise that is weaker by far than anything else in the image tell nobody anything
};

struct SHardImage {
    const char* name;
    std::array<long long, 3> extents;
    std::array<double, 3> spacing;
    double radius;
    void (*change)(SPlainImage& image);
    bool is16Bit = false;
    EAxes axes = EAxes::everywhere;
};

void leave(SPlainImage& /*image*/) {}

template <typename OperationT>
void for_each_value(SPlainImage& image, OperationT operation) {
    std::size_t at = 0;
    for (long long z = 0; z < image.extents[2]; ++z) {
        for (long long y = 0; y < image.extents[1]; ++y) {
            for (long long x = 0; x < image.extents[0]; ++x, ++at) {
                operation(image.values[at], std::array<long long, 3>{x, y, z});
            }
        }
    }
}

/// A ball so much brighter than fibers.
void add_inclusion(SPlainImage& image, double times) {
    constexpr double RADIUS = 2.5;
    const long long depth = image.extents[2];
    for_each_value(image, [&](double& value, const std::array<long long, 3>& at) {
        const double distance = std::hypot(static_cast<double>(at[0]) - 7.3, static_cast<double>(at[1]) - 8.1,
                                           depth > 1 ? static_cast<double>(at[2] - depth / 2) : 0.0);
        value += times * CONTRAST * std::clamp(RADIUS + 0.5 - distance, 0.0, 1.0);
    });
}

void add_noise(SPlainImage& image, double sd) {
    std::mt19937 random(77);
    std::normal_distribution<double> normal(0.0, sd);
    for (double& value : image.values) {
        value += normal(random);
    }
}

void add_strong_noise(SPlainImage& image) {
    add_noise(image, CONTRAST / 3.0);
}

/// Fibers have a hundredth of the range.
void add_bright_inclusion(SPlainImage& image) {
    add_inclusion(image, 100.0);
}

void add_very_bright_inclusion(SPlainImage& image) {
    add_inclusion(image, 1000.0);
}

void add_inclusion_and_noise(SPlainImage& image) {
    add_noise(image, CONTRAST / 10.0);
    add_inclusion(image, 100.0);
}

/// Fibers a thousand times weaker at one side of the image than at the other.
void fade(SPlainImage& image) {
    const auto width = static_cast<double>(image.extents[0] - 1);
    for_each_value(image, [width](double& value, const std::array<long long, 3>& at) {
        value = (value - BACKGROUND) * std::pow(10.0, -3.0 * static_cast<double>(at[0]) / width);
    });
}

/// A camera's offset many times the contrast.
void lift(SPlainImage& image) {
    add_noise(image, 10.0);
    for (double& value : image.values) {
        value = std::round(value + 60000.0);
    }
}

/// The whole range of 16 bits for a spot; fibers take a 360th of it.
void lift_with_inclusion(SPlainImage& image) {
    add_noise(image, 3.0);
    add_inclusion(image, 359.0);
    for (double& value : image.values) {
        value = std::clamp(std::round(value + 500.0), 0.0, 65535.0);
    }
}

/// Eight bits of which fibers take three.
void darken(SPlainImage& image) {
    add_noise(image, 30.0);
    for (double& value : image.values) {
        value = std::round((value - BACKGROUND) / 60.0) + 5.0;
    }
}

void add_offset(SPlainImage& image) {
    for (double& value : image.values) {
        value = 1e5 + std::round(value);
    }
}

void shrink(SPlainImage& image) {
    for (double& value : image.values) {
        value *= 1e-30;
    }
}

std::unique_ptr<CImage> pixels_of(const SPlainImage& image, bool is16Bit) {
    if (!is16Bit) {
        return FloatImage(image);
    }
    return MakeImage<unsigned short>(IMAGE_GREY_16, SizeOf(image), [&](auto x, auto y, auto z) {
        return image.values[image.Index(x, y, z)];
    });
}

class Precision : public testing::TestWithParam<std::tuple<SHardImage, EPlainKind>> {};

TEST_P(Precision, SufficesForThePlainAxes) {
    const auto& [hard, kind] = GetParam();
    const std::size_t dim = hard.extents[2] > 1 ? 3 : 2;
    SPlainImage image = Fibers(hard.extents, hard.radius, hard.spacing, 5);
    std::vector<unsigned char> wanted(image.values.size(), 1);
    if (hard.axes == EAxes::atFibers || kind == EPlainKind::lineVoting) {
        wanted = AtFibers(image);
    }
    hard.change(image);
    for (double& value : image.values) {
        value = static_cast<double>(static_cast<float>(value)); // the pixels' own rounding
    }
    const auto pixels = pixels_of(image, hard.is16Bit);
    const auto mask =
        MakeImage<unsigned char>(IMAGE_BINARY_FG, pixels->Size(), [&](long long x, long long y, long long z) {
            return wanted[image.Index(x, y, z)];
        });
    const double least =
        *std::min_element(hard.spacing.begin(), hard.spacing.begin() + static_cast<std::ptrdiff_t>(dim));
    const double most =
        *std::max_element(hard.spacing.begin(), hard.spacing.begin() + static_cast<std::ptrdiff_t>(dim));
    SPlainScales scales{kind, hard.spacing, 0.0, 0.0, 0.0};
    SMaps maps;
    if (kind == EPlainKind::lineVoting) {
        scales.derivativeSigma = std::max(hard.radius / 2.0, least);
        scales.windowSigma = 0.7 * hard.radius;
        scales.along = hard.radius;
        CLineVotingOrientations estimator;
        SLineVotingOptions options;
        options.spacing = hard.spacing;
        estimator.compute(*pixels, hard.radius, mask.get(), options);
        maps = MapsOf(estimator);
    } else {
        scales.derivativeSigma = std::max({hard.radius / 3.0, least, 0.7 * most});
        scales.windowSigma = hard.radius;
        CStructureTensorOrientations estimator;
        SStructureTensorOptions options;
        options.spacing = hard.spacing;
        options.gradientSigma = scales.derivativeSigma;
        estimator.compute(*pixels, hard.radius, mask.get(), options);
        maps = MapsOf(estimator);
    }
    std::vector<SPlainAxis> truth = PlainAxes(image, scales);
    for (std::size_t at = 0; at < truth.size(); ++at) {
        truth[at].isFound = truth[at].isFound && wanted[at] != 0;
    }
    ExpectPlainAxes(maps, truth, dim);
}

constexpr std::array<long long, 3> VOLUME{40, 37, 30};
constexpr std::array<long long, 3> PLANE{120, 100, 1};
INSTANTIATE_TEST_SUITE_P(
    Of, Precision,
    testing::Combine(
        testing::Values(
            SHardImage{"PlainFibers", VOLUME, CUBES, 3.0, leave},
            SHardImage{"StrongNoise", {70, 60, 50}, CUBES, 2.0, add_strong_noise},
            SHardImage{"BrightInclusion", VOLUME, CUBES, 3.0, add_bright_inclusion, false, EAxes::atFibers},
            SHardImage{"VeryBrightInclusion", VOLUME, CUBES, 3.0, add_very_bright_inclusion, false,
                       EAxes::atFibers},
            SHardImage{"InclusionAndNoise", VOLUME, CUBES, 3.0, add_inclusion_and_noise},
            SHardImage{"FadingFibers", VOLUME, CUBES, 3.0, fade, false, EAxes::atFibers},
            SHardImage{"LargeOffset", VOLUME, CUBES, 3.0, lift, true},
            SHardImage{"HotSpotIn16Bit", VOLUME, CUBES, 2.5, lift_with_inclusion, true, EAxes::atFibers},
            SHardImage{"FewGreyLevels", VOLUME, CUBES, 2.5, darken},
            SHardImage{"OffsetOfFloats", VOLUME, CUBES, 3.0, add_offset},
            SHardImage{"TinyFloats", VOLUME, CUBES, 3.0, shrink},
            SHardImage{"ThickSlices", {40, 37, 20}, {0.05, 0.05, 0.1}, 0.15, add_strong_noise},
            SHardImage{"ThickSlicesWithInclusion",
                       {40, 37, 20},
                       {0.05, 0.05, 0.1},
                       0.15,
                       add_bright_inclusion,
                       false,
                       EAxes::atFibers},
            SHardImage{"NoisyPlane", PLANE, CUBES, 3.0, add_strong_noise},
            SHardImage{"PlaneWithInclusion", PLANE, CUBES, 3.0, add_very_bright_inclusion, false,
                       EAxes::atFibers},
            SHardImage{"FadingPlane", PLANE, CUBES, 3.0, fade, false, EAxes::atFibers}),
        testing::Values(EPlainKind::lineVoting, EPlainKind::structureTensor)),
    [](const auto& one) {
        return std::string(std::get<1>(one.param) == EPlainKind::lineVoting ? "VotesOf" : "GradientsOf") +
               std::get<0>(one.param).name;
    });

} // namespace
