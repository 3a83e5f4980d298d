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

/// Middles of the cells that hold axes, and how many: an array each, so that a loop over them takes several at a time.
/// Single precision moves a density by less than 1e-4 of itself.
struct SCells {
    std::vector<float> x;
    std::vector<float> y;
    std::vector<float> z;
    std::vector<float> count;
};

/// The sum of weights around a node. @param cosines room for one number per cell.
float sum_around(const std::array<double, 3>& node, const SCells& cells, std::vector<float>& cosines) {
    const auto x = static_cast<float>(node[0]);
    const auto y = static_cast<float>(node[1]);
    const auto z = static_cast<float>(node[2]);
    const std::size_t count = cosines.size();
    for (std::size_t cell = 0; cell < count; ++cell) {
        cosines[cell] = std::abs(x * cells.x[cell] + y * cells.y[cell] + z * cells.z[cell]);
    }
    float sum = 0.0F;
    for (std::size_t cell = 0; cell < count; ++cell) {
        if (cosines[cell] > static_cast<float>(REACH)) {
            sum += cells.count[cell] * std::exp(static_cast<float>(CONCENTRATION) * (cosines[cell] - 1.0F));
        }
    }
    return sum;
}

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
    double axes = 0.0;
    for (const unsigned long long count : counts) {
        axes += static_cast<double>(count);
    }
    SCells cells;
    for (std::size_t cell = 0; cell < counts.size(); ++cell) {
        if (counts[cell] > 0) {
            const std::array<double, 3> centre = Impl::CDirectionGrid::CentreOf(cell);
            cells.x.push_back(static_cast<float>(centre[0]));
            cells.y.push_back(static_cast<float>(centre[1]));
            cells.z.push_back(static_cast<float>(centre[2]));
            cells.count.push_back(static_cast<float>(static_cast<double>(counts[cell]) / axes));
        }
    }
    std::vector<float> cosines(cells.count.size());
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
            density.values.push_back(sum_around(*node, cells, cosines) / static_cast<float>(meanWeight));
        }
    }
    return density;
}

} // namespace TEVRA::report
