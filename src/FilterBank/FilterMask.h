// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <complex>
#include <span>

namespace TEVRA::Impl {

/// A row of a Gaussian mask: exp(-q / 2) with q = a w^2 + b w + c, a >= 0, at w = (x - centre) / centre for
/// x = 0, 1, 2 ...
struct SGaussianRow {
    double a;
    double b;
    double c;
    double centre; ///< in pixels

    /// -q / 2 at a pixel.
    double Exponent(double x) const {
        const double w = (x - centre) / centre;
        return -0.5 * ((a * w + b) * w + c);
    }
};

/// Writes the row as floats; NaN becomes the lowest float.
///
/// Neighbours differ by a factor that itself changes by a constant factor from one pixel to the next, so
/// three exponentials start a row of products in double precision. Within 1e-10 of exp(-q / 2) evaluated
/// pixel by pixel, relatively: the floats differ by one rounding at most. Where products could leave the
/// range of doubles, the row is halved until they cannot, in the end down to single exponentials.
void FillGaussianRow(const SGaussianRow& row, std::span<float> values);

/// product = spectrum * values of the row as FillGaussianRow writes them, pixel by pixel, without writing
/// them; both of one length. The product may be the spectrum itself.
void MultiplyByGaussianRow(const SGaussianRow& row, std::span<const std::complex<float>> spectrum,
                           std::span<std::complex<float>> product);

/// Where a response is larger than the best one so far, it becomes the best one, and `number` the number of
/// its pixel; NaN is never larger. All of one length, none overlapping another.
void KeepMaximum(std::span<const float> responses, std::span<float> best, std::span<unsigned char> numbers,
                 unsigned char number);

} // namespace TEVRA::Impl
