// SPDX-License-Identifier: BSD-3-Clause
// The closed form against its definition, and one lane against many.
#include "Axes/HessianKernel.h"

#include "Axes/HessianAxis.h"
#include "src/kernels/Hessians.h"
#include "src/kernels/ReferenceAxis.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace TEVRA::Impl {
namespace {

using test::Hessian;

/// Enough of each kind that all together are millions.
constexpr std::size_t PER_KIND = 49152;

/// A group of Hessians, entry by entry.
template <std::size_t Dim, std::size_t Count>
struct SGroup {
    float entries[Dim * (Dim + 1) / 2][Count];
};

/// What the kernels make of one Hessian. Compared by its bits.
struct SOutcome {
    double axis[3];
    float angles[2];
    bool isFound;
};

template <bool IsSmallest, typename Real, std::size_t Count>
void outcomes_of(const SGroup<3, Count>& group, std::size_t first, SOutcome* outcomes) {
    using Access = SLaneAccess<Real>;
    const auto load = [&](std::size_t entry) { return Access::Load(group.entries[entry] + first); };
    const auto result =
        EigenAxis<IsSmallest>(SHessian3<Real>{load(0), load(1), load(2), load(3), load(4), load(5)});
    const auto angles = FoldedAngles(result.axis);
    float theta[Access::COUNT];
    float phi[Access::COUNT];
    double axis[3][Access::COUNT];
    Access::StoreFloats(angles.colatitude, theta);
    Access::StoreFloats(angles.longitude, phi);
    std::memcpy(axis[0], &result.axis.x, sizeof axis[0]);
    std::memcpy(axis[1], &result.axis.y, sizeof axis[1]);
    std::memcpy(axis[2], &result.axis.z, sizeof axis[2]);
    for (std::size_t lane = 0; lane < Access::COUNT; ++lane) {
        outcomes[lane] = {{axis[0][lane], axis[1][lane], axis[2][lane]},
                          {theta[lane], phi[lane]},
                          Access::IsSet(result.isFound, lane)};
    }
}

template <bool IsSmallest, typename Real, std::size_t Count>
void outcomes_of(const SGroup<2, Count>& group, std::size_t first, SOutcome* outcomes) {
    using Access = SLaneAccess<Real>;
    const auto load = [&](std::size_t entry) { return Access::Load(group.entries[entry] + first); };
    const auto result = EigenAxis<IsSmallest>(SHessian2<Real>{load(0), load(1), load(2)});
    float angle[Access::COUNT];
    double axis[2][Access::COUNT];
    Access::StoreFloats(FoldedAngle(result.axis), angle);
    std::memcpy(axis[0], &result.axis.x, sizeof axis[0]);
    std::memcpy(axis[1], &result.axis.y, sizeof axis[1]);
    for (std::size_t lane = 0; lane < Access::COUNT; ++lane) {
        outcomes[lane] = {
            {axis[0][lane], axis[1][lane], 0.0}, {angle[lane], 0.0F}, Access::IsSet(result.isFound, lane)};
    }
}

template <typename Number>
bool same_bits(const Number& a, const Number& b) {
    // Which of several NaN comes out is not told; zeros are told apart by their signs.
    return (a == b && std::signbit(a) == std::signbit(b)) || (std::isnan(a) && std::isnan(b));
}

bool is_same(const SOutcome& a, const SOutcome& b) {
    bool isSame = a.isFound == b.isFound;
    for (int i = 0; i < 3; ++i) {
        isSame = isSame && same_bits(a.axis[i], b.axis[i]);
    }
    return isSame && same_bits(a.angles[0], b.angles[0]) && same_bits(a.angles[1], b.angles[1]);
}

template <std::size_t Dim, std::size_t Count>
SGroup<Dim, Count> make_group(const test::SHessianKind<Dim>& kind, std::mt19937_64& random) {
    SGroup<Dim, Count> group{};
    for (std::size_t lane = 0; lane < Count; ++lane) {
        const Hessian<Dim> hessian = kind.make(random);
        for (std::size_t entry = 0; entry < hessian.size(); ++entry) {
            group.entries[entry][lane] = hessian[entry];
        }
    }
    return group;
}

constexpr std::size_t MOST_LANES = 16;

template <bool IsSmallest, std::size_t Dim, std::size_t Count>
void expect_lanes_to_agree(const SGroup<Dim, MOST_LANES>& group, const SOutcome* expected) {
    SOutcome outcomes[MOST_LANES];
    for (std::size_t first = 0; first < MOST_LANES; first += Count) {
        outcomes_of<IsSmallest, SLanes<Count>>(group, first, outcomes + first);
    }
    for (std::size_t lane = 0; lane < MOST_LANES; ++lane) {
        ASSERT_TRUE(is_same(outcomes[lane], expected[lane])) << Count << " lanes, lane " << lane;
    }
}

template <bool IsSmallest, std::size_t Dim>
void expect_same_bits() {
    std::mt19937_64 random(1);
    for (const auto& kind : test::HessianKinds<Dim>()) {
        SCOPED_TRACE(kind.name);
        for (std::size_t done = 0; done < PER_KIND; done += MOST_LANES) {
            const auto group = make_group<Dim, MOST_LANES>(kind, random);
            SOutcome expected[MOST_LANES];
            for (std::size_t lane = 0; lane < MOST_LANES; ++lane) {
                outcomes_of<IsSmallest, double>(group, lane, expected + lane);
            }
            expect_lanes_to_agree<IsSmallest, Dim, 2>(group, expected);
            expect_lanes_to_agree<IsSmallest, Dim, 4>(group, expected);
            expect_lanes_to_agree<IsSmallest, Dim, 8>(group, expected);
            expect_lanes_to_agree<IsSmallest, Dim, 16>(group, expected);
            if (testing::Test::HasFatalFailure()) {
                return;
            }
        }
    }
}

TEST(HessianKernel, GivesTheSameBitsForOneTwoFourEightAndSixteenLanesIn3D) {
    expect_same_bits<true, 3>();
    expect_same_bits<false, 3>();
}

TEST(HessianKernel, GivesTheSameBitsForOneTwoFourEightAndSixteenLanesIn2D) {
    expect_same_bits<true, 2>();
    expect_same_bits<false, 2>();
}

/// Entry (row, col) of the full matrix.
template <std::size_t Dim>
double element(const Hessian<Dim>& hessian, std::size_t row, std::size_t col) {
    if (row > col) {
        std::swap(row, col);
    }
    return static_cast<double>(hessian[row * Dim - row * (row + 1) / 2 + col]);
}

template <std::size_t Dim>
double frobenius_norm(const Hessian<Dim>& hessian) {
    double squares = 0.0;
    for (std::size_t row = 0; row < Dim; ++row) {
        for (std::size_t col = 0; col < Dim; ++col) {
            squares += element<Dim>(hessian, row, col) * element<Dim>(hessian, row, col);
        }
    }
    return std::sqrt(squares);
}

/// v H v, and the length of H v - (v H v) v.
struct SRayleigh {
    double value;
    double residual;
};

template <std::size_t Dim>
SRayleigh rayleigh(const Hessian<Dim>& hessian, const std::array<double, Dim>& v) {
    std::array<long double, Dim> product{};
    long double value = 0.0L;
    for (std::size_t row = 0; row < Dim; ++row) {
        for (std::size_t col = 0; col < Dim; ++col) {
            product[row] += static_cast<long double>(element<Dim>(hessian, row, col)) * v[col];
        }
        value += product[row] * v[row];
    }
    long double squares = 0.0L;
    for (std::size_t row = 0; row < Dim; ++row) {
        squares += (product[row] - value * v[row]) * (product[row] - value * v[row]);
    }
    return {static_cast<double>(value), static_cast<double>(std::sqrt(squares))};
}

template <std::size_t Dim>
test::CReferenceAxis<Dim> loaded(const Hessian<Dim>& hessian, EEigenvalue which) {
    test::CReferenceAxis<Dim> kernel(which);
    for (std::size_t row = 0; row < Dim; ++row) {
        for (std::size_t col = row; col < Dim; ++col) {
            kernel.Set(row, col, element<Dim>(hessian, row, col));
        }
    }
    return kernel;
}

template <std::size_t Dim>
void expect_eigenvector(const Hessian<Dim>& hessian, EEigenvalue which) {
    test::CReferenceAxis<Dim> kernel = loaded<Dim>(hessian, which);
    std::array<double, Dim> axis{};
    std::array<double, Dim> expected{};
    const bool isFound = kernel.Compute(axis);
    ASSERT_EQ(isFound, kernel.Decompose(expected));
    if (!isFound) {
        return;
    }
    double squares = 0.0;
    for (const double component : axis) {
        squares += component * component;
    }
    ASSERT_NEAR(squares, 1.0, 1e-14);
    const double norm = frobenius_norm<Dim>(hessian);
    const SRayleigh own = rayleigh<Dim>(hessian, axis);
    const SRayleigh truth = rayleigh<Dim>(hessian, expected);
    ASSERT_LE(own.residual, 1.1e-13 * norm);
    ASSERT_NEAR(std::abs(own.value), std::abs(truth.value), 2e-13 * norm) << "another eigenvalue";
}

template <std::size_t Dim>
void expect_eigenvectors() {
    std::mt19937_64 random(2);
    for (const auto& kind : test::HessianKinds<Dim>()) {
        SCOPED_TRACE(kind.name);
        for (std::size_t i = 0; i < PER_KIND / 8; ++i) {
            const Hessian<Dim> hessian = kind.make(random);
            expect_eigenvector<Dim>(hessian, EEigenvalue::smallest);
            expect_eigenvector<Dim>(hessian, EEigenvalue::largest);
            if (testing::Test::HasFatalFailure()) {
                return;
            }
        }
    }
}

TEST(HessianAxis, IsTheEigenvectorThatWasAskedForIn3D) {
    expect_eigenvectors<3>();
}

TEST(HessianAxis, IsTheEigenvectorThatWasAskedForIn2D) {
    expect_eigenvectors<2>();
}

TEST(HessianAxis, OfEqualMagnitudesIsTheOneOfTheDecomposition) {
    for (const auto& values :
         {std::array<float, 3>{2, -1, 1}, {1, -1, 3}, {5, 2, 2}, {0, 0, 1}, {-3, 3, 1}}) {
        for (const EEigenvalue which : {EEigenvalue::smallest, EEigenvalue::largest}) {
            test::CReferenceAxis<3> kernel = loaded<3>(test::Diagonal<3>(values), which);
            std::array<double, 3> axis{};
            std::array<double, 3> expected{};
            ASSERT_TRUE(kernel.Compute(axis));
            ASSERT_TRUE(kernel.Decompose(expected));
            for (std::size_t i = 0; i < 3; ++i) {
                EXPECT_EQ(std::abs(axis[i]), std::abs(expected[i]));
            }
        }
    }
}

TEST(HessianAxis, OfDoublesBeyondTheRangeOfFloatsIsFoundToo) {
    for (const double scale : {1e-300, 1e-160, 1e-100, 1e-80, 1e80, 1e100, 1e150, 1e300}) {
        test::CReferenceAxis<3> kernel(EEigenvalue::smallest);
        const double entries[3][3] = {{2, 0.5, 0.25}, {0.5, -3, 0.125}, {0.25, 0.125, 0.5}};
        Hessian<3> unscaled{2.0F, 0.5F, 0.25F, -3.0F, 0.125F, 0.5F};
        for (std::size_t row = 0; row < 3; ++row) {
            for (std::size_t col = row; col < 3; ++col) {
                kernel.Set(row, col, scale * entries[row][col]);
            }
        }
        std::array<double, 3> axis{};
        ASSERT_TRUE(kernel.Compute(axis)) << scale;
        EXPECT_LE(rayleigh<3>(unscaled, axis).residual, 1e-12) << scale;
    }
}

template <std::size_t Dim>
std::size_t closed_forms(const test::SHessianKind<Dim>& kind, std::size_t count) {
    std::mt19937_64 random(3);
    std::size_t found = 0;
    for (std::size_t done = 0; done < count; ++done) {
        SOutcome outcome{};
        outcomes_of<true, double>(make_group<Dim, 1>(kind, random), 0, &outcome);
        found += outcome.isFound ? 1 : 0;
    }
    return found;
}

TEST(HessianKernel, FindsAllButFewAxesInClosedForm) {
    constexpr std::size_t count = 100000;
    for (const auto& kind : test::HessianKinds<3>()) {
        if (kind.name == "random" || kind.name == "huge" || kind.name == "tiny" || kind.name == "fiber") {
            EXPECT_GE(closed_forms(kind, count), count - count / 1000) << kind.name;
        }
        if (kind.name == "zero" || kind.name == "not finite") {
            EXPECT_EQ(closed_forms(kind, count), 0U) << kind.name;
        }
    }
}

/// Axes in single precision.
template <std::size_t Lanes>
struct SSingleAxes {
    float components[3][Lanes];
    bool isFound[Lanes];
};

template <bool IsSmallest, std::size_t Dim, std::size_t Lanes, std::size_t Count>
SSingleAxes<Lanes> single_axes(const SGroup<Dim, Count>& group, std::size_t first) {
    using Real = SLanes<Lanes, float>;
    using Access = SLaneAccess<Real>;
    const auto load = [&](std::size_t entry) { return Access::Load(group.entries[entry] + first); };
    SSingleAxes<Lanes> axes{};
    MaskOf<Real> found{};
    if constexpr (Dim == 3) {
        const auto result =
            EigenAxis<IsSmallest>(SHessian3<Real>{load(0), load(1), load(2), load(3), load(4), load(5)});
        found = result.isFound;
        Access::Store(result.axis.x, axes.components[0]);
        Access::Store(result.axis.y, axes.components[1]);
        Access::Store(result.axis.z, axes.components[2]);
    } else {
        const auto result = EigenAxis<IsSmallest>(SHessian2<Real>{load(0), load(1), load(2)});
        found = result.isFound;
        Access::Store(result.axis.x, axes.components[0]);
        Access::Store(result.axis.y, axes.components[1]);
    }
    for (std::size_t lane = 0; lane < Lanes; ++lane) {
        axes.isFound[lane] = Access::IsSet(found, lane);
    }
    return axes;
}

template <bool IsSmallest, std::size_t Dim, std::size_t Lanes>
void expect_single_lanes_to_agree(const SGroup<Dim, MOST_LANES>& group,
                                  const SSingleAxes<MOST_LANES>& expected) {
    for (std::size_t first = 0; first < MOST_LANES; first += Lanes) {
        const auto axes = single_axes<IsSmallest, Dim, Lanes>(group, first);
        for (std::size_t lane = 0; lane < Lanes; ++lane) {
            ASSERT_EQ(axes.isFound[lane], expected.isFound[first + lane]) << Lanes << " lanes";
            for (std::size_t i = 0; i < Dim; ++i) {
                ASSERT_TRUE(same_bits(axes.components[i][lane], expected.components[i][first + lane]))
                    << Lanes << " lanes";
            }
        }
    }
}

/// An axis that is found is one, to what single precision can tell.
template <bool IsSmallest, std::size_t Dim>
void expect_single_eigenvectors(const SGroup<Dim, MOST_LANES>& group, const SSingleAxes<MOST_LANES>& axes) {
    for (std::size_t lane = 0; lane < MOST_LANES; ++lane) {
        if (!axes.isFound[lane]) {
            continue;
        }
        Hessian<Dim> hessian{};
        std::array<double, Dim> axis{};
        for (std::size_t entry = 0; entry < hessian.size(); ++entry) {
            hessian[entry] = group.entries[entry][lane];
        }
        double squares = 0.0;
        for (std::size_t i = 0; i < Dim; ++i) {
            axis[i] = static_cast<double>(axes.components[i][lane]);
            squares += axis[i] * axis[i];
        }
        ASSERT_NEAR(squares, 1.0, 1e-6);
        auto kernel = loaded<Dim>(hessian, IsSmallest ? EEigenvalue::smallest : EEigenvalue::largest);
        std::array<double, Dim> truth{};
        ASSERT_TRUE(kernel.Decompose(truth));
        const double norm = frobenius_norm<Dim>(hessian);
        const SRayleigh own = rayleigh<Dim>(hessian, axis);
        ASSERT_LE(own.residual, 5e-6 * norm);
        ASSERT_NEAR(std::abs(own.value), std::abs(rayleigh<Dim>(hessian, truth).value), 5e-6 * norm)
            << "another eigenvalue";
    }
}

template <bool IsSmallest, std::size_t Dim>
void expect_single_axes() {
    std::mt19937_64 random(4);
    for (const auto& kind : test::HessianKinds<Dim>()) {
        SCOPED_TRACE(kind.name);
        for (std::size_t done = 0; done < PER_KIND / 4; done += MOST_LANES) {
            const auto group = make_group<Dim, MOST_LANES>(kind, random);
            const auto axes = single_axes<IsSmallest, Dim, MOST_LANES>(group, 0);
            expect_single_lanes_to_agree<IsSmallest, Dim, 4>(group, axes);
            expect_single_lanes_to_agree<IsSmallest, Dim, 8>(group, axes);
            expect_single_eigenvectors<IsSmallest, Dim>(group, axes);
            if (testing::Test::HasFatalFailure()) {
                return;
            }
        }
    }
}

TEST(HessianKernel, InSinglePrecisionGivesTheSameEigenvectorsForFourEightAndSixteenLanesIn3D) {
    expect_single_axes<true, 3>();
    expect_single_axes<false, 3>();
}

TEST(HessianKernel, InSinglePrecisionGivesTheSameEigenvectorsForFourEightAndSixteenLanesIn2D) {
    expect_single_axes<true, 2>();
    expect_single_axes<false, 2>();
}

TEST(HessianKernel, InSinglePrecisionFindsAllButFewAxesInClosedForm) {
    std::mt19937_64 random(5);
    for (const auto& kind : test::HessianKinds<3>()) {
        if (kind.name != "random" && kind.name != "fiber") {
            continue;
        }
        std::size_t found = 0;
        for (std::size_t done = 0; done < PER_KIND; done += MOST_LANES) {
            const auto axes = single_axes<true, 3, MOST_LANES>(make_group<3, MOST_LANES>(kind, random), 0);
            found += static_cast<std::size_t>(std::count(axes.isFound, axes.isFound + MOST_LANES, true));
        }
        EXPECT_GE(found, PER_KIND - PER_KIND / 50) << kind.name;
    }
}

} // namespace
} // namespace TEVRA::Impl
