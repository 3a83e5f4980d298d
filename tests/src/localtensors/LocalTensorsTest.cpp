// SPDX-License-Identifier: BSD-3-Clause
#include "LocalTensors/LocalTensors.h"

#include "Comparison.h"

#include "Axes/Markers.h"
#include "Axes/RowKernels.h"
#include "support/TaskRunners.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

namespace {

using namespace TEVRA;
using namespace TEVRA::Impl;
using namespace TEVRA::test;

template <std::size_t Dim>
SMaps maps_of(const SPlainImage& image, const SLocalScales& scales, ITaskRunner& runner,
              EInstructionSet set = InstructionSetInUse(), long long ranges = 1) {
    const CSize size = SizeOf(image);
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
        matrices[entry].resize(foreground.size() + PACKING_ROOM);
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
                tensors.FindMatrices(z, static_cast<std::size_t>(y), foreground.data(), rows,
                                     maps.confidence.data() + at, workspace);
                AxesOfRow<Dim>(rowsRead, foreground.data(), foreground.size(), tensors.Eigenvalue(),
                               {maps.theta.data() + at, Dim == 3 ? maps.phi.data() + at : nullptr},
                               EPlaces::packed, set);
            }
        }
    }
    return maps;
}

struct SCase {
    const char* name;
    ELocalTensor kind;
    std::array<long long, 3> extents;
    std::array<double, 3> spacing;
    double radius;
    double along;
};

void PrintTo(const SCase& one, std::ostream* out) {
    *out << one.name;
}

class PlainComputation : public testing::TestWithParam<SCase> {};

TEST_P(PlainComputation, GivesTheSameAxesAndConfidence) {
    const SCase& c = GetParam();
    const std::size_t dim = c.extents[2] > 1 ? 3 : 2;
    const SPlainImage image = Fibers(c.extents, c.radius, c.spacing, 5);
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
    CTasksInTurn inTurn;
    const SMaps maps = dim == 3 ? maps_of<3>(image, scales, inTurn) : maps_of<2>(image, scales, inTurn);
    ExpectPlainAxes(maps, PlainAxes(image, plain), dim,
                    isVoting ? AtFibers(image) : std::vector<unsigned char>());
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
    const SPlainImage image = Fibers({45, 70, 30}, 2.0, CUBES, 3);
    for (const SLocalScales& scales :
         {SLocalScales::LineVoting(2.0, CUBES, 3), SLocalScales::StructureTensor(2.0, CUBES, 3)}) {
        CTasksInTurn inTurn;
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
    CTasksInTurn inTurn;
    const SMaps maps = maps_of<3>(image, SLocalScales::LineVoting(2.0, CUBES, 3), inTurn);
    EXPECT_EQ(maps.theta[image.Index(35, 15, 15)], NO_COLATITUDE);
    EXPECT_EQ(maps.phi[image.Index(35, 15, 15)], NO_ANGLE);
    EXPECT_EQ(maps.confidence[image.Index(35, 15, 15)], 0.0F);
}

} // namespace
