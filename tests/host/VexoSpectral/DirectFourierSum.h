// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "zeklib2image/Size.h"

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

namespace TEVRA::test {

using ComplexValues = std::vector<std::complex<double>>;

/// Pixel of a frequency in a centred spectrum, as the transform promises it.
inline long long CentredPixel(long long frequency, long long extent) {
    return (frequency + extent / 2) % extent;
}

/// sum over x of values[x] exp(sign 2 pi i k x / n), by the sum itself in double precision, for all k = 0 ...
/// n-1.
inline ComplexValues DirectSum(const ComplexValues& values, int sign) {
    const std::size_t n = values.size();
    ComplexValues roots(n);
    for (std::size_t i = 0; i < n; ++i) {
        roots[i] =
            std::polar(1.0, sign * 2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(n));
    }
    ComplexValues sums(n);
    for (std::size_t k = 0; k < n; ++k) {
        for (std::size_t x = 0; x < n; ++x) {
            sums[k] += values[x] * roots[k * x % n];
        }
    }
    return sums;
}

/// The same over all axes of an image, one after the other; x fastest, frequencies from 0 up.
inline ComplexValues DirectSum(ComplexValues values, const CSize& size, int sign) {
    std::size_t stride = 1;
    for (int axis = 0; axis < size.Dim(); ++axis) {
        const auto n = static_cast<std::size_t>(size[axis]);
        ComplexValues line(n);
        for (std::size_t first = 0; first < values.size(); ++first) {
            if (first / stride % n != 0) {
                continue;
            }
            for (std::size_t i = 0; i < n; ++i) {
                line[i] = values[first + i * stride];
            }
            line = DirectSum(line, sign);
            for (std::size_t i = 0; i < n; ++i) {
                values[first + i * stride] = line[i];
            }
        }
        stride *= n;
    }
    return values;
}

/// Moves frequency 0 from the first pixel to pixel floor(n/2) of every axis.
inline ComplexValues Centred(const ComplexValues& values, const CSize& size) {
    ComplexValues centred(values.size());
    std::size_t from = 0;
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x) {
                const long long to =
                    (CentredPixel(z, size[2]) * size[1] + CentredPixel(y, size[1])) * size[0] +
                    CentredPixel(x, size[0]);
                centred[static_cast<std::size_t>(to)] = values[from++];
            }
        }
    }
    return centred;
}

/// The way back: frequency 0 to the first pixel.
inline ComplexValues Uncentred(const ComplexValues& values, const CSize& size) {
    ComplexValues plain(values.size());
    std::size_t to = 0;
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x) {
                const long long from =
                    (CentredPixel(z, size[2]) * size[1] + CentredPixel(y, size[1])) * size[0] +
                    CentredPixel(x, size[0]);
                plain[to++] = values[static_cast<std::size_t>(from)];
            }
        }
    }
    return plain;
}

} // namespace TEVRA::test
