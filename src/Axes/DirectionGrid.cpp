// SPDX-License-Identifier: BSD-3-Clause
#include "Axes/DirectionGrid.h"

#include "Axes/Approximations.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace TEVRA::Impl {
namespace {

constexpr double PI = std::numbers::pi;

/// Cells of the rings inside ring number `ring`, and that ring's own.
template <typename Integer>
Integer cells_inside(Integer ring) {
    return 4 * ring * ring;
}
template <typename Integer>
Integer cells_of(Integer ring) {
    return 4 * (2 * ring + 1);
}

} // namespace

// Called for every axis of an image: a polynomial and no division. Numbers with sign, as they are converted faster.
std::size_t CDirectionGrid::CellOf(const SAxisAngles& angles) {
    // 1 - cos is 2 sin^2 of the half, which loses no digits near the pole.
    const double half = 0.5 * static_cast<double>(angles.colatitudeRad);
    const double radius = std::numbers::sqrt2 * OddSeries(SPolynomials::sine, half, half * half);
    const auto ring = std::min(static_cast<long long>(radius * static_cast<double>(RINGS)),
                               static_cast<long long>(RINGS) - 1);
    const double turn = 0.5 + static_cast<double>(angles.longitudeRad) * (0.5 / PI); // [0, 1]
    const auto sector = static_cast<long long>(std::max(0.0, turn) * static_cast<double>(cells_of(ring)));
    return static_cast<std::size_t>(cells_inside(ring) + std::min(sector, cells_of(ring) - 1));
}

std::array<double, 3> CDirectionGrid::CentreOf(std::size_t cell) {
    std::size_t ring = 0;
    while (cells_inside(ring + 1) <= cell) {
        ++ring;
    }
    const double sector = static_cast<double>(cell - cells_inside(ring)) + 0.5;
    const double longitude = (sector / static_cast<double>(cells_of(ring)) - 0.5) * 2.0 * PI;
    const double radius = (static_cast<double>(ring) + 0.5) / static_cast<double>(RINGS);
    const double height = 1.0 - radius * radius;
    const double sine = std::sqrt(1.0 - height * height);
    return {sine * std::cos(longitude), sine * std::sin(longitude), height};
}

std::size_t CAngleGrid::CellOf(float angleRad) {
    const double degrees = static_cast<double>(angleRad) * (180.0 / PI);
    return static_cast<std::size_t>(std::max(0L, std::lround(degrees))) % CELLS;
}

} // namespace TEVRA::Impl
