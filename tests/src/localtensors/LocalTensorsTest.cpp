// SPDX-License-Identifier: BSD-3-Clause
#include "LocalTensors/LocalTensors.h"

#include "PlainLocalTensors.h"

#include "Axes/Markers.h"
#include "Axes/RowKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using namespace TEVRA;
using namespace TEVRA::Impl;
using namespace TEVRA::test;

class CInTurn : public ITaskRunner {
  public:
    void Run(long long count, const std::function<void(long long)>& task) override {
        for (long long i = 0; i < count; ++i) {
            task(i);
        }
    }
};

/// Last task first.
class CBackwards : public ITaskRunner {
  public:
    void Run(long long count, const std::function<void(long long)>& task) override {
        for (long long i = count - 1; i >= 0; --i) {
            task(i);
        }
    }
};

struct SMaps {
    std::vector<float> theta, phi, confidence;

    bool operator==(const SMaps&) const = default;
};

/// A few bright fibers with soft edges at random places, and a little noise.
SPlainImage fibers(const std::array<long long, 3>& extents, double radius,
                   const std::array<double, 3>& spacing, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> uniform;
    const bool isVolume = extents[2] > 1;
    SPlainImage image{extents,
                      std::vector<double>(static_cast<std::size_t>(extents[0] * extents[1] * extents[2]))};
    for (double& value : image.values) {
        value = 20.0 + normal(random);
    }
    const int count = isVolume ? 6 : 4;
    for (int fiber = 0; fiber < count; ++fiber) {
        std::array<double, 3> axis{normal(random), normal(random), isVolume ? normal(random) : 0.0};
        const double length = std::hypot(axis[0], axis[1], axis[2]);
        std::array<double, 3> point{};
        for (std::size_t i = 0; i < 3; ++i) {
            axis[i] /= length;
            point[i] = uniform(random) * static_cast<double>(extents[i] - 1) * spacing[i];
        }
        for (long long z = 0; z < extents[2]; ++z) {
            for (long long y = 0; y < extents[1]; ++y) {
                for (long long x = 0; x < extents[0]; ++x) {
                    const std::array<double, 3> at{static_cast<double>(x) * spacing[0] - point[0],
                                                   static_cast<double>(y) * spacing[1] - point[1],
                                                   static_cast<double>(z) * spacing[2] - point[2]};
                    const double along = at[0] * axis[0] + at[1] * axis[1] + at[2] * axis[2];
                    const double square = at[0] * at[0] + at[1] * at[1] + at[2] * at[2] - along * along;
                    const double distance = std::sqrt(std::max(square, 0.0));
                    const double share = std::clamp(radius + 0.5 - distance, 0.0, 1.0);
                    double& value = image.values[image.Index(x, y, z)];
                    value = std::max(value, 20.0 + 180.0 * share);
                }
            }
        }
    }
    for (double& value : image.values) {
        value = static_cast<double>(static_cast<float>(value));
    }
    return image;
}

template <std::size_t Dim>
SMaps maps_of(const SPlainImage& image, const SLocalScales& scales, ITaskRunner& runner,
              EInstructionSet set = InstructionSetInUse(), long long ranges = 1) {
    const CSize size = Dim == 3 ? CSize(image.extents[0], image.extents[1], image.extents[2])
                                : CSize(image.extents[0], image.extents[1]);
    const auto [low, high] = std::minmax_element(image.values.begin(), image.values.end());
    const SGreyScale grey{static_cast<float>(*low), static_cast<float>(1.0 / (*high - *low))};
    SMaps maps;
    maps.theta.resize(image.values.size());
    maps.phi.resize(image.values.size());
    maps.confidence.resize(image.values.size());
    const std::vector<unsigned char> foreground(static_cast<std::size_t>(image.extents[0]), 1);
    CLocalWorkspace<Dim> workspace;
    constexpr std::size_t ENTRIES = CLocalTensors<Dim>::ENTRIES;
    std::array<std::vector<float>, ENTRIES> matrices;
    std::array<float*, ENTRIES> rows{};
    std::array<const float*, ENTRIES> rowsRead{};
    for (std::size_t entry = 0; entry < ENTRIES; ++entry) {
        matrices[entry].resize(foreground.size());
        rowsRead[entry] = rows[entry] = matrices[entry].data();
    }
    for (long long range = 0; range < ranges; ++range) {
        const SPlanes slices{image.extents[2] * range / ranges, image.extents[2] * (range + 1) / ranges};
        constexpr long long SLAB = 5;
        CLocalTensors<Dim> tensors(
            size, slices, SLAB, scales, grey,
            [&](long long z, float* to, std::size_t rowFloats) {
                for (long long y = 0; y < image.extents[1]; ++y) {
                    for (long long x = 0; x < image.extents[0]; ++x) {
                        to[static_cast<std::size_t>(y) * rowFloats + static_cast<std::size_t>(x)] =
                            static_cast<float>(image.values[image.Index(x, y, z)]);
                    }
                }
            },
            set);
        for (long long z = slices.first; z < slices.end; ++z) {
            if ((z - slices.first) % SLAB == 0) {
                tensors.Prepare({z, std::min(z + SLAB, slices.end)}, runner);
            }
            for (long long y = 0; y < image.extents[1]; ++y) {
                const std::size_t at = image.Index(0, y, z);
                tensors.FindMatrices(z, static_cast<std::size_t>(y), foreground.data(), rows, workspace);
                AxesOfRow<Dim>(rowsRead, foreground.data(), foreground.size(), tensors.Eigenvalue(),
                               {maps.theta.data() + at, Dim == 3 ? maps.phi.data() + at : nullptr}, set);
                tensors.FindConfidence(rowsRead, foreground.data(), maps.confidence.data() + at, workspace);
            }
        }
    }
    return maps;
}

