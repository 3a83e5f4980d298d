// SPDX-License-Identifier: BSD-3-Clause
#include "VexoNumeric/SymmetricEigen.h"

#include "RandomSymmetric.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

namespace TEVRA::test {

/// Four numbers side by side, as plainly as can be.
struct SLanes {
    SLanes() = default;
    explicit SLanes(double value) { lanes.fill(value); }
    std::array<double, 4> lanes{};
};

/// One truth value per lane.
struct SMask {
    std::array<bool, 4> lanes{};
};

template <typename Result, typename Operation, typename... Operands>
Result EachLane(const Operation& operation, const Operands&... operands) {
    Result result;
    for (std::size_t i = 0; i < 4; ++i) {
        result.lanes[i] = operation(operands.lanes[i]...);
    }
    return result;
}

SLanes operator+(const SLanes& a, const SLanes& b) {
    return EachLane<SLanes>(std::plus(), a, b);
}
SLanes operator-(const SLanes& a, const SLanes& b) {
    return EachLane<SLanes>(std::minus(), a, b);
}
SLanes operator*(const SLanes& a, const SLanes& b) {
    return EachLane<SLanes>(std::multiplies(), a, b);
}
SLanes operator/(const SLanes& a, const SLanes& b) {
    return EachLane<SLanes>(std::divides(), a, b);
}
SMask operator<(const SLanes& a, const SLanes& b) {
    return EachLane<SMask>(std::less(), a, b);
}
SMask operator<=(const SLanes& a, const SLanes& b) {
    return EachLane<SMask>(std::less_equal(), a, b);
}
SMask operator==(const SLanes& a, const SLanes& b) {
    return EachLane<SMask>(std::equal_to(), a, b);
}
SMask operator&(const SMask& a, const SMask& b) {
    return EachLane<SMask>(std::logical_and(), a, b);
}
SMask operator|(const SMask& a, const SMask& b) {
    return EachLane<SMask>(std::logical_or(), a, b);
}
SLanes Abs(const SLanes& a) {
    return EachLane<SLanes>([](double value) { return std::fabs(value); }, a);
}
SLanes SquareRoot(const SLanes& a) {
    return EachLane<SLanes>([](double value) { return std::sqrt(value); }, a);
}
SLanes Select(const SMask& condition, const SLanes& yes, const SLanes& no) {
    return EachLane<SLanes>([](bool c, double y, double n) { return c ? y : n; }, condition, yes, no);
}
bool AnyOf(const SMask& mask) {
    return mask.lanes[0] || mask.lanes[1] || mask.lanes[2] || mask.lanes[3];
}

namespace {

using Symmetric2 = SSymmetric2<double>;
using Symmetric3 = SSymmetric3<double>;

Symmetric2 symmetric2(const CMatrix<double>& m) {
    return {m(0, 0), m(0, 1), m(1, 1)};
}
Symmetric3 symmetric3(const CMatrix<double>& m) {
    return {m(0, 0), m(0, 1), m(0, 2), m(1, 1), m(1, 2), m(2, 2)};
}

/// Bit patterns of values and axes: tells zeros of different sign apart.
template <std::size_t N>
std::vector<std::uint64_t> bits_of(const SEigenSystem<double, N>& system) {
    std::vector<std::uint64_t> bits;
    for (std::size_t k = 0; k < N; ++k) {
        bits.push_back(std::bit_cast<std::uint64_t>(system.values[k]));
        for (const double component : system.axes[k]) {
            bits.push_back(std::bit_cast<std::uint64_t>(component));
        }
    }
    return bits;
}

template <std::size_t N>
SEigenSystem<double, N> lane_of(const SEigenSystem<SLanes, N>& system, std::size_t lane) {
    SEigenSystem<double, N> result{};
    for (std::size_t k = 0; k < N; ++k) {
        result.values[k] = system.values[k].lanes[lane];
        for (std::size_t i = 0; i < N; ++i) {
            result.axes[k][i] = system.axes[k][i].lanes[lane];
        }
    }
    result.valid = system.valid.lanes[lane];
    return result;
}

using Axes3 = std::array<std::array<double, 3>, 3>;
using Values3 = std::array<double, 3>;

TEST(SymmetricEigen, OrdersByMagnitude) {
    const auto system = SymmetricEigen(Symmetric3{1, 0, 0, -3, 0, 2});
    EXPECT_EQ(system.values, (Values3{-3, 2, 1}));
    EXPECT_EQ(system.axes, (Axes3{{{0, 1, 0}, {0, 0, 1}, {1, 0, 0}}}));
}

TEST(SymmetricEigen, PutsThePositiveOfTwoOppositeValuesFirst) {
    for (const Symmetric3& matrix : {Symmetric3{-2, 0, 0, 2, 0, 5}, Symmetric3{2, 0, 0, -2, 0, -5}}) {
        const auto system = SymmetricEigen(matrix);
        EXPECT_EQ(system.values[1], 2.0);
        EXPECT_EQ(system.values[2], -2.0);
    }
    const auto flat = SymmetricEigen(Symmetric2{-1, 0, 1});
    EXPECT_EQ(flat.values, (std::array<double, 2>{1, -1}));
    EXPECT_EQ(flat.axes[0], (std::array<double, 2>{0, 1}));
}

TEST(SymmetricEigen, KeepsTheOrderOfCoordinateAxesForEqualValues) {
    const auto system = SymmetricEigen(Symmetric3{4, 0, 0, 4, 0, 4});
    EXPECT_EQ(system.axes, (Axes3{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}));
    const auto twoEqual = SymmetricEigen(Symmetric3{1, 0, 0, 4, 0, 1});
    EXPECT_EQ(twoEqual.axes, (Axes3{{{0, 1, 0}, {1, 0, 0}, {0, 0, 1}}}));
}

TEST(SymmetricEigen, GivesTheZeroMatrixCoordinateAxes) {
    for (const double zero : {0.0, -0.0}) {
        const auto system = SymmetricEigen(Symmetric3{zero, zero, zero, zero, zero, zero});
        EXPECT_TRUE(system.valid);
        EXPECT_EQ(bits_of(system),
                  bits_of(SEigenSystem<double, 3>{{0, 0, 0}, {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}, true}));
        const auto flat = SymmetricEigen(Symmetric2{zero, zero, zero});
        EXPECT_EQ(bits_of(flat), bits_of(SEigenSystem<double, 2>{{0, 0}, {{{1, 0}, {0, 1}}}, true}));
    }
}

TEST(SymmetricEigen, MakesTheLargestComponentOfEveryAxisPositiveAndZerosToo) {
    for (const SSymmetricKind& kind : SymmetricKinds()) {
        CRandom random(31);
        for (int i = 0; i < 5000; ++i) {
            const auto system = SymmetricEigen(symmetric3(kind.make(3, random)));
            for (const auto& axis : system.axes) {
                double leading = axis[0];
                for (const double component : axis) {
                    ASSERT_FALSE(component == 0.0 && std::signbit(component)) << kind.name;
                    leading = std::fabs(component) > std::fabs(leading) ? component : leading;
                }
                ASSERT_GT(leading, 0.5) << kind.name;
            }
            for (const double value : system.values) {
                ASSERT_FALSE(value == 0.0 && std::signbit(value)) << kind.name;
            }
        }
    }
}

TEST(SymmetricEigen, DiagonalMatricesGiveTheirElementsExactly) {
    CRandom random(32);
    for (int i = 0; i < 10000; ++i) {
        const std::array<double, 3> diagonal{random.Normal() * random.Small(300.0),
                                             random.Normal() * random.Small(300.0),
                                             random.Normal() * random.Small(300.0)};
        const auto system = SymmetricEigen(Symmetric3{diagonal[0], 0, 0, diagonal[1], 0, diagonal[2]});
        for (std::size_t k = 0; k < 3; ++k) {
            const auto row =
                static_cast<std::size_t>(std::ranges::find(system.axes[k], 1.0) - system.axes[k].begin());
            ASSERT_LT(row, 3U);
            ASSERT_EQ(system.values[k], diagonal[row]);
        }
    }
}

TEST(SymmetricEigen, ScalingByAPowerOf2ScalesValuesExactlyAndKeepsAxes) {
    for (const SSymmetricKind& kind : SymmetricKinds()) {
        CRandom random(33);
        for (int i = 0; i < 300; ++i) {
            const Symmetric3 matrix = symmetric3(kind.make(3, random));
            const auto expected = SymmetricEigen(matrix);
            for (const int exponent : {-700, -450, -390, -10, 1, 30, 390, 450, 1000}) {
                const auto scaled = [&](double value) { return std::ldexp(value, exponent); };
                auto system =
                    SymmetricEigen(Symmetric3{scaled(matrix.xx), scaled(matrix.xy), scaled(matrix.xz),
                                              scaled(matrix.yy), scaled(matrix.yz), scaled(matrix.zz)});
                for (double& value : system.values) {
                    value = std::ldexp(value, -exponent);
                }
                if (kind.name == "graded elements" && exponent < 0) {
                    continue; // its smallest elements would be rounded
                }
                ASSERT_EQ(system.values, expected.values) << kind.name << ' ' << exponent;
                ASSERT_EQ(system.axes, expected.axes) << kind.name << ' ' << exponent;
            }
        }
    }
}

TEST(SymmetricEigen, MarksMatricesThatAreNotFiniteOrOverflowAsInvalid) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
    constexpr double largest = std::numeric_limits<double>::max();
    EXPECT_TRUE(SymmetricEigen(Symmetric3{largest, 0, 0, largest, 0, -largest}).valid);
    EXPECT_FALSE(SymmetricEigen(Symmetric3{largest, largest, 0, largest, 0, 0}).valid);
    for (const double bad : {infinity, -infinity, notANumber}) {
        EXPECT_FALSE(SymmetricEigen(Symmetric2{bad, 0, 1}).valid);
        EXPECT_FALSE(SymmetricEigen(Symmetric2{0, bad, 1}).valid);
        EXPECT_FALSE(SymmetricEigen(Symmetric3{1, 2, bad, 1, 0, 1}).valid);
        EXPECT_FALSE(SymmetricEigen(Symmetric3{1, 2, 3, 1, 0, bad}).valid);
    }
}

TEST(SymmetricEigen, GivesTheSameBitsInEveryLaneAsAlone) {
    const std::vector<SSymmetricKind> kinds = SymmetricKinds();
    std::vector<CRandom> randoms;
    for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
        randoms.emplace_back(static_cast<unsigned>(34 + kind));
    }
    std::size_t next = 0;
    for (int i = 0; i < 50000; ++i) {
        // Neighbouring lanes hold matrices of different kinds, so that some are done sweeps before others.
        std::array<Symmetric3, 4> matrices{};
        std::array<Symmetric2, 4> flat{};
        SSymmetric3<SLanes> wide{};
        SSymmetric2<SLanes> wideFlat{};
        for (std::size_t lane = 0; lane < 4; ++lane) {
            next = (next + 1) % kinds.size();
            const CMatrix<double> matrix = kinds[next].make(3, randoms[next]);
            matrices[lane] = symmetric3(matrix);
            flat[lane] = symmetric2(matrix);
            wide.xx.lanes[lane] = matrix(0, 0);
            wide.xy.lanes[lane] = matrix(0, 1);
            wide.xz.lanes[lane] = matrix(0, 2);
            wide.yy.lanes[lane] = matrix(1, 1);
            wide.yz.lanes[lane] = matrix(1, 2);
            wide.zz.lanes[lane] = matrix(2, 2);
        }
        wideFlat = {wide.xx, wide.xy, wide.yy};
        const auto system = SymmetricEigen(wide);
        const auto flatSystem = SymmetricEigen(wideFlat);
        for (std::size_t lane = 0; lane < 4; ++lane) {
            ASSERT_EQ(bits_of(lane_of(system, lane)), bits_of(SymmetricEigen(matrices[lane])));
            ASSERT_EQ(bits_of(lane_of(flatSystem, lane)), bits_of(SymmetricEigen(flat[lane])));
            ASSERT_TRUE(system.valid.lanes[lane] && flatSystem.valid.lanes[lane]);
        }
    }
}

} // namespace
} // namespace TEVRA::test
