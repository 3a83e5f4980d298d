// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/PointsOnSphere.h"

#include "FilterOrientations/PointsOnSphereTables.h"
#include "zeklib2core/Exception.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <memory>

namespace TEVRA::Impl {
namespace {

constexpr std::array<SWeightedDirection, 18> COARSE_DIRECTIONS{{
    {0, 0, 1, 0.3355},
    {6.12323e-17, 1, 6.12323e-17, 0.431},
    {1, 0, 6.12323e-17, 0.2689},
    {0.688157, -0.722334, 0.0683619, 0.3614},
    {-0.834036, 0.383682, 0.39645, 0.3878},
    {0.268211, -0.833984, 0.482218, 0.3203},
    {0.137516, 0.661174, 0.737522, 0.4103},
    {-0.253763, -0.500836, 0.827507, 0.3853},
    {0.472759, 0.834651, 0.282589, 0.2912},
    {-0.406695, 0.36806, 0.83614, 0.3451},
    {-0.707918, -0.138275, 0.692627, 0.3321},
    {0.824274, 0.403779, 0.396906, 0.3833},
    {-0.353604, 0.830634, 0.43013, 0.2845},
    {0.399342, -0.413924, 0.818042, 0.3449},
    {-0.399337, -0.827897, 0.393848, 0.3104},
    {-0.827646, -0.506439, 0.241912, 0.3879},
    {0.526231, 0.209498, 0.824131, 0.3146},
    {0.836414, -0.293912, 0.46263, 0.3847},
}};

[[noreturn]] void throw_at(int line, const char* message) {
    throw CException(
        TEVRA_LOCATION("src/filterorientations/PointsOnSphere", "Impl::StPointsOnSphere::GetPoints", line),
        message);
}

/// Row i: the x axis turned by i / size of half a turn.
std::unique_ptr<CMatrix<double>> points_on_half_circle(std::size_t size) {
    constexpr double PI = 3.141592653589793;
    auto points = std::make_unique<CMatrix<double>>(size, 2);
    for (std::size_t i = 0; i < size; ++i) {
        const double angleRad = static_cast<double>(i) * PI / static_cast<double>(size);
        (*points)(i, 0) = std::cos(angleRad);
        (*points)(i, 1) = std::sin(angleRad);
    }
    return points;
}

std::unique_ptr<CMatrix<double>> points_on_half_sphere(std::span<const SWeightedDirection> table) {
    auto points = std::make_unique<CMatrix<double>>(table.size(), 3);
    for (std::size_t i = 0; i < table.size(); ++i) {
        (*points)(i, 0) = table[i].x;
        (*points)(i, 1) = table[i].y;
        (*points)(i, 2) = table[i].z;
    }
    return points;
}

} // namespace

std::span<const SWeightedDirection> StPointsOnSphere::GetTable(int resolution) noexcept {
    switch (resolution) {
    case 0:
        return COARSE_DIRECTIONS;
    case 1:
        return MEDIUM_DIRECTIONS;
    case 2:
        return FINE_DIRECTIONS;
    default:
        return {};
    }
}

CMatrix<double>* StPointsOnSphere::GetPoints(int resolution, int dimension) {
    if (dimension != 2 && dimension != 3) {
        throw_at(__LINE__, "Unsupported dimension.");
    }
    const std::span<const SWeightedDirection> table = GetTable(resolution);
    if (table.empty()) {
        throw_at(__LINE__, "Unknown resolution level.");
    }
    auto points = dimension == 2 ? points_on_half_circle(table.size()) : points_on_half_sphere(table);
    return points.release();
}

} // namespace TEVRA::Impl
