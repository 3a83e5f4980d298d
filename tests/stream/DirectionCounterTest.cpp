// SPDX-License-Identifier: BSD-3-Clause
// Axes counted by direction, held to directions and numbers of pixels that are known beforehand.
#include "stream/DirectionCounter.h"

#include "stream/RankThreads.h"

#include "Axes/AxisAngles.h"
#include "Axes/DirectionGrid.h"
#include "Subfields/SubfieldLayout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <random>
#include <vector>

namespace TEVRA::test {
namespace {

using Counts = std::vector<unsigned long long>;
using Vector = std::array<double, 3>;

/// An image of one direction or of none per pixel, counted row by row as an analysis does.
class CCounted {
  public:
    explicit CCounted(const CSize& size, double borderPx = 0.0,
                      std::array<long long, 3> subfield = {-1, -1, -1}, int workers = 1)
        : m_size(size), m_layout(size, borderPx, subfield), m_grid(m_layout, size),
          m_counter(m_grid, workers) {}

    void AddRow(long long y, long long z, const std::vector<float>& theta, const std::vector<float>& phi,
                int worker = 0) {
        const auto& bands = m_grid.Bands();
        const auto band = std::find_if(bands.begin(), bands.end(),
                                       [y](const auto& one) { return one.rows.lo <= y && y < one.rows.hi; });
        m_counter.AddRow({y,
                          z,
                          static_cast<std::size_t>(band - bands.begin()),
                          worker,
                          {theta.data(), phi.empty() ? nullptr : phi.data()}});
    }
    /// The same axis everywhere.
    void Fill(const Vector& axis) {
        const Impl::SAxisAngles angles = Impl::AnglesOfAxis(axis);
        const auto width = static_cast<std::size_t>(m_size[0]);
        const std::vector<float> theta(width, angles.colatitudeRad);
        const std::vector<float> phi(width, angles.longitudeRad);
        for (long long z = 0; z < m_size[2]; ++z) {
            for (long long y = 0; y < m_size[1]; ++y) {
                AddRow(y, z, theta, phi);
            }
        }
    }
    Counts Result() const { return m_counter.Counts(*stream::SingleProcess()); }
    Counts Result(stream::ICommunicator& ranks) const { return m_counter.Counts(ranks); }

