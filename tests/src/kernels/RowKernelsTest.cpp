// SPDX-License-Identifier: BSD-3-Clause
// Rows on every instruction set that the processor has, against the one-pixel functions.
#include "Axes/RowKernels.h"

#include "src/kernels/Hessians.h"
#include "src/kernels/ReferenceAxis.h"
#include "support/InstructionSets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <numeric>
#include <string>
#include <vector>

namespace TEVRA::Impl {
namespace {

using test::Hessian;

constexpr float GUARD = 12345.0F;
constexpr std::size_t LENGTHS[] = {0, 1, 2, 3, 7, 8, 9, 15, 16, 17, 64, 255, 511, 512, 513, 1000, 1024, 1031};

template <typename Number>
bool same_bits(const std::vector<Number>& a, const std::vector<Number>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(Number)) == 0;
}

/// A row of Hessians; NaN behind its end, which nobody may read.
template <std::size_t Dim>
struct SRow {
    std::array<std::vector<float>, Dim*(Dim + 1) / 2> entries;
    std::vector<unsigned char> foreground;

    SymmetricRow<Dim> Pointers() const {
        SymmetricRow<Dim> rows{};
        for (std::size_t entry = 0; entry < rows.size(); ++entry) {
            rows[entry] = entries[entry].data();
        }
        return rows;
    }
};

template <std::size_t Dim>
SRow<Dim> make_row(const test::SHessianKind<Dim>& kind, std::size_t count, unsigned foregroundOf8,
                   std::mt19937_64& random) {
    SRow<Dim> row;
    row.foreground.assign(count + 8, 255);
    for (auto& entry : row.entries) {
        entry.assign(count + 8, std::numeric_limits<float>::quiet_NaN());
    }
    for (std::size_t x = 0; x < count; ++x) {
        const Hessian<Dim> hessian = kind.make(random);
        for (std::size_t entry = 0; entry < hessian.size(); ++entry) {
            row.entries[entry][x] = hessian[entry];
        }
        row.foreground[x] = random() % 8 < foregroundOf8 ? static_cast<unsigned char>(1 + random() % 255) : 0;
    }
    return row;
}

/// The same with the foreground's Hessians of each segment one after the other.
template <std::size_t Dim>
SRow<Dim> packed(const SRow<Dim>& row, std::size_t count) {
    SRow<Dim> result = row;
    for (std::size_t entry = 0; entry < row.entries.size(); ++entry) {
        result.entries[entry].resize(count + PACKING_ROOM);
        for (std::size_t first = 0; first < count; first += SEGMENT_PIXELS) {
            std::size_t at = first;
            for (std::size_t x = first; x < std::min(first + SEGMENT_PIXELS, count); ++x) {
                if (row.foreground[x] != 0) {
                    result.entries[entry][at++] = row.entries[entry][x];
                }
            }
        }
    }
    return result;
}

/// Angles with guards behind the end.
struct SOwnedAngleRow {
    std::vector<float> theta;
    std::vector<float> phi;
    std::size_t found = 0;
};

template <std::size_t Dim>
SOwnedAngleRow pixel_by_pixel(const SRow<Dim>& row, std::size_t count, EEigenvalue which) {
    SOwnedAngleRow angles{std::vector<float>(count + 8, GUARD), std::vector<float>(count + 8, GUARD)};
    test::CReferenceAxis<Dim> kernel(which);
    for (std::size_t x = 0; x < count; ++x) {
        std::size_t entry = 0;
        for (std::size_t i = 0; i < Dim; ++i) {
            for (std::size_t j = i; j < Dim; ++j) {
                kernel.Set(i, j, static_cast<double>(row.entries[entry++][x]));
            }
        }
        std::array<double, Dim> axis{};
        const bool isFound = row.foreground[x] != 0 && kernel.Compute(axis);
        angles.found += isFound ? 1 : 0;
        if constexpr (Dim == 3) {
            const SAxisAngles both = isFound ? AnglesOfAxis(axis) : SAxisAngles{-1.0F, -4.1415925F};
            angles.theta[x] = both.colatitudeRad;
            angles.phi[x] = both.longitudeRad;
        } else {
            angles.theta[x] = isFound ? AngleOfAxis(axis) : -4.1415925F;
        }
    }
    return angles;
}

template <std::size_t Dim>
void expect_same_bits_as_pixel_by_pixel(const SRow<Dim>& row, std::size_t count, EEigenvalue which) {
    const SOwnedAngleRow expected = pixel_by_pixel(row, count, which);
    const SRow<Dim> packedRow = packed(row, count);
    for (const EInstructionSet set : test::SupportedInstructionSets()) {
        for (const EPlaces places : {EPlaces::inRow, EPlaces::packed}) {
            SCOPED_TRACE(std::string(NameOf(set)) + (places == EPlaces::packed ? ", packed" : ""));
            const SRow<Dim>& hessians = places == EPlaces::packed ? packedRow : row;
            SOwnedAngleRow angles{std::vector<float>(count + 8, GUARD), std::vector<float>(count + 8, GUARD)};
            angles.found =
                AxesOfRow<Dim>(hessians.Pointers(), row.foreground.data(), count, which,
                               {angles.theta.data(), Dim == 3 ? angles.phi.data() : nullptr}, places, set);
            ASSERT_EQ(angles.found, expected.found);
            ASSERT_TRUE(same_bits(angles.theta, expected.theta));
            ASSERT_TRUE(same_bits(angles.phi, expected.phi));
        }
    }
}

template <std::size_t Dim>
void expect_rows_of_all_kinds() {
    std::mt19937_64 random(1);
    for (const auto& kind : test::HessianKinds<Dim>()) {
        SCOPED_TRACE(kind.name);
        for (const EEigenvalue which : {EEigenvalue::smallest, EEigenvalue::largest}) {
            for (int repetition = 0; repetition < 60; ++repetition) {
                const std::size_t count = repetition < 8 ? 1 + random() % 1100 : 1024;
                const auto row = make_row(kind, count, 7, random);
                expect_same_bits_as_pixel_by_pixel(row, count, which);
                if (testing::Test::HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

TEST(AxesOfRow, AreThoseOfSinglePixelsOnEveryInstructionSetInSpace) {
    expect_rows_of_all_kinds<3>();
}

TEST(AxesOfRow, AreThoseOfSinglePixelsOnEveryInstructionSetInThePlane) {
    expect_rows_of_all_kinds<2>();
}

TEST(AxesOfRow, OfAnyLengthAndForegroundStayInsideTheirRow) {
    std::mt19937_64 random(2);
    const auto kind = test::HessianKinds<3>().front();
    for (const std::size_t count : LENGTHS) {
        for (const unsigned share : {0U, 1U, 4U, 8U}) {
            SCOPED_TRACE(testing::Message() << count << " pixels, " << share << " of 8 foreground");
            const auto row = make_row(kind, count, share, random);
            expect_same_bits_as_pixel_by_pixel(row, count, EEigenvalue::smallest);
            ASSERT_FALSE(testing::Test::HasFatalFailure());
        }
    }
}

/// Rows of angles as estimators write them, with NaN behind the end.
struct SExpectedAngles {
    std::vector<float> theta;
    std::vector<float> phi;
};

template <std::size_t Dim>
SExpectedAngles random_angles(std::size_t count, std::mt19937_64& random) {
    constexpr float pi = std::numbers::pi_v<float>;
    std::uniform_real_distribution<float> unit(0.0F, 1.0F);
    SExpectedAngles angles{std::vector<float>(count + 8, std::numeric_limits<float>::quiet_NaN()), {}};
    angles.phi = angles.theta;
    for (std::size_t x = 0; x < count; ++x) {
        const bool isForeground = random() % 4 != 0;
        const float theta = Dim == 3 ? unit(random) * pi / 2 : unit(random) * pi;
        angles.theta[x] = isForeground ? theta : Dim == 3 ? NO_COLATITUDE : NO_ANGLE;
        angles.phi[x] = isForeground ? (2 * unit(random) - 1) * pi : NO_ANGLE;
    }
    return angles;
}

/// Elements of both tensors and the count.
template <std::size_t Dim>
struct STensors {
    std::vector<double> second = std::vector<double>(Dim * Dim);
    std::vector<double> fourth = std::vector<double>(Dim * Dim * Dim * Dim);
    long long count = 0;
};

template <std::size_t Dim>
STensors<Dim> tensors_of(const CSecondOrderSums<Dim>& second, const CFourthOrderSums<Dim>& fourth) {
    STensors<Dim> tensors;
    const auto matrix = [&](std::size_t i, std::size_t j) -> double& { return tensors.second[i * Dim + j]; };
    const auto tensor = [&](long long i, long long j, long long k, long long l) -> double& {
        constexpr long long d = Dim;
        return tensors.fourth[static_cast<std::size_t>(((i * d + j) * d + k) * d + l)];
    };
    second.CopyTo(matrix);
    fourth.AddTo(tensor);
    tensors.count = second.Count();
    return tensors;
}

template <std::size_t Dim>
STensors<Dim> summed(const SExpectedAngles& angles, std::size_t count, EInstructionSet set) {
    CSecondOrderSums<Dim> second;
    CFourthOrderSums<Dim> fourth;
    AddRow<Dim>(second, &fourth, {angles.theta.data(), Dim == 3 ? angles.phi.data() : nullptr}, count, set);
    CSecondOrderSums<Dim> alone;
    AddRow<Dim>(alone, nullptr, {angles.theta.data(), Dim == 3 ? angles.phi.data() : nullptr}, count, set);
    STensors<Dim> tensors = tensors_of(second, fourth);
    EXPECT_TRUE(same_bits(tensors_of(alone, {}).second, tensors.second))
        << "the fourth order changes the second";
    return tensors;
}

/// The same by pixel functions, in higher precision.
template <std::size_t Dim>
STensors<Dim> naive_sums(const SExpectedAngles& angles, std::size_t count) {
    std::vector<long double> second(Dim * Dim);
    std::vector<long double> fourth(Dim * Dim * Dim * Dim);
    STensors<Dim> tensors;
    for (std::size_t x = 0; x < count; ++x) {
        if (!(angles.theta[x] >= 0.0F)) {
            continue;
        }
        ++tensors.count;
        std::array<double, Dim> n{};
        if constexpr (Dim == 3) {
            n = AxisOfAngles(angles.theta[x], angles.phi[x]);
        } else {
            n = AxisOfAngle(angles.theta[x]);
        }
        for (std::size_t at = 0; at < fourth.size(); ++at) {
            const std::size_t i = at / (Dim * Dim * Dim);
            const std::size_t j = at / (Dim * Dim) % Dim;
            const std::size_t k = at / Dim % Dim;
            const std::size_t l = at % Dim;
            fourth[at] += static_cast<long double>(n[i]) * n[j] * n[k] * n[l];
            if (at < second.size()) {
                second[at] += static_cast<long double>(n[k]) * n[l];
            }
        }
    }
    tensors.second.assign(second.begin(), second.end());
    tensors.fourth.assign(fourth.begin(), fourth.end());
    return tensors;
}

template <std::size_t Dim>
void expect_sums() {
    std::mt19937_64 random(3);
    for (const std::size_t count : LENGTHS) {
        SCOPED_TRACE(testing::Message() << count << " pixels");
        const SExpectedAngles angles = random_angles<Dim>(count, random);
        const STensors<Dim> expected = naive_sums<Dim>(angles, count);
        const STensors<Dim> baseline = summed<Dim>(angles, count, EInstructionSet::baseline);
        ASSERT_EQ(baseline.count, expected.count);
        for (std::size_t at = 0; at < expected.second.size(); ++at) {
            ASSERT_NEAR(baseline.second[at], expected.second[at], 1e-12) << at;
        }
        for (std::size_t at = 0; at < expected.fourth.size(); ++at) {
            ASSERT_NEAR(baseline.fourth[at], expected.fourth[at], 1e-12) << at;
        }
        for (const EInstructionSet set : test::SupportedInstructionSets()) {
            const STensors<Dim> sums = summed<Dim>(angles, count, set);
            ASSERT_EQ(sums.count, baseline.count) << NameOf(set);
            ASSERT_TRUE(same_bits(sums.second, baseline.second)) << NameOf(set);
            ASSERT_TRUE(same_bits(sums.fourth, baseline.fourth)) << NameOf(set);
        }
    }
}

TEST(MarkRow, WritesWhatAxesOfRowWritesWithoutForeground) {
    for (const std::size_t count : LENGTHS) {
        const std::vector<unsigned char> foreground(count);
        const std::vector<float> entries(count);
        SymmetricRow<3> hessian{};
        hessian.fill(entries.data());
        std::vector<float> theta(count + 8, GUARD);
        std::vector<float> phi(count + 8, GUARD);
        std::vector<float> expectedTheta = theta;
        std::vector<float> expectedPhi = phi;
        MarkRow<3>(count, {theta.data(), phi.data()});
        AxesOfRow<3>(hessian, foreground.data(), count, EEigenvalue::smallest,
                     {expectedTheta.data(), expectedPhi.data()});
        EXPECT_TRUE(same_bits(theta, expectedTheta) && same_bits(phi, expectedPhi)) << count;

        MarkRow<2>(count, {theta.data(), nullptr});
        AxesOfRow<2>({entries.data(), entries.data(), entries.data()}, foreground.data(), count,
                     EEigenvalue::smallest, {expectedTheta.data(), nullptr});
        EXPECT_TRUE(same_bits(theta, expectedTheta)) << count;
    }
}

TEST(AddRow, SumsTheOuterProductsWithTheSameBitsOnEveryInstructionSetInSpace) {
    expect_sums<3>();
}

TEST(AddRow, SumsTheOuterProductsWithTheSameBitsOnEveryInstructionSetInThePlane) {
    expect_sums<2>();
}

TEST(AddRow, SkipsNegativeAnglesAndNaNButCountsZeros) {
    const std::vector<float> theta{0.0F, -0.0F, -1e-30F, std::numeric_limits<float>::quiet_NaN(), -1.0F};
    const std::vector<float> phi(theta.size(), 0.5F);
    for (const EInstructionSet set : test::SupportedInstructionSets()) {
        CSecondOrderSums<3> sums;
        AddRow<3>(sums, nullptr, {theta.data(), phi.data()}, theta.size(), set);
        EXPECT_EQ(sums.Count(), 2);
    }
}

template <std::size_t Dim>
void expect_parts_summed_like_rows(EInstructionSet set) {
    std::mt19937_64 random(11);
    const std::vector<std::size_t> lengths{64, 0, 7, 513, 1, 600, 33};
    const std::size_t width = std::accumulate(lengths.begin(), lengths.end(), std::size_t{0});
    CRowSums<Dim> row(width, set);
    for (int round = 0; round < 3; ++round) { // what a row leaves does not matter to the next
        const SExpectedAngles angles = random_angles<Dim>(width, random);
        row.Begin();
        std::vector<SConstAngleRow> parts;
        std::size_t first = 0;
        for (const std::size_t length : lengths) {
            parts.push_back({angles.theta.data() + first, Dim == 3 ? angles.phi.data() + first : nullptr});
            row.AddPart(parts.back(), length);
            first += length;
        }
        row.FindAxes();
        for (std::size_t part = 0; part < parts.size(); ++part) {
            CSecondOrderSums<Dim> second;
            CFourthOrderSums<Dim> fourth;
            row.AddTo(part, second, &fourth);
            CSecondOrderSums<Dim> expectedSecond;
            CFourthOrderSums<Dim> expectedFourth;
            AddRow<Dim>(expectedSecond, &expectedFourth, parts[part], lengths[part], set);
            const STensors<Dim> sums = tensors_of(second, fourth);
            const STensors<Dim> expected = tensors_of(expectedSecond, expectedFourth);
            EXPECT_EQ(sums.count, expected.count) << "part " << part;
            EXPECT_TRUE(same_bits(sums.second, expected.second)) << "part " << part << ", " << NameOf(set);
            EXPECT_TRUE(same_bits(sums.fourth, expected.fourth)) << "part " << part << ", " << NameOf(set);
        }
    }
}

TEST(RowSums, GiveEachPartTheSumsOfItsOwnRowInSpaceAndInThePlane) {
    for (const EInstructionSet set : test::SupportedInstructionSets()) {
        expect_parts_summed_like_rows<3>(set);
        expect_parts_summed_like_rows<2>(set);
    }
}

TEST(ForegroundOfRow, ComparesInDoublePrecision) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const float between = 0.1F; // its double is above 0.1
    std::vector<float> values{between,
                              std::nextafter(between, 0.0F),
                              std::nextafter(between, 1.0F),
                              0.0F,
                              -0.0F,
                              infinity,
                              -infinity,
                              1e38F,
                              std::numeric_limits<float>::quiet_NaN()};
    while (values.size() < 67) {
        values.push_back(static_cast<float>(values.size()) / 64.0F);
    }
    for (const double threshold :
         {0.1, static_cast<double>(between), 0.0, -0.0, 0.5, -1e300, 1e300, 1e-300,
          std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        for (const EInstructionSet set : test::SupportedInstructionSets()) {
            std::vector<unsigned char> foreground(values.size() + 1, 77);
            ForegroundOfRow(values.data(), values.size(), threshold, foreground.data(), set);
            for (std::size_t x = 0; x < values.size(); ++x) {
                EXPECT_EQ(foreground[x], static_cast<double>(values[x]) > threshold ? 1 : 0)
                    << values[x] << " > " << threshold << " on " << NameOf(set);
            }
            EXPECT_EQ(foreground.back(), 77) << "written beyond the end";
        }
    }
}

} // namespace
} // namespace TEVRA::Impl