struct SDeviations {
    std::vector<double> degrees;     // where c > 0.1
    std::vector<double> sureDegrees; // where c > 0.5
    std::vector<double> confidence;
    double tensor = 0.0;
    std::size_t differentMarkers = 0;
};

double quantile(std::vector<double> values, double share) {
    if (values.empty()) {
        return 0.0;
    }
    const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + at, values.end());
    return values[static_cast<std::size_t>(at)];
}

std::array<double, 3> axis_at(const SMaps& maps, std::size_t i, std::size_t dim) {
    const auto theta = static_cast<double>(maps.theta[i]);
    const auto phi = static_cast<double>(maps.phi[i]);
    if (dim == 2) {
        return {std::cos(theta), std::sin(theta), 0.0};
    }
    return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

SDeviations deviations(const SMaps& maps, const std::vector<SPlainAxis>& truth, std::size_t dim) {
    SDeviations result;
    std::array<double, 9> tensor{};
    double count = 0.0;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        const bool isFound = maps.theta[i] >= 0.0F;
        if (isFound != truth[i].isFound) {
            ++result.differentMarkers;
            continue;
        }
        if (!isFound) {
            continue;
        }
        const std::array<double, 3> axis = axis_at(maps, i, dim);
        const double degrees = AxialDegrees(axis, truth[i].axis);
        result.confidence.push_back(std::abs(static_cast<double>(maps.confidence[i]) - truth[i].confidence));
        if (truth[i].confidence > 0.1) {
            result.degrees.push_back(degrees);
        }
        if (truth[i].confidence > 0.5) {
            result.sureDegrees.push_back(degrees);
        }
        count += 1.0;
        for (std::size_t j = 0; j < 9; ++j) {
            tensor[j] += axis[j / 3] * axis[j % 3] - truth[i].axis[j / 3] * truth[i].axis[j % 3];
        }
    }
    for (const double component : tensor) {
        result.tensor = std::max(result.tensor, std::abs(component) / count);
    }
    return result;
}

struct SCase {
    const char* name;
    ELocalTensor kind;
    std::array<long long, 3> extents;
    std::array<double, 3> spacing;
    double radius;
    double along;
};

class PlainComputation : public testing::TestWithParam<SCase> {};