  private:
    CSize m_size;
    Impl::CSubfieldLayout m_layout;
    stream::CTileGrid m_grid;
    stream::CDirectionCounter m_counter;
};

unsigned long long sum_of(const Counts& counts) {
    return std::accumulate(counts.begin(), counts.end(), 0ULL);
}

/// Axes in cells whose middle is at most so far from a direction.
unsigned long long near(const Counts& counts, const Vector& axis, double degrees) {
    unsigned long long sum = 0;
    for (std::size_t cell = 0; cell < counts.size(); ++cell) {
        const Vector centre = Impl::CDirectionGrid::CentreOf(cell);
        const double cosine = std::abs(centre[0] * axis[0] + centre[1] * axis[1] + centre[2] * axis[2]);
        if (cosine >= std::cos(degrees * std::numbers::pi / 180.0)) {
            sum += counts[cell];
        }
    }
    return sum;
}

TEST(DirectionCounter, CountsAxesWhereTheyPoint) {
    CCounted image(CSize(6, 2, 2));
    const Vector oblique{0.48, -0.6, 0.64};
    std::vector<float> theta;
    std::vector<float> phi;
    for (const Vector& axis : {Vector{1, 0, 0}, Vector{0, 1, 0}, Vector{0, 0, 1}, oblique, oblique}) {
        const Impl::SAxisAngles angles = Impl::AnglesOfAxis(axis);
        theta.push_back(angles.colatitudeRad);
        phi.push_back(angles.longitudeRad);
    }
    theta.push_back(theta.back()); // the last pixel of a row counts for nothing
    phi.push_back(phi.back());
    image.AddRow(0, 0, theta, phi);
    const Counts counts = image.Result();
    EXPECT_EQ(near(counts, {1, 0, 0}, 2.5), 1U);
    EXPECT_EQ(near(counts, {0, 1, 0}, 2.5), 1U);
    EXPECT_EQ(near(counts, {0, 0, 1}, 2.5), 1U);
    EXPECT_EQ(near(counts, oblique, 2.5), 2U);
    EXPECT_EQ(sum_of(counts), 5U);
}

TEST(DirectionCounter, LeavesOutPixelsWithoutAnAxis) {
    CCounted image(CSize(5, 2, 2));
    image.AddRow(0, 0, {0.3F, -1.0F, -1.0F, 0.3F, -1.0F},
                 {1.0F, -4.1415925F, -4.1415925F, 1.0F, -4.1415925F});
    EXPECT_EQ(sum_of(image.Result()), 2U);
    CCounted plane(CSize(5, 2));
    plane.AddRow(0, 0, {-4.1415925F, 0.0F, -4.1415925F, 1.0F, 0.0F}, {});
    EXPECT_EQ(sum_of(plane.Result()), 2U);
}

// 20 - 2 * 3 pixels are left along each axis.
TEST(DirectionCounter, CountsTheEvaluatedAreaOnly) {
    CCounted image(CSize(20, 20, 20), 3.0);
    image.Fill({0, 0, 1});
    EXPECT_EQ(sum_of(image.Result()), 14U * 14U * 14U);
}

// Subfields of 5 pixels leave 4 of 14 at the far edges, which belong to the evaluated area.
TEST(DirectionCounter, CountsPixelsBeyondTheLastSubfield) {
    CCounted image(CSize(20, 20, 20), 3.0, {5, 5, 5});
    image.Fill({0, 0, 1});
    EXPECT_EQ(sum_of(image.Result()), 14U * 14U * 14U);
}

TEST(DirectionCounter, CountsEveryWorkersRows) {
    CCounted image(CSize(3, 4, 4), 0.0, {-1, -1, -1}, 2);
    const std::vector<float> theta(3, 0.3F);
    const std::vector<float> phi(3, 1.0F);
    image.AddRow(0, 0, theta, phi, 0);
    image.AddRow(1, 0, theta, phi, 1);
    image.AddRow(2, 0, theta, phi, 1);
    EXPECT_EQ(sum_of(image.Result()), 3U * 2U);
}

TEST(DirectionCounter, CountsEveryProcessesRows) {
    RunRanks(3, [](stream::ICommunicator& ranks) {
        CCounted image(CSize(3, 4, 4));
        image.AddRow(0, ranks.Rank(), {0.3F, 0.3F, 0.3F}, {1.0F, 1.0F, 1.0F});
        EXPECT_EQ(sum_of(image.Result(ranks)), 3U * 2U) << "on rank " << ranks.Rank();
    });
}

// Normally distributed coordinates have no preferred direction. The sum of squared deviations over the expected number
// follows a chi-square distribution: as many as there are cells, give or take five standard deviations.
TEST(DirectionCounter, FillsCellsEvenlyByDirectionsWithoutPreference) {
    constexpr long long WIDTH = 720;
    constexpr long long ROWS = 500;
    CCounted image(CSize(WIDTH + 1, ROWS + 1, 2));
    std::mt19937 random(5);
    std::normal_distribution<double> coordinate;
    for (long long y = 0; y < ROWS; ++y) {
        std::vector<float> theta;
        std::vector<float> phi;
        for (long long x = 0; x <= WIDTH; ++x) {
            Vector axis{coordinate(random), coordinate(random), coordinate(random)};
            const double length = std::hypot(axis[0], axis[1], axis[2]);
            for (double& component : axis) {
                component /= length;
            }
            const Impl::SAxisAngles angles = Impl::AnglesOfAxis(axis);
            theta.push_back(angles.colatitudeRad);
            phi.push_back(angles.longitudeRad);
        }
        image.AddRow(y, 0, theta, phi);
    }
    const Counts counts = image.Result();
    const auto cells = static_cast<double>(counts.size());
    const double expected = static_cast<double>(WIDTH * ROWS) / cells;
    double deviation = 0.0;
    for (const unsigned long long count : counts) {
        deviation += std::pow(static_cast<double>(count) - expected, 2) / expected;
    }
    EXPECT_NEAR(deviation, cells, 5.0 * std::sqrt(2.0 * cells));
}

TEST(DirectionCounter, CountsAnglesOfAPlaneByDegrees) {
    CCounted plane(CSize(6, 2));
    const auto rad = [](double degrees) { return static_cast<float>(degrees * std::numbers::pi / 180.0); };
    plane.AddRow(0, 0, {rad(0.0), rad(89.7), rad(90.4), rad(179.7), rad(42.0), rad(42.0)}, {});
    Counts expected(180);
    expected[0] = 2; // 179.7 is nearer to 180, the same axis
    expected[90] = 2;
    expected[42] = 1; // the last pixel of a row counts for nothing
    EXPECT_EQ(plane.Result(), expected);
}

} // namespace
} // namespace TEVRA::test
