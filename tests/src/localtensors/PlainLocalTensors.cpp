// SPDX-License-Identifier: BSD-3-Clause
#include "PlainLocalTensors.h"

#include <Eigen/Dense>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace TEVRA::test {
namespace {

struct SKernel {
    long long reach;
    std::vector<double> weights; // from -reach to reach
};

SKernel kernel_of(double sigma, double spacing, int order) {
    const double s = sigma / spacing;
    if (s < 0.05) {
        if (order == 0) {
            return {1, {0.0, 1.0, 0.0}};
        }
        if (order == 1) {
            return {1, {-0.5 / spacing, 0.0, 0.5 / spacing}};
        }
        return {1, {1.0 / (spacing * spacing), -2.0 / (spacing * spacing), 1.0 / (spacing * spacing)}};
    }
    const auto reach = static_cast<long long>(std::max(1.0, std::ceil(4.0 * s)));
    SKernel kernel{reach, {}};
    double sum = 0.0;
    for (long long x = -reach; x <= reach; ++x) {
        kernel.weights.push_back(std::exp(-static_cast<double>(x * x) / (2.0 * s * s)));
        sum += kernel.weights.back();
    }
    double variance = 0.0;
    for (long long x = -reach; x <= reach; ++x) {
        double& g = kernel.weights[static_cast<std::size_t>(x + reach)];
        g /= sum;
        variance += static_cast<double>(x * x) * g;
    }
    if (order == 1) {
        for (long long x = -reach; x <= reach; ++x) {
            kernel.weights[static_cast<std::size_t>(x + reach)] *=
                static_cast<double>(x) / (spacing * variance);
        }
    }
    if (order == 2) {
        double mean = 0.0;
        for (long long x = -reach; x <= reach; ++x) {
            double& g = kernel.weights[static_cast<std::size_t>(x + reach)];
            g *= static_cast<double>(x * x) / (s * s * s * s) - 1.0 / (s * s);
            mean += g / static_cast<double>(2 * reach + 1);
        }
        double moment = 0.0;
        for (long long x = -reach; x <= reach; ++x) {
            double& g = kernel.weights[static_cast<std::size_t>(x + reach)];
            g -= mean;
            moment += g * static_cast<double>(x * x) * spacing * spacing;
        }
        for (double& g : kernel.weights) {
            g *= 2.0 / moment;
        }
    }
    return kernel;
}

enum class EBeyond { repeated, nothing };

SPlainImage filtered(const SPlainImage& image, std::size_t axis, const SKernel& kernel, EBeyond beyond) {
    SPlainImage out{image.extents, std::vector<double>(image.values.size())};
    std::array<long long, 3> at{};
    for (at[2] = 0; at[2] < image.extents[2]; ++at[2]) {
        for (at[1] = 0; at[1] < image.extents[1]; ++at[1]) {
            for (at[0] = 0; at[0] < image.extents[0]; ++at[0]) {
                double sum = 0.0;
                for (long long k = -kernel.reach; k <= kernel.reach; ++k) {
                    std::array<long long, 3> from = at;
                    from[axis] += k;
                    if (beyond == EBeyond::nothing && (from[axis] < 0 || from[axis] >= image.extents[axis])) {
                        continue;
                    }
                    from[axis] = std::clamp(from[axis], 0LL, image.extents[axis] - 1);
                    sum += kernel.weights[static_cast<std::size_t>(k + kernel.reach)] *
                           image.values[image.Index(from[0], from[1], from[2])];
                }
                out.values[out.Index(at[0], at[1], at[2])] = sum;
            }
        }
    }
    return out;
}

using Matrix = Eigen::MatrixXd;
using Solver = Eigen::SelfAdjointEigenSolver<Matrix>;

/// Round halves away from zero.
long long nearest(double value) {
    return std::llround(value);
}

} // namespace

double AxialDegrees(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    const Eigen::Vector3d u(a[0], a[1], a[2]);
    const Eigen::Vector3d v(b[0], b[1], b[2]);
    return std::atan2(u.cross(v).norm(), std::abs(u.dot(v))) * 180.0 / std::numbers::pi;
}

