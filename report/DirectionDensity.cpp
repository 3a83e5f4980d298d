// SPDX-License-Identifier: BSD-3-Clause
#include "report/DirectionDensity.h"

#include "Axes/DirectionGrid.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace TEVRA::report {
namespace {

constexpr double WIDTH_RAD = 5.0 / 180.0 * std::numbers::pi;
constexpr double CONCENTRATION = 1.0 / (WIDTH_RAD * WIDTH_RAD);
/// Cosine beyond which the weight is below 1e-6.
constexpr double REACH = 1.0 - 14.0 / CONCENTRATION;

struct SCell {
    std::array<double, 3> centre;
    double count;
};

} // namespace

std::optional<std::array<double, 3>> DirectionAt(double x, double y) {
    const double squared = x * x + y * y;
    if (squared > 1.0) {
        return std::nullopt;
    }
    const double stretch = std::sqrt(2.0 - squared); // of sine of colatitude over radius
    return std::array{x * stretch, y * stretch, 1.0 - squared};
}

SDirectionDensity DensityOfDirections(std::span<const unsigned long long> counts) {
    std::vector<SCell> cells;
    double axes = 0.0;
    for (std::size_t cell = 0; cell < counts.size(); ++cell) {
        if (counts[cell] > 0) {
            cells.push_back({Impl::CDirectionGrid::CentreOf(cell), static_cast<double>(counts[cell])});
            axes += static_cast<double>(counts[cell]);
        }
    }
    // The mean weight over the half-space; both ends of an axis lie on the sphere, one of them above.
    const double meanWeight = (1.0 - std::exp(-2.0 * CONCENTRATION)) / CONCENTRATION;
    SDirectionDensity density;
    for (std::size_t row = 0; row < SDirectionDensity::NODES; ++row) {
        for (std::size_t column = 0; column < SDirectionDensity::NODES; ++column) {
            constexpr double STEP = 2.0 / (SDirectionDensity::NODES - 1);
            const auto node = DirectionAt(-1.0 + STEP * static_cast<double>(column),
                                          -1.0 + STEP * static_cast<double>(row));
            if (!node) {
                density.values.push_back(std::numeric_limits<float>::quiet_NaN());
                continue;
            }
            double sum = 0.0;
            for (const SCell& cell : cells) {
                const double cosine = std::abs((*node)[0] * cell.centre[0] + (*node)[1] * cell.centre[1] +
                                               (*node)[2] * cell.centre[2]);
                if (cosine > REACH) {
                    sum += cell.count * std::exp(CONCENTRATION * (cosine - 1.0));
                }
            }
            density.values.push_back(static_cast<float>(sum / (axes * meanWeight)));
        }
    }
    return density;
}

} // namespace TEVRA::report
