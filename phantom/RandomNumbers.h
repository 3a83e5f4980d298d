// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstdint>
#include <random>

namespace TEVRA::phantom {

/// Random numbers that are the same on every machine for the same seed.
///
/// The distributions of the standard library and its logarithm differ between implementations, so these are
/// our own: made of additions, multiplications, divisions and square roots only, which IEEE arithmetic
/// defines to the last bit.
class CRandomNumbers {
  public:
    explicit CRandomNumbers(std::uint64_t seed) : m_bits(seed) {}

    /// Uniform in [0, 1), a multiple of 2^-53.
    double Uniform();
    /// Uniform in the disc of radius 1 around 0.
    std::array<double, 2> InDisc();
    /// Uniform on the circle of radius 1 around 0.
    std::array<double, 2> OnCircle();
    /// Normal with mean 0 and standard deviation 1 (polar method: G. Marsaglia, T. A. Bray, A convenient
    /// method for generating normal variables, SIAM Review 6(3), 1964).
    double Normal();

  private:
    std::mt19937_64 m_bits; // its sequence is fixed by the standard
    double m_spareNormal = 0.0;
    bool m_hasSpareNormal = false;
};

/// Natural logarithm of a positive, finite, normal number, by the series of artanh; relative error below
/// 1e-15 for arguments not near 1, absolute error below 1e-16 there.
double PortableLog(double x);

} // namespace TEVRA::phantom
