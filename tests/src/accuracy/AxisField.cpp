// SPDX-License-Identifier: BSD-3-Clause
#include "src/accuracy/AxisField.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>
#include <numeric>

namespace TEVRA::test {
namespace {

double dot(const Axis& a, const Axis& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Axis axis_of(double theta) {
    return {std::cos(theta), std::sin(theta), 0.0};
}

Axis axis_of(double theta, double phi) {
    return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

/// Calls operation(axis) for every foreground pixel of the box.
template <typename OperationT>
void for_each_axis(const SAxisField& field, const SPixelBox& box, OperationT operation) {
    for (long long z = box.first[2]; z < box.end[2]; ++z) {
        for (long long y = box.first[1]; y < box.end[1]; ++y) {
            for (long long x = box.first[0]; x < box.end[0]; ++x) {
                const auto pixel = static_cast<std::size_t>((z * field.sizePx[1] + y) * field.sizePx[0] + x);
                if (field.foreground[pixel] != 0) {
                    operation(field.axes[pixel]);
                }
            }
        }
    }
}

} // namespace

std::size_t SAxisField::Count() const {
    return static_cast<std::size_t>(std::count(foreground.begin(), foreground.end(), 1));
}

std::size_t SAxisField::Count(const SPixelBox& box) const {
    std::size_t count = 0;
    for_each_axis(*this, box, [&count](const Axis& /*axis*/) { ++count; });
    return count;
}

SPixelBox WithoutBorder(const CSize& sizePx, long long borderPx) {
    const long long borderZ = sizePx.Dim() == 3 ? borderPx : 0;
    return {{borderPx, borderPx, borderZ}, {sizePx[0] - borderPx, sizePx[1] - borderPx, sizePx[2] - borderZ}};
}

SAxisField FieldOfMaps(const IImage& theta, const IImage* phi) {
    const std::unique_ptr<IImage::IAccess> thetaAccess(theta.CreateAccess(true));
    const std::unique_ptr<IImage::IAccess> phiAccess(phi != nullptr ? phi->CreateAccess(true) : nullptr);
    const auto* thetas = static_cast<const float*>(thetaAccess->ConstData());
    const auto* phis = phiAccess ? static_cast<const float*>(phiAccess->ConstData()) : nullptr;
    const std::size_t count = theta.Size().Elements();
    SAxisField field{theta.Size(), std::vector<unsigned char>(count, 0), std::vector<Axis>(count, Axis{})};
    for (std::size_t pixel = 0; pixel < count; ++pixel) {
        if (thetas[pixel] >= 0.0F) {
            field.foreground[pixel] = 1;
            field.axes[pixel] =
                phis == nullptr ? axis_of(thetas[pixel]) : axis_of(thetas[pixel], phis[pixel]);
        }
    }
    return field;
}

double DifferenceDeg(const Axis& a, const Axis& b) {
    const Axis cross{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
    return std::atan2(std::sqrt(dot(cross, cross)), std::abs(dot(a, b))) * 180.0 / std::numbers::pi;
}

std::vector<double> DifferencesDeg(const SAxisField& a, const SAxisField& b) {
    std::vector<double> differences;
    for (std::size_t pixel = 0; pixel < a.axes.size(); ++pixel) {
        if (a.foreground[pixel] != 0 && b.foreground[pixel] != 0) {
            differences.push_back(DifferenceDeg(a.axes[pixel], b.axes[pixel]));
        }
    }
    return differences;
}

double ForegroundMismatch(const SAxisField& a, const SAxisField& b) {
    std::size_t either = 0;
    std::size_t both = 0;
    for (std::size_t pixel = 0; pixel < a.foreground.size(); ++pixel) {
        either += a.foreground[pixel] | b.foreground[pixel];
        both += a.foreground[pixel] & b.foreground[pixel];
    }
    return static_cast<double>(either - both) / static_cast<double>(either);
}

double Quantile(std::vector<double> values, double share) {
    const auto rank = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + rank, values.end());
    return values[static_cast<std::size_t>(rank)];
}

double Mean(const std::vector<double>& values) {
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

Tensor MeanTensor(const SAxisField& field, const SPixelBox& box) {
    Tensor sum{};
    for_each_axis(field, box, [&sum](const Axis& axis) {
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                sum[i][j] += axis[i] * axis[j];
            }
        }
    });
    const auto count = static_cast<double>(field.Count(box));
    for (auto& row : sum) {
        for (double& element : row) {
            element /= count;
        }
    }
    return sum;
}

Axis MainAxis(const Tensor& tensor) {
    Axis axis{1.0, 1.0, 1.0};
    constexpr int TIMES = 50; // of multiplication, each of which turns it towards the eigenvector
    for (int time = 0; time < TIMES; ++time) {
        Axis next{};
        for (std::size_t i = 0; i < 3; ++i) {
            next[i] = dot(tensor[i], axis);
        }
        const double length = std::sqrt(dot(next, next));
        std::transform(next.begin(), next.end(), axis.begin(), [length](double x) { return x / length; });
    }
    return axis;
}

double LargestDifference(const Tensor& a, const Tensor& b) {
    double largest = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            largest = std::max(largest, std::abs(a[i][j] - b[i][j]));
        }
    }
    return largest;
}

} // namespace TEVRA::test
