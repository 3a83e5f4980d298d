// SPDX-License-Identifier: BSD-3-Clause
#include "FilterBank/FilterMask.h"

#include "Numeric/Lanes.h"
#include "Utils/SaturatedFloat.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace TEVRA::Impl {
namespace {

constexpr double LOWEST_EXPONENT = -600.0; // products of such exponentials are still normal doubles
constexpr double ZERO_EXPONENT = -104.0;   // exp of less is 0 as a float
/// A row is computed in so many chains of products, of every eighth pixel each: independent, they hide each
/// other's latency.
constexpr std::size_t CHAINS = 8;
constexpr std::size_t MOST_PRODUCTS = 512; // the rounding errors of n products grow with n^2
/// So that the ratio of pixels as far apart as a step of the chains stays in range, too.
constexpr std::size_t FEWEST_PRODUCTS = 6 * CHAINS;
constexpr std::size_t BUFFERED = 64; // pixels

struct SExponents {
    double lowest;
    double highest;
};

/// Range of the exponent over `count` pixels from x on: it is concave.
SExponents exponents_of(const SGaussianRow& row, double x, std::size_t count) {
    const double last = x + static_cast<double>(count - 1);
    const double atFirst = row.Exponent(x);
    const double atLast = row.Exponent(last);
    const double top = row.centre * (1.0 - row.b / (2.0 * row.a));
    const double atTop = top > x && top < last ? row.Exponent(top) : atFirst;
    return {std::min(atFirst, atLast), std::max({atFirst, atLast, atTop})};
}

/// value(x + 1) = value(x) ratio(x); ratio(x + 1) = ratio(x) change
struct SSteps {
    double value; ///< of the first pixel
    double ratio; ///< of the second pixel to the first
    double change;
};

SSteps steps_of(const SGaussianRow& row, double x) {
    const double curvature = row.a / (row.centre * row.centre);
    const double exponent = row.Exponent(x);
    return {std::exp(exponent), std::exp(row.Exponent(x + 1.0) - exponent), std::exp(-curvature)};
}

/// The values of CHAINS pixels side by side, and the way to the next ones.
class CChains {
  public:
    explicit CChains(const SSteps& steps) {
        std::array<double, CHAINS> value{steps.value};
        std::array<double, CHAINS> ratio{steps.ratio};
        for (std::size_t chain = 1; chain < CHAINS; ++chain) {
            value[chain] = value[chain - 1] * ratio[chain - 1];
            ratio[chain] = ratio[chain - 1] * steps.change;
        }
        const double change2 = steps.change * steps.change;
        const double change4 = change2 * change2;
        const double change8 = change4 * change4;
        const double change16 = change8 * change8;
        const double change32 = change16 * change16;
        // Eight ratios in one: the first of them is changed 0 + 1 + ... + 7 times.
        const double changeInStep = change16 * change8 * change4;
        for (double& step : ratio) {
            const double ratio2 = step * step;
            const double ratio4 = ratio2 * ratio2;
            step = ratio4 * ratio4 * changeInStep;
        }
        for (std::size_t part = 0; part < PARTS; ++part) {
            std::memcpy(&m_value[part].v, value.data() + part * WIDTH, sizeof(Numbers));
            std::memcpy(&m_step[part].v, ratio.data() + part * WIDTH, sizeof(Numbers));
        }
        m_change = Numbers(change32 * change32);
    }

    void Advance() {
        for (std::size_t part = 0; part < PARTS; ++part) {
            m_value[part] = m_value[part] * m_step[part];
            m_step[part] = m_step[part] * m_change;
        }
    }

    /// Writes CHAINS values.
    void Store(float* values) const {
        for (std::size_t part = 0; part < PARTS; ++part) {
            Access::StoreFloats(m_value[part], values + part * WIDTH);
        }
    }

    /// Multiplies CHAINS complex numbers by the values.
    void Multiply(const float* spectrum, float* product) const {
        for (std::size_t part = 0; part < PARTS; ++part) {
            const std::size_t at = 2 * WIDTH * part;
            const Numbers::Floats two = __builtin_convertvector(m_value[part].v, Numbers::Floats);
            const auto mask = __builtin_shufflevector(two, two, 0, 0, 1, 1);
            auto numbers = mask;
            std::memcpy(&numbers, spectrum + at, sizeof numbers);
            numbers *= mask;
            std::memcpy(reinterpret_cast<std::byte*>(product + at), &numbers, sizeof numbers);
        }
    }

  private:
    static constexpr std::size_t WIDTH = 2; // what every processor takes at a time
    static constexpr std::size_t PARTS = CHAINS / WIDTH;
    using Numbers = SLanes<WIDTH>;
    using Access = SLaneAccess<Numbers>;

