// SPDX-License-Identifier: BSD-3-Clause
#include "src/accuracy/ReferenceEstimator.h"

#include <Eigen/Eigenvalues>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace TEVRA::test {
namespace {

/// Half of the kernel: weights of the distances 0, 1, ... pixels. At 7 sigma a Gaussian is 2e-11 of its peak.
std::vector<double> sampled_gaussian(double sigmaPx) {
    const auto reach = static_cast<std::size_t>(std::ceil(7.0 * sigmaPx));
    std::vector<double> weights(reach + 1);
    double sum = 0.0;
    for (std::size_t distance = 0; distance <= reach; ++distance) {
        const double ratio = static_cast<double>(distance) / sigmaPx;
        weights[distance] = std::exp(-0.5 * ratio * ratio);
        sum += weights[distance] * (distance == 0 ? 1.0 : 2.0);
    }
    for (double& weight : weights) {
        weight /= sum;
    }
    return weights;
}

/// A volume of doubles whose pixels outside are those at its border.
class CVolume {
  public:
    CVolume(const CSize& sizePx, const unsigned char* pixels)
        : m_extent{sizePx[0], sizePx[1], sizePx[2]}, m_values(pixels, pixels + sizePx.Elements()) {}

    const std::vector<double>& Values() const { return m_values; }

    double At(long long x, long long y, long long z) const {
        return m_values[static_cast<std::size_t>((clamped(z, 2) * m_extent[1] + clamped(y, 1)) * m_extent[0] +
                                                 clamped(x, 0))];
    }

    /// Convolves along one axis.
    void Smooth(std::size_t axis, const std::vector<double>& weights) {
        // Rows of values that move together: along x single values, along y lines, along z planes.
        long long row = 1;
        for (std::size_t before = 0; before < axis; ++before) {
            row *= m_extent[before];
        }
        const long long block = row * m_extent[axis];
        const auto reach = static_cast<long long>(weights.size()) - 1;
        std::vector<double> smoothed(m_values.size(), 0.0);
        for (long long start = 0; start < static_cast<long long>(m_values.size()); start += block) {
            for (long long i = 0; i < m_extent[axis]; ++i) {
                double* const to = smoothed.data() + start + i * row;
                for (long long step = -reach; step <= reach; ++step) {
                    const double weight = weights[static_cast<std::size_t>(std::abs(step))];
                    const double* const from = m_values.data() + start + clamped(i + step, axis) * row;
                    for (long long k = 0; k < row; ++k) {
                        to[k] += weight * from[k];
                    }
                }
            }
        }
        m_values.swap(smoothed);
    }

  private:
    long long clamped(long long coordinate, std::size_t axis) const {
        return std::clamp(coordinate, 0LL, m_extent[axis] - 1);
    }

    std::array<long long, 3> m_extent;
    std::vector<double> m_values;
};

/// Lowest t of 0 ... 255 for which the classes "bin <= t" and "bin > t" differ most.
int otsu_bin(const std::array<double, 256>& histogram) {
    double best = -1.0;
    int bestBin = 0;
    for (int t = 0; t < 256; ++t) {
        std::array<double, 2> weight{};
        std::array<double, 2> sum{};
        for (int bin = 0; bin < 256; ++bin) {
            const std::size_t side = bin <= t ? 0 : 1;
            weight[side] += histogram[static_cast<std::size_t>(bin)];
            sum[side] += histogram[static_cast<std::size_t>(bin)] * bin;
        }
        if (weight[0] == 0.0 || weight[1] == 0.0) {
            continue;
        }
        const double distance = sum[0] / weight[0] - sum[1] / weight[1];
        const double variance = weight[0] * weight[1] * distance * distance;
        if (variance > best) {
            best = variance;
            bestBin = t;
        }
    }
    return bestBin;
}

/// Otsu's bin of 256 as a share of the value range, scaled, counted from the lowest value.
double threshold_of(const std::vector<double>& values, double otsuFactor) {
    const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
    const double range = *highest - *lowest;
    std::array<double, 256> histogram{};
    for (const double value : values) {
        const auto bin = static_cast<std::size_t>((value - *lowest) / range * 256.0);
        ++histogram[std::min<std::size_t>(bin, 255)];
    }
    return *lowest + otsu_bin(histogram) / 256.0 * otsuFactor * range;
}

Eigen::Matrix3d hessian_at(const CVolume& v, const std::array<long long, 3>& pixel) {
    const auto value = [&v, &pixel](const std::array<long long, 3>& offset) {
        return v.At(pixel[0] + offset[0], pixel[1] + offset[1], pixel[2] + offset[2]);
    };
    Eigen::Matrix3d hessian;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            std::array<long long, 3> a{};
            std::array<long long, 3> b{};
            a[static_cast<std::size_t>(i)] = 1;
            b[static_cast<std::size_t>(j)] = 1;
            const auto shifted = [&](long long stepsA, long long stepsB) {
                return value({stepsA * a[0] + stepsB * b[0], stepsA * a[1] + stepsB * b[1],
                              stepsA * a[2] + stepsB * b[2]});
            };
            hessian(i, j) = i == j
                                ? shifted(1, 0) - 2.0 * shifted(0, 0) + shifted(-1, 0)
                                : 0.25 * (shifted(1, 1) - shifted(1, -1) - shifted(-1, 1) + shifted(-1, -1));
        }
    }
    return hessian;
}

Axis axis_of_smallest_absolute_eigenvalue(const Eigen::Matrix3d& hessian) {
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(hessian);
    Eigen::Index smallest = 0;
    solver.eigenvalues().cwiseAbs().minCoeff(&smallest);
    const Eigen::Vector3d axis = solver.eigenvectors().col(smallest);
    return {axis(0), axis(1), axis(2)};
}

} // namespace

SAxisField ReferenceAxes(const CImage& image, const SReferenceSettings& settings) {
    const CSize& size = image.Size();
    CVolume smoothed(size, image.Pixels<unsigned char>());
    const std::vector<double> weights = sampled_gaussian(settings.sigmaPx);
    for (const std::size_t axis : {0U, 1U, 2U}) {
        smoothed.Smooth(axis, weights);
    }
    const double threshold = threshold_of(smoothed.Values(), settings.otsuFactor);

    const std::size_t count = size.Elements();
    SAxisField field{size, std::vector<unsigned char>(count, 0), std::vector<Axis>(count, Axis{})};
    std::size_t pixel = 0;
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x, ++pixel) {
                if (smoothed.Values()[pixel] > threshold) {
                    field.foreground[pixel] = 1;
                    field.axes[pixel] = axis_of_smallest_absolute_eigenvalue(hessian_at(smoothed, {x, y, z}));
                }
            }
        }
    }
    return field;
}

} // namespace TEVRA::test
