// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/DirectionLaw.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace TEVRA::phantom {
namespace {

using Vector = std::array<double, 3>;

Vector cross_product(const Vector& a, const Vector& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// The opposite vector if z < 0; negative zeros become zeros, which keeps atan2 off -pi.
Vector folded(Vector axis) {
    const double sign = axis[2] < 0.0 ? -1.0 : 1.0;
    for (double& component : axis) {
        component = sign * component + 0.0;
    }
    return axis;
}

Vector combined(const SPerpendicularFrame& frame, const std::array<double, 2>& inPlane) {
    Vector sum{};
    for (std::size_t i = 0; i < 3; ++i) {
        sum[i] = inPlane[0] * frame.first[i] + inPlane[1] * frame.second[i];
    }
    return sum;
}

Vector draw(const SOneAxis& law, CRandomNumbers& /*random*/) {
    return Normalised(law.axis);
}

Vector draw(const SBetaFamily& law, CRandomNumbers& random) {
    const Vector symmetryAxis = Normalised(law.symmetryAxis);
    const double cosTheta = BetaFamilyCosine(random.Uniform(), law.beta);
    const double sinTheta = std::sqrt(std::max(0.0, 1.0 - cosTheta * cosTheta));
    const Vector azimuth = combined(PerpendicularFrame(symmetryAxis), random.OnCircle());
    Vector axis{};
    for (std::size_t i = 0; i < 3; ++i) {
        axis[i] = sinTheta * azimuth[i] + cosTheta * symmetryAxis[i];
    }
    return Normalised(axis);
}

Vector draw(const SPlanar& law, CRandomNumbers& random) {
    return Normalised(combined(PerpendicularFrame(Normalised(law.normal)), random.OnCircle()));
}

} // namespace

double BetaFamilyCosine(double share, double beta) {
    return share / std::sqrt(beta * beta + (1.0 - beta * beta) * share * share);
}

Vector DrawAxis(const DirectionLaw& law, CRandomNumbers& random) {
    return folded(std::visit([&random](const auto& one) { return draw(one, random); }, law));
}

SPerpendicularFrame PerpendicularFrame(const Vector& direction) {
    std::size_t smallest = 0;
    for (std::size_t i = 1; i < 3; ++i) {
        if (std::abs(direction[i]) <= std::abs(direction[smallest])) {
            smallest = i;
        }
    }
    Vector helper{};
    helper[smallest] = 1.0;
    const Vector first = Normalised(cross_product(helper, direction));
    return {first, cross_product(direction, first)};
}

Vector Normalised(const Vector& vector) {
    // Scaled first, so that squares neither overflow nor vanish.
    const double largest = std::max({std::abs(vector[0]), std::abs(vector[1]), std::abs(vector[2])});
    const Vector scaled{vector[0] / largest, vector[1] / largest, vector[2] / largest};
    const double length = std::sqrt(scaled[0] * scaled[0] + scaled[1] * scaled[1] + scaled[2] * scaled[2]);
    return {scaled[0] / length, scaled[1] / length, scaled[2] / length};
}

} // namespace TEVRA::phantom
