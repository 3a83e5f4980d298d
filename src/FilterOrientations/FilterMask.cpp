// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/FilterMask.h"

#include "FilterOrientations/SaturatedFloat.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace TEVRA::Impl {
namespace {

constexpr double LOWEST_EXPONENT = -600.0;  // products of such exponentials are still normal doubles
constexpr double ZERO_EXPONENT = -104.0;    // exp of less is 0 as a float
constexpr std::size_t MOST_PRODUCTS = 512;  // the rounding errors of n products grow with n^2
constexpr std::size_t FEWEST_PRODUCTS = 24; // so that four steps at once stay in range, too
constexpr std::size_t LANES = 4;            // independent chains of products, which hide each other's latency

struct StExponents {
    double lowest;
    double highest;
};

/// Range of the exponent over `count` pixels from x on: it is concave.
StExponents exponents_of(const StGaussianRow& row, double x, std::size_t count) {
    const double last = x + static_cast<double>(count - 1);
    const double atFirst = row.Exponent(x);
    const double atLast = row.Exponent(last);
    const double top = row.centre * (1.0 - row.b / (2.0 * row.a));
    const double atTop = top > x && top < last ? row.Exponent(top) : atFirst;
    return {std::min(atFirst, atLast), std::max({atFirst, atLast, atTop})};
}

void fill_by_exponentials(const StGaussianRow& row, double x, std::span<float> values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = SaturatedFloatWithoutNan(std::exp(row.Exponent(x + static_cast<double>(i))));
    }
}

void fill_by_products(const StGaussianRow& row, double x, std::span<float> values) {
    // value(x + 1) = value(x) ratio(x); ratio(x + 1) = ratio(x) change
    const double curvature = row.a / (row.centre * row.centre);
    const double change = std::exp(-curvature);
    std::array<double, LANES> value{std::exp(row.Exponent(x))};
    std::array<double, LANES + 1> ratio{std::exp(row.Exponent(x + 1.0) - row.Exponent(x))};
    for (std::size_t lane = 1; lane < LANES; ++lane) {
        value[lane] = value[lane - 1] * ratio[lane - 1];
        ratio[lane] = ratio[lane - 1] * change;
    }
    // From here on every lane steps over all of them: four ratios in one, each changed four times.
    const double change4 = change * change * change * change;
    const double change16 = change4 * change4 * change4 * change4;
    std::array<double, LANES> step{};
    for (std::size_t lane = 0; lane < LANES; ++lane) {
        // ratio^4 change^(0 + 1 + 2 + 3)
        const double ratio2 = ratio[lane] * ratio[lane];
        step[lane] = ratio2 * ratio2 * change4 * change * change;
    }
    std::size_t i = 0;
    for (; i + LANES <= values.size(); i += LANES) {
        for (std::size_t lane = 0; lane < LANES; ++lane) {
            values[i + lane] = static_cast<float>(value[lane]);
            value[lane] *= step[lane];
            step[lane] *= change16;
        }
    }
    for (std::size_t lane = 0; i + lane < values.size(); ++lane) {
        values[i + lane] = static_cast<float>(value[lane]);
    }
}

void fill(const StGaussianRow& row, std::size_t first, std::span<float> values) {
    if (values.empty()) {
        return;
    }
    const auto x = static_cast<double>(first);
    const StExponents exponents = exponents_of(row, x, values.size());
    if (exponents.highest < ZERO_EXPONENT) {
        std::fill(values.begin(), values.end(), 0.0F);
        return;
    }
    if (values.size() < FEWEST_PRODUCTS || !std::isfinite(exponents.lowest)) {
        fill_by_exponentials(row, x, values);
        return;
    }
    if (values.size() <= MOST_PRODUCTS && exponents.lowest > LOWEST_EXPONENT && exponents.highest < 1.0) {
        fill_by_products(row, x, values);
        return;
    }
    const std::size_t half = values.size() / 2;
    fill(row, first, values.first(half));
    fill(row, first + half, values.subspan(half));
}

} // namespace

void FillGaussianRow(const StGaussianRow& row, std::span<float> values) {
    fill(row, 0, values);
}

void MultiplyRow(std::span<const std::complex<float>> spectrum, std::span<const float> values,
                 std::span<std::complex<float>> product) {
    // An array of complex numbers is one of floats as well.
    const auto* from = reinterpret_cast<const float*>(spectrum.data());
    auto* to = reinterpret_cast<float*>(product.data());
    for (std::size_t i = 0; i < values.size(); ++i) {
        to[2 * i] = from[2 * i] * values[i];
        to[2 * i + 1] = from[2 * i + 1] * values[i];
    }
}

void KeepMaximum(std::span<const float> responses, std::span<float> best, std::span<unsigned char> numbers,
                 unsigned char number) {
    // Without branches, and told that nothing overlaps, the compiler takes many pixels at a time.
    const float* __restrict response = responses.data();
    float* __restrict largest = best.data();
    unsigned char* __restrict index = numbers.data();
    const std::size_t count = responses.size();
    for (std::size_t i = 0; i < count; ++i) {
        index[i] = response[i] > largest[i] ? number : index[i];
        largest[i] = response[i] > largest[i] ? response[i] : largest[i];
    }
}

} // namespace TEVRA::Impl