    std::array<Numbers, PARTS> m_value{};
    std::array<Numbers, PARTS> m_step{};
    Numbers m_change{};
};

/// Pixels of a row.
struct SPart {
    std::size_t first;
    std::size_t count;
};

/// Hands the parts of a row to the output's operation that suits their exponents: `Zeros(part)`,
/// `Products(part, steps)` or `Exponentials(part)`.
template <typename OutputT>
void for_parts(const SGaussianRow& row, const SPart& part, const OutputT& output) {
    if (part.count == 0) {
        return;
    }
    const auto x = static_cast<double>(part.first);
    const SExponents exponents = exponents_of(row, x, part.count);
    if (exponents.highest < ZERO_EXPONENT) {
        output.Zeros(part);
        return;
    }
    if (part.count < FEWEST_PRODUCTS || !std::isfinite(exponents.lowest)) {
        output.Exponentials(part);
        return;
    }
    if (part.count <= MOST_PRODUCTS && exponents.lowest > LOWEST_EXPONENT && exponents.highest < 1.0) {
        output.Products(part, steps_of(row, x));
        return;
    }
    const std::size_t half = part.count / 2;
    for_parts(row, {part.first, half}, output);
    for_parts(row, {part.first + half, part.count - half}, output);
}

void fill_by_exponentials(const SGaussianRow& row, std::size_t first, std::span<float> values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = SaturatedFloatWithoutNan(std::exp(row.Exponent(static_cast<double>(first + i))));
    }
}

/// Multiplies complex numbers, pairs of floats.
void multiply(const float* spectrum, const float* values, float* product, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        product[2 * i] = spectrum[2 * i] * values[i];
        product[2 * i + 1] = spectrum[2 * i + 1] * values[i];
    }
}

/// Writes the values themselves.
struct SFilledRow {
    const SGaussianRow& row;
    std::span<float> values;

    void Zeros(const SPart& part) const { std::ranges::fill(values.subspan(part.first, part.count), 0.0F); }
    void Exponentials(const SPart& part) const {
        fill_by_exponentials(row, part.first, values.subspan(part.first, part.count));
    }
    void Products(const SPart& part, const SSteps& steps) const {
        float* const to = values.data() + part.first;
        CChains chains(steps);
        std::size_t i = 0;
        for (; i + CHAINS <= part.count; i += CHAINS) {
            chains.Store(to + i);
            chains.Advance();
        }
        std::array<float, CHAINS> last{};
        chains.Store(last.data());
        std::copy_n(last.data(), part.count - i, to + i);
    }
};

/// Multiplies numbers, pairs of floats, by the values.
struct SMultipliedRow {
    const SGaussianRow& row;
    const float* spectrum;
    float* product;

    void Zeros(const SPart& part) const {
        // Not set to zero: infinite numbers give NaN.
        for (std::size_t at = 2 * part.first; at < 2 * (part.first + part.count); ++at) {
            product[at] = spectrum[at] * 0.0F;
        }
    }
    void Exponentials(const SPart& part) const {
        std::array<float, BUFFERED> values{};
        const std::size_t end = part.first + part.count;
        for (std::size_t first = part.first; first < end; first += BUFFERED) {
            const std::size_t count = std::min(BUFFERED, end - first);
            fill_by_exponentials(row, first, std::span(values).first(count));
            multiply(spectrum + 2 * first, values.data(), product + 2 * first, count);
        }
    }
    void Products(const SPart& part, const SSteps& steps) const {
        const float* const from = spectrum + 2 * part.first;
        float* const to = product + 2 * part.first;
        CChains chains(steps);
        std::size_t i = 0;
        for (; i + CHAINS <= part.count; i += CHAINS) {
            chains.Multiply(from + 2 * i, to + 2 * i);
            chains.Advance();
        }
        std::array<float, CHAINS> last{};
        chains.Store(last.data());
        multiply(from + 2 * i, last.data(), to + 2 * i, part.count - i);
    }
};

} // namespace

void FillGaussianRow(const SGaussianRow& row, std::span<float> values) {
    for_parts(row, {0, values.size()}, SFilledRow{row, values});
}

void MultiplyByGaussianRow(const SGaussianRow& row, std::span<const std::complex<float>> spectrum,
                           std::span<std::complex<float>> product) {
    // An array of complex numbers is one of floats as well.
    const auto* from = reinterpret_cast<const float*>(spectrum.data());
    auto* to = reinterpret_cast<float*>(product.data());
    for_parts(row, {0, spectrum.size()}, SMultipliedRow{row, from, to});
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