std::vector<SPlainAxis> PlainAxes(const SPlainImage& image, const SPlainScales& scales) {
    const int dim = image.extents[2] > 1 ? 3 : 2;
    const auto [low, high] = std::minmax_element(image.values.begin(), image.values.end());
    const double range = *high - *low;
    const bool isVoting = scales.kind == EPlainKind::lineVoting;
    const auto derivative = [&](std::array<int, 3> orders) {
        SPlainImage result = image;
        for (std::size_t axis = 0; axis < static_cast<std::size_t>(dim); ++axis) {
            result =
                filtered(result, axis, kernel_of(scales.derivativeSigma, scales.spacing[axis], orders[axis]),
                         EBeyond::repeated);
        }
        return result.values;
    };
    const std::size_t pixels = image.values.size();
    std::vector<SPlainImage> tensors; // upper triangle, row by row
    for (int entry = 0; entry < dim * (dim + 1) / 2; ++entry) {
        tensors.push_back({image.extents, std::vector<double>(pixels)});
    }
    const auto set = [&](std::size_t pixel, const Eigen::VectorXd& v, double weight) {
        std::size_t entry = 0;
        for (int i = 0; i < dim; ++i) {
            for (int j = i; j < dim; ++j) {
                tensors[entry++].values[pixel] = weight * v[i] * v[j];
            }
        }
    };
    if (isVoting) {
        std::vector<std::vector<double>> hessian;
        for (int i = 0; i < dim; ++i) {
            for (int j = i; j < dim; ++j) {
                std::array<int, 3> orders{};
                ++orders[static_cast<std::size_t>(i)];
                ++orders[static_cast<std::size_t>(j)];
                hessian.push_back(derivative(orders));
            }
        }
        for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
            Matrix h(dim, dim);
            std::size_t entry = 0;
            for (int i = 0; i < dim; ++i) {
                for (int j = i; j < dim; ++j) {
                    h(i, j) = h(j, i) = hessian[entry++][pixel];
                }
            }
            const Solver solver(h);
            const Eigen::VectorXd l = solver.eigenvalues();
            const double strength =
                dim == 3 ? std::max(-l[1] - std::abs(l[2]), 0.0) : std::max(-l[0] - std::abs(l[1]), 0.0);
            const double plain = scales.derivativeSigma * scales.derivativeSigma * strength / range;
            if (plain >= 1e-6) {
                set(pixel, solver.eigenvectors().col(dim - 1), plain * plain);
            }
        }
    } else {
        std::vector<std::vector<double>> gradient;
        for (int i = 0; i < dim; ++i) {
            std::array<int, 3> orders{};
            orders[static_cast<std::size_t>(i)] = 1;
            gradient.push_back(derivative(orders));
        }
        for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
            Eigen::VectorXd g(dim);
            for (int i = 0; i < dim; ++i) {
                g[i] = gradient[static_cast<std::size_t>(i)][pixel] / range;
            }
            set(pixel, g, 1.0);
        }
    }
    for (SPlainImage& tensor : tensors) {
        for (std::size_t axis = 0; axis < static_cast<std::size_t>(dim); ++axis) {
            tensor = filtered(tensor, axis, kernel_of(scales.windowSigma, scales.spacing[axis], 0),
                              isVoting ? EBeyond::nothing : EBeyond::repeated);
        }
    }
    const auto tensor_at = [&](long long x, long long y, long long z) {
        Matrix t(dim, dim);
        const std::size_t pixel =
            image.Index(std::clamp(x, 0LL, image.extents[0] - 1), std::clamp(y, 0LL, image.extents[1] - 1),
                        std::clamp(z, 0LL, image.extents[2] - 1));
        std::size_t entry = 0;
        for (int i = 0; i < dim; ++i) {
            for (int j = i; j < dim; ++j) {
                t(i, j) = t(j, i) = tensors[entry++].values[pixel];
            }
        }
        return t;
    };
    const int wanted = isVoting ? dim - 1 : 0;
    std::vector<SPlainAxis> axes(pixels);
    for (long long z = 0; z < image.extents[2]; ++z) {
        for (long long y = 0; y < image.extents[1]; ++y) {
            for (long long x = 0; x < image.extents[0]; ++x) {
                Matrix m = tensor_at(x, y, z);
                if (scales.along > 0.0) {
                    const Eigen::VectorXd a = Solver(m).eigenvectors().col(wanted);
                    Matrix sum = Matrix::Zero(dim, dim);
                    double weights = 0.0;
                    for (int k = 0; k <= 6; ++k) {
                        const double t = (2.0 * k / 3.0 - 2.0) * scales.along;
                        const double weight = std::exp(-t * t / (2.0 * scales.along * scales.along));
                        sum += weight * tensor_at(x + nearest(t * a[0] / scales.spacing[0]),
                                                  y + nearest(t * a[1] / scales.spacing[1]),
                                                  dim == 3 ? z + nearest(t * a[2] / scales.spacing[2]) : 0);
                        weights += weight;
                    }
                    m = sum / weights;
                }
                const Solver solver(m);
                const Eigen::VectorXd l = solver.eigenvalues();
                SPlainAxis& result = axes[image.Index(x, y, z)];
                result.isFound = m.trace() > 0.0 && std::isfinite(m.trace());
                for (int i = 0; i < dim; ++i) {
                    result.axis[static_cast<std::size_t>(i)] = solver.eigenvectors()(i, wanted);
                }
                const double ratio = isVoting ? (l[dim - 1] - l[dim - 2]) / m.trace()
                                              : (l[1] > 0.0 ? (l[1] - l[0]) / (l[1] + l[0]) : 0.0);
                result.confidence = std::clamp(ratio, 0.0, 1.0);
            }
        }
    }
    return axes;
}

} // namespace TEVRA::test