TEST_P(PlainComputation, GivesTheSameAxesAndConfidence) {
    const SCase& c = GetParam();
    const std::size_t dim = c.extents[2] > 1 ? 3 : 2;
    const SPlainImage image = fibers(c.extents, c.radius, c.spacing, 5);
    const bool isVoting = c.kind == ELocalTensor::lineVotes;
    const SLocalScales scales =
        isVoting ? SLocalScales::LineVoting(c.radius, c.spacing, static_cast<int>(dim), c.along)
                 : SLocalScales::StructureTensor(c.radius, c.spacing, static_cast<int>(dim), std::nullopt,
                                                 std::nullopt, c.along);
    const double least = *std::min_element(c.spacing.begin(), c.spacing.begin() + static_cast<int>(dim));
    const double most = *std::max_element(c.spacing.begin(), c.spacing.begin() + static_cast<int>(dim));
    const SPlainScales plain =
        isVoting ? SPlainScales{EPlainKind::lineVoting, c.spacing, std::max(c.radius / 2.0, least),
                                0.7 * c.radius, c.along}
                 : SPlainScales{EPlainKind::structureTensor, c.spacing,
                                std::max({c.radius / 3.0, least, 0.7 * most}), c.radius, c.along};
    CInTurn inTurn;
    const SMaps maps = dim == 3 ? maps_of<3>(image, scales, inTurn) : maps_of<2>(image, scales, inTurn);
    const SDeviations found = deviations(maps, PlainAxes(image, plain), dim);

    ASSERT_GT(found.degrees.size(), 500U);
    EXPECT_LE(quantile(found.degrees, 0.5), 0.01);
    EXPECT_LE(quantile(found.degrees, 0.99), 0.02);
    EXPECT_LE(quantile(found.sureDegrees, 0.999), 0.02);
    EXPECT_LE(quantile(found.confidence, 0.999), 0.003);
    EXPECT_LE(found.tensor, 2e-5);
    EXPECT_LE(found.differentMarkers, image.values.size() / 1000);
}

constexpr std::array<double, 3> CUBES{1.0, 1.0, 1.0};
INSTANTIATE_TEST_SUITE_P(
    Images, PlainComputation,
    testing::Values(
        SCase{"VotesInAVolume", ELocalTensor::lineVotes, {40, 37, 33}, CUBES, 3.0, 3.0},
        SCase{"VotesOfThinFibers", ELocalTensor::lineVotes, {35, 32, 20}, CUBES, 2.0, 2.0},
        SCase{"VotesWithoutSecondPass", ELocalTensor::lineVotes, {35, 32, 20}, CUBES, 2.5, 0.0},
        SCase{"VotesInThickSlices", ELocalTensor::lineVotes, {40, 37, 17}, {0.05, 0.05, 0.1}, 0.15, 0.15},
        SCase{"VotesInAnImage", ELocalTensor::lineVotes, {90, 80, 1}, CUBES, 3.0, 3.0},
        SCase{"GradientsInAVolume", ELocalTensor::gradientProducts, {40, 37, 33}, CUBES, 3.0, 0.0},
        SCase{"GradientsWithSecondPass", ELocalTensor::gradientProducts, {40, 37, 33}, CUBES, 3.0, 3.0},
        SCase{"GradientsInThickSlices",
              ELocalTensor::gradientProducts,
              {40, 37, 17},
              {0.05, 0.05, 0.1},
              0.15,
              0.0},
        SCase{"GradientsInAnImage", ELocalTensor::gradientProducts, {90, 80, 1}, CUBES, 3.0, 0.0}),
    [](const auto& one) { return one.param.name; });

TEST(LocalTensors, AreTheSameForAnyInstructionSetOrderOfTasksAndRangeOfSlices) {
    const SPlainImage image = fibers({45, 70, 30}, 2.0, CUBES, 3);
    for (const SLocalScales& scales :
         {SLocalScales::LineVoting(2.0, CUBES, 3), SLocalScales::StructureTensor(2.0, CUBES, 3)}) {
        CInTurn inTurn;
        CBackwards backwards;
        const SMaps expected = maps_of<3>(image, scales, inTurn, EInstructionSet::baseline);
        for (const EInstructionSet set : INSTRUCTION_SETS) {
            if (IsSupported(set)) {
                EXPECT_EQ(maps_of<3>(image, scales, inTurn, set), expected) << NameOf(set);
            }
        }
        EXPECT_EQ(maps_of<3>(image, scales, backwards), expected);
        EXPECT_EQ(maps_of<3>(image, scales, inTurn, InstructionSetInUse(), 3), expected);
    }
}

TEST(LocalTensors, HaveNoDirectionWhereNothingVotes) {
    SPlainImage image{{40, 20, 20}, std::vector<double>(40 * 20 * 20, 10.0)};
    image.values[image.Index(3, 3, 3)] = 20.0;
    CInTurn inTurn;
    const SMaps maps = maps_of<3>(image, SLocalScales::LineVoting(2.0, CUBES, 3), inTurn);
    EXPECT_EQ(maps.theta[image.Index(35, 15, 15)], NO_COLATITUDE);
    EXPECT_EQ(maps.phi[image.Index(35, 15, 15)], NO_ANGLE);
    EXPECT_EQ(maps.confidence[image.Index(35, 15, 15)], 0.0F);
}

} // namespace
