// SPDX-License-Identifier: BSD-3-Clause
#include "PlainFilterBank.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <memory>

namespace TEVRA::benchmarks {
namespace {

using Complex = std::complex<float>;

template <typename T>
struct SFree {
    void operator()(T* memory) const { fftwf_free(memory); }
};

template <typename T>
std::unique_ptr<T[], SFree<T>> allocate(std::size_t count) {
    return std::unique_ptr<T[], SFree<T>>(static_cast<T*>(fftwf_malloc(count * sizeof(T))));
}

/// Frequencies of an axis in the transform's own order, in [-1, 1).
std::vector<float> frequencies(std::size_t extent) {
    std::vector<float> w(extent);
    const std::size_t half = extent / 2;
    const auto centre = static_cast<float>(half);
    for (std::size_t k = 0; k < extent; ++k) {
        const auto signedK = static_cast<float>(k) - (k < extent - half ? 0.0F : static_cast<float>(extent));
        w[k] = signedK / centre;
    }
    return w;
}

} // namespace

std::vector<unsigned char> PlainFilterBank(std::span<const float> image, int extent, int pad,
                                           double majorWidth, double minorWidth,
                                           std::span<const double> directions) {
    const int padded = extent + 2 * pad;
    const auto n = static_cast<std::size_t>(padded);
    const auto inner = static_cast<std::size_t>(extent);
    const auto border = static_cast<std::size_t>(pad);
    const std::size_t half = n / 2 + 1;
    const auto real = allocate<float>(n * n * n);
    const auto spectrum = allocate<Complex>(half * n * n);
    const auto filtered = allocate<Complex>(half * n * n);
    fftwf_plan forward = fftwf_plan_dft_r2c_3d(
        padded, padded, padded, real.get(), reinterpret_cast<fftwf_complex*>(spectrum.get()), FFTW_ESTIMATE);
    fftwf_plan backward = fftwf_plan_dft_c2r_3d(
        padded, padded, padded, reinterpret_cast<fftwf_complex*>(filtered.get()), real.get(), FFTW_ESTIMATE);
    std::fill_n(real.get(), n * n * n, 0.0F);
    for (std::size_t z = 0; z < inner; ++z) {
        for (std::size_t y = 0; y < inner; ++y) {
            std::copy_n(&image[(z * inner + y) * inner], inner,
                        &real[((z + border) * n + y + border) * n + border]);
        }
    }
    fftwf_execute(forward);

    const std::vector<float> w = frequencies(n);
    const auto along = static_cast<float>(majorWidth * majorWidth - minorWidth * minorWidth);
    const auto across = static_cast<float>(minorWidth * minorWidth);
    const float scale = 1.0F / static_cast<float>(n * n * n);
    std::vector<float> best(image.size(), -1.0F);
    std::vector<unsigned char> index(image.size(), 0);
    for (std::size_t d = 0; d * 3 < directions.size(); ++d) {
        const auto vx = static_cast<float>(directions[3 * d]);
        const auto vy = static_cast<float>(directions[3 * d + 1]);
        const auto vz = static_cast<float>(directions[3 * d + 2]);
        for (std::size_t z = 0; z < n; ++z) {
            for (std::size_t y = 0; y < n; ++y) {
                const std::size_t row = (z * n + y) * half;
                for (std::size_t x = 0; x < half; ++x) {
                    const float wx = w[x];
                    const float dot = wx * vx + w[y] * vy + w[z] * vz;
                    const float square = wx * wx + w[y] * w[y] + w[z] * w[z];
                    filtered[row + x] =
                        spectrum[row + x] * std::exp(-0.5F * (along * dot * dot + across * square));
                }
            }
        }
        fftwf_execute(backward);
        for (std::size_t z = 0; z < inner; ++z) {
            for (std::size_t y = 0; y < inner; ++y) {
                const float* response = &real[((z + border) * n + y + border) * n + border];
                for (std::size_t x = 0; x < inner; ++x) {
                    const std::size_t at = (z * inner + y) * inner + x;
                    if (response[x] * scale > best[at]) {
                        best[at] = response[x] * scale;
                        index[at] = static_cast<unsigned char>(d);
                    }
                }
            }
        }
    }
    fftwf_destroy_plan(forward);
    fftwf_destroy_plan(backward);
    return index;
}

} // namespace TEVRA::benchmarks
