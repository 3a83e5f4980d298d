// SPDX-License-Identifier: BSD-3-Clause
// Angles between the axes of two pairs of maps: usage: map_error TRUTH_THETA TRUTH_PHI THETA PHI
// Prints one line of JSON: mean and median in degrees over the voxels that have an axis in both, and the
// share of the true fiber voxels that these are.
#include "volume/ImageReader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace TEVRA;

std::vector<float> read_map(const std::string& path) {
    const auto reader = volume::OpenImage(path);
    if (reader->Info().pixelType != volume::EPixelType::f32) {
        throw std::invalid_argument("'" + path + "' is not a map of floats");
    }
    std::vector<float> values(reader->Info().size.Elements());
    reader->ReadSlices(0, reader->SliceCount(), values.data());
    return values;
}

struct SMaps {
    std::vector<float> theta;
    std::vector<float> phi;
};

SMaps read_maps(const char* theta, const char* phi) {
    SMaps maps{read_map(theta), read_map(phi)};
    if (maps.theta.size() != maps.phi.size()) {
        throw std::invalid_argument("theta and phi differ in size");
    }
    return maps;
}

/// In degrees, by the sine where axes are nearly parallel: the cosine does not resolve small angles.
double angle_between(double thetaA, double phiA, double thetaB, double phiB) {
    const double a[3] = {std::sin(thetaA) * std::cos(phiA), std::sin(thetaA) * std::sin(phiA),
                         std::cos(thetaA)};
    const double b[3] = {std::sin(thetaB) * std::cos(phiB), std::sin(thetaB) * std::sin(phiB),
                         std::cos(thetaB)};
    const double dot = a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
    const double cross =
        std::hypot(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
    return std::atan2(cross, std::abs(dot)) * 180.0 / std::numbers::pi;
}

void compare(const SMaps& truth, const SMaps& found) {
    if (truth.theta.size() != found.theta.size()) {
        throw std::invalid_argument("the maps and their truth differ in size");
    }
    std::vector<double> errors;
    std::size_t fibers = 0;
    double sum = 0.0;
    for (std::size_t i = 0; i < truth.theta.size(); ++i) {
        if (truth.theta[i] < 0.0F) {
            continue;
        }
        ++fibers;
        if (found.theta[i] >= 0.0F) {
            errors.push_back(
                angle_between(static_cast<double>(truth.theta[i]), static_cast<double>(truth.phi[i]),
                              static_cast<double>(found.theta[i]), static_cast<double>(found.phi[i])));
            sum += errors.back();
        }
    }
    if (errors.empty()) {
        throw std::runtime_error("no voxel has an axis in both");
    }
    const auto middle = errors.begin() + static_cast<std::ptrdiff_t>(errors.size() / 2);
    std::nth_element(errors.begin(), middle, errors.end());
    std::printf("{\"mean_deg\": %.4f, \"median_deg\": %.4f, \"covered\": %.4f}\n",
                sum / static_cast<double>(errors.size()), *middle,
                static_cast<double>(errors.size()) / static_cast<double>(fibers));
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 5) {
            throw std::invalid_argument("usage: map_error TRUTH_THETA TRUTH_PHI THETA PHI");
        }
        compare(read_maps(argv[1], argv[2]), read_maps(argv[3], argv[4]));
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "map_error: %s\n", error.what()));
        return 1;
    }
    return 0;
}
