// SPDX-License-Identifier: BSD-3-Clause
#include "phantom/RandomNumbers.h"

#include <cmath>
#include <numbers>

namespace TEVRA::phantom {

double PortableLog(double x) {
    int exponent = 0;
    double mantissa = std::frexp(x, &exponent); // [0.5, 1)
    if (mantissa < 1.0 / std::numbers::sqrt2) {
        mantissa *= 2.0;
        --exponent;
    }
    // ln m = 2 artanh(z), |z| <= 0.1716: the first term left out is below 2e-18 of z.
    const double z = (mantissa - 1.0) / (mantissa + 1.0);
    const double zSquared = z * z;
    double series = 0.0;
    for (int odd = 21; odd >= 1; odd -= 2) {
        series = series * zSquared + 1.0 / odd;
    }
    return exponent * std::numbers::ln2 + 2.0 * z * series;
}

double CRandomNumbers::Uniform() {
    return static_cast<double>(m_bits() >> 11) * 0x1p-53;
}

std::array<double, 2> CRandomNumbers::InDisc() {
    for (;;) {
        const double x = 2.0 * Uniform() - 1.0;
        const double y = 2.0 * Uniform() - 1.0;
        if (x * x + y * y <= 1.0) {
            return {x, y};
        }
    }
}

std::array<double, 2> CRandomNumbers::OnCircle() {
    for (;;) {
        const std::array<double, 2> point = InDisc();
        const double length = std::sqrt(point[0] * point[0] + point[1] * point[1]);
        if (length > 0.0) {
            return {point[0] / length, point[1] / length};
        }
    }
}

double CRandomNumbers::Normal() {
    if (m_hasSpareNormal) {
        m_hasSpareNormal = false;
        return m_spareNormal;
    }
    for (;;) {
        const std::array<double, 2> point = InDisc();
        const double square = point[0] * point[0] + point[1] * point[1];
        if (square > 0.0) {
            const double factor = std::sqrt(-2.0 * PortableLog(square) / square);
            m_spareNormal = point[1] * factor;
            m_hasSpareNormal = true;
            return point[0] * factor;
        }
    }
}

} // namespace TEVRA::phantom
