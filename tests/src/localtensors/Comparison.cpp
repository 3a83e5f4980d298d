// SPDX-License-Identifier: BSD-3-Clause
#include "Comparison.h"

#include "support/MakeImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace TEVRA::test {
namespace {

struct SDeviations {
    std::vector<double> degrees;     // where c > 0.1
    std::vector<double> sureDegrees; // where c > 0.5
    std::vector<double> confidence;
    double tensor = 0.0;
    std::size_t differentMarkers = 0;
};

double quantile(std::vector<double> values, double share) {
    if (values.empty()) {
        return 0.0;
    }
    const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + at, values.end());
    return values[static_cast<std::size_t>(at)];
}

std::array<double, 3> axis_at(const SMaps& maps, std::size_t i, std::size_t dim) {
    const auto theta = static_cast<double>(maps.theta[i]);
    if (dim == 2) {
        return {std::cos(theta), std::sin(theta), 0.0};
    }
    const auto phi = static_cast<double>(maps.phi[i]);
    return {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
}

SDeviations deviations(const SMaps& maps, const std::vector<SPlainAxis>& truth, std::size_t dim,
                       const std::vector<unsigned char>& wanted) {
    SDeviations result;
    std::array<double, 9> tensor{};
    double count = 0.0;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        if (!wanted.empty() && wanted[i] == 0) {
            continue;
        }
        const bool isFound = maps.theta[i] >= 0.0F;
        if (isFound != truth[i].isFound) {
            ++result.differentMarkers;
            continue;
        }
        if (!isFound) {
            continue;
        }
        const std::array<double, 3> axis = axis_at(maps, i, dim);
        const double degrees = AxialDegrees(axis, truth[i].axis);
        result.confidence.push_back(std::abs(static_cast<double>(maps.confidence[i]) - truth[i].confidence));
        if (truth[i].confidence > 0.1) {
            result.degrees.push_back(degrees);
        }
        if (truth[i].confidence > 0.5) {
            result.sureDegrees.push_back(degrees);
        }
        count += 1.0;
        for (std::size_t j = 0; j < 9; ++j) {
            tensor[j] += axis[j / 3] * axis[j % 3] - truth[i].axis[j / 3] * truth[i].axis[j % 3];
        }
    }
    for (const double component : tensor) {
        result.tensor = std::max(result.tensor, std::abs(component) / count);
    }
    return result;
}

std::vector<float> pixels_of(const IImage& map) {
    return PixelsOf<float>(dynamic_cast<const CImage&>(map));
}

} // namespace

CSize SizeOf(const SPlainImage& image) {
    return image.extents[2] > 1 ? CSize(image.extents[0], image.extents[1], image.extents[2])
                                : CSize(image.extents[0], image.extents[1]);
}

std::unique_ptr<CImage> FloatImage(const SPlainImage& image) {
    return MakeImage<float>(IMAGE_GREY_F, SizeOf(image), [&](long long x, long long y, long long z) {
        return image.values[image.Index(x, y, z)];
    });
}

SMaps MapsOf(const CLocalTensorOrientations& estimator) {
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    const IImage* confidence = nullptr;
    estimator.get(theta, phi);
    estimator.GetConfidence(confidence);
    return {pixels_of(*theta), phi != nullptr ? pixels_of(*phi) : std::vector<float>(),
            pixels_of(*confidence)};
}

SPlainImage Fibers(const std::array<long long, 3>& extents, double radius,
                   const std::array<double, 3>& spacing, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> uniform;
    const bool isVolume = extents[2] > 1;
    SPlainImage image{extents,
                      std::vector<double>(static_cast<std::size_t>(extents[0] * extents[1] * extents[2]))};
    for (double& value : image.values) {
        value = BACKGROUND + normal(random);
    }
    const int count = isVolume ? 6 : 4;
    const double edge =
        *std::min_element(spacing.begin(), spacing.begin() + (isVolume ? 3 : 2)); // as wide as a pixel
    for (int fiber = 0; fiber < count; ++fiber) {
        std::array<double, 3> axis{normal(random), normal(random), isVolume ? normal(random) : 0.0};
        const double length = std::hypot(axis[0], axis[1], axis[2]);
        std::array<double, 3> point{};
        for (std::size_t i = 0; i < 3; ++i) {
            axis[i] /= length;
            point[i] = uniform(random) * static_cast<double>(extents[i] - 1) * spacing[i];
        }
        for (long long z = 0; z < extents[2]; ++z) {
            for (long long y = 0; y < extents[1]; ++y) {
                for (long long x = 0; x < extents[0]; ++x) {
                    const std::array<double, 3> at{static_cast<double>(x) * spacing[0] - point[0],
                                                   static_cast<double>(y) * spacing[1] - point[1],
                                                   static_cast<double>(z) * spacing[2] - point[2]};
                    const double along = at[0] * axis[0] + at[1] * axis[1] + at[2] * axis[2];
                    const double square = at[0] * at[0] + at[1] * at[1] + at[2] * at[2] - along * along;
                    const double distance = std::sqrt(std::max(square, 0.0));
                    const double share = std::clamp((radius - distance) / edge + 0.5, 0.0, 1.0);
                    double& value = image.values[image.Index(x, y, z)];
                    value = std::max(value, BACKGROUND + CONTRAST * share);
                }
            }
        }
    }
    for (double& value : image.values) {
        value = static_cast<double>(static_cast<float>(value));
    }
    return image;
}

std::vector<unsigned char> AtFibers(const SPlainImage& image) {
    std::vector<unsigned char> wanted(image.values.size());
    std::transform(image.values.begin(), image.values.end(), wanted.begin(),
                   [](double value) { return value > BACKGROUND + 0.25 * CONTRAST ? 1 : 0; });
    return wanted;
}

void ExpectPlainAxes(const SMaps& maps, const std::vector<SPlainAxis>& truth, std::size_t dim,
                     const std::vector<unsigned char>& wanted) {
    if (!wanted.empty()) {
        EXPECT_LE(quantile(deviations(maps, truth, dim, {}).degrees, 0.5), 0.01);
    }
    const SDeviations found = deviations(maps, truth, dim, wanted);
    ASSERT_GT(found.degrees.size(), 500U);
    EXPECT_LE(quantile(found.degrees, 0.5), 0.01);
    EXPECT_LE(quantile(found.degrees, 0.99), 0.02);
    EXPECT_LE(quantile(found.sureDegrees, 0.999), 0.02);
    EXPECT_LE(quantile(found.confidence, 0.999), 0.003);
    EXPECT_LE(found.tensor, 2e-5);
    EXPECT_LE(found.differentMarkers, truth.size() / 1000);
}

} // namespace TEVRA::test
