// SPDX-License-Identifier: BSD-3-Clause
#include "FilterBank/MaskForm.h"

#include "zeklib2core/Exception.h"

#include <cmath>
#include <cstddef>

namespace TEVRA::Impl {
namespace {

/// Basis whose first column is the direction and whose others complete an orthonormal one.
CMatrix<double> ConstructBase(const double* direction, int dimension) {
    const std::size_t size = dimension == 3 ? 3 : 2;
    double sumOfSquares = 0.0;
    for (std::size_t i = 0; i < size; ++i) {
        sumOfSquares += direction[i] * direction[i];
    }
    if (!(std::abs(std::sqrt(sumOfSquares) - 1.0) <= 1e-6)) {
        throw CException(TEVRA_LOCATION("src/FilterOrientations/FilterOrientations",
                                        "`anonymous-namespace'::ConstructBase", __LINE__),
                         "The vector describing the major axis of the Gaussian must be a unit vector.");
    }
    CMatrix<double> base(size, size);
    const double vx = direction[0];
    const double vy = direction[1];
    base(0, 0) = vx;
    base(1, 0) = vy;
    if (size == 2) {
        constexpr double QUARTER_TURN = 1.5707963267948966;
        base(0, 1) = std::cos(QUARTER_TURN) * vx - std::sin(QUARTER_TURN) * vy;
        base(1, 1) = std::sin(QUARTER_TURN) * vx + std::cos(QUARTER_TURN) * vy;
        return base;
    }
    const double vz = direction[2];
    base(2, 0) = vz;
    constexpr double CLEARLY_NOT_ZERO = 1e-6;
    std::array<double, 3> u{};
    if (std::abs(vz) > CLEARLY_NOT_ZERO) {
        u = {0.5, 0.5, -(0.5 * vx + 0.5 * vy) / vz};
    } else if (std::abs(vy) > CLEARLY_NOT_ZERO) {
        u = {0.5, -(0.5 * vx + 0.5 * vz) / vy, 0.5};
    } else {
        u = {-(0.5 * vy + 0.5 * vz) / vx, 0.5, 0.5};
    }
    const double length = std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]);
    for (std::size_t i = 0; i < 3; ++i) {
        u[i] /= length;
        base(i, 1) = u[i];
    }
    base(0, 2) = vy * u[2] - vz * u[1];
    base(1, 2) = vz * u[0] - vx * u[2];
    base(2, 2) = vx * u[1] - vy * u[0];
    return base;
}

/// Pixel of frequency zero on an axis of a centred spectrum.
double centre_of(long long extent) {
    const long long pixel = extent / 2;
    return static_cast<double>(pixel);
}

/// Frequency of a pixel of a centred spectrum, in [-1, 1). NaN on an axis of one pixel.
double frequency_at(long long pixel, long long extent) {
    const double centre = centre_of(extent);
    return (static_cast<double>(pixel) - centre) / centre;
}

} // namespace

CMaskForm::CMaskForm(const double* direction, int dimension, const IMatrix<double>& widths)
    : m_form(ConstructBase(direction, dimension)) {
    CMatrix<double> base = m_form;
    m_form *= widths;
    base.Transpose();
    m_form *= base;
}

SGaussianRow CMaskForm::Row(const std::array<long long, 3>& size, long long y, long long z) const {
    const std::array<double, 2> w{frequency_at(y, size[1]),
                                  m_form.Rows() == 3 ? frequency_at(z, size[2]) : 0.0};
    SGaussianRow row{m_form(0, 0), 0.0, 0.0, centre_of(size[0])};
    for (std::size_t i = 1; i < m_form.Rows(); ++i) {
        row.b += (m_form(0, i) + m_form(i, 0)) * w[i - 1];
        for (std::size_t j = 1; j < m_form.Rows(); ++j) {
            row.c += w[i - 1] * m_form(i, j) * w[j - 1];
        }
    }
    return row;
}

} // namespace TEVRA::Impl
