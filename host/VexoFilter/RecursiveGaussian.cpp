// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/RecursiveGaussian.h"

#include "VexoFilter/FilterKernels.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace TEVRA::Impl {
namespace {

using SFilter = SRecursiveGaussian;
using SState = SRecursionState<double>;
using SMatrix = decltype(SRecursiveGaussian::tail);
constexpr std::size_t SECTIONS = SFilter::SECTION_COUNT;
constexpr std::size_t STATES = SFilter::STATE_COUNT;

/// Decay rates of the continuous filter of variance 1, one of each conjugate pair: the response to an impulse
/// is a sum of exp(-rate * |t|). Printed by scripts/fit-gaussian-poles.
const std::array<std::complex<double>, SECTIONS> REFERENCE_RATES{
    {{1.1764802, 2.659133}, {1.336824, 1.4864052}, {1.4205966, 0.4751292}}};

/// Variance of the impulse response, both passes, of the filter with poles exp(-rate / scale).
double variance(double scale) {
    double sum = 0.0;
    for (const std::complex<double>& rate : REFERENCE_RATES) {
        // A pole d contributes 2 d / (1 - d)^2 = 1 / (2 sinh^2(rate / (2 scale))), its conjugate the
        // conjugate.
        const std::complex<double> half = std::sinh(rate / (2.0 * scale));
        sum += (1.0 / (half * half)).real();
    }
    return sum;
}

/// The scale whose filter has variance sigma^2.
double scale_of(double sigmaPx) {
    const double wanted = sigmaPx * sigmaPx;
    // The variance is scale^2 - 1 + O(1 / scale^2): correcting the square by the miss converges at once.
    double square = wanted + 1.0;
    for (int iteration = 0; iteration < 50; ++iteration) {
        const double miss = wanted - variance(std::sqrt(square));
        square += miss;
        if (std::fabs(miss) <= 1e-15 * wanted) {
            break;
        }
    }
    return std::sqrt(square);
}

SFilter::SSection section_of(const std::complex<double>& rate, double scale) {
    const double decay = rate.real() / scale;
    const double halfAngle = 0.5 * rate.imag() / scale;
    // |1 - d|^2 = (1 - |d|)^2 + 4 |d| sin^2(angle / 2), without the cancellation of 1 - 2 Re d + |d|^2.
    const double distance = std::expm1(-decay);
    const double sine = std::sin(halfAngle);
    return {.damping = std::exp(-2.0 * decay),
            .stiffness = distance * distance + 4.0 * std::exp(-decay) * sine * sine};
}

std::array<double, STATES> numbers_of(const SState& state) {
    std::array<double, STATES> numbers{};
    std::copy(state.value.begin(), state.value.end(), numbers.begin());
    std::copy(state.velocity.begin(), state.velocity.end(), numbers.begin() + SECTIONS);
    return numbers;
}

SState state_of(const std::array<double, STATES>& numbers) {
    SState state{};
    std::copy_n(numbers.begin(), SECTIONS, state.value.begin());
    std::copy_n(numbers.begin() + SECTIONS, SECTIONS, state.velocity.begin());
    return state;
}

SMatrix product(const SMatrix& a, const SMatrix& b) {
    SMatrix result{};
    for (std::size_t i = 0; i < STATES; ++i) {
        for (std::size_t j = 0; j < STATES; ++j) {
            for (std::size_t k = 0; k < STATES; ++k) {
                result[i][j] += a[i][k] * b[k][j];
            }
        }
    }
    return result;
}

double largest(const SMatrix& matrix) {
    double most = 0.0;
    for (const auto& row : matrix) {
        for (const double element : row) {
            most = std::max(most, std::fabs(element));
        }
    }
    return most;
}

/// Beyond the last sample the causal state decays freely, s := A s, and gives c s; the anticausal pass takes
/// these in from far away to the last sample, t := A t + b (c s). Summed up, t = (sum over k of A^k b c A
/// A^k) s.
SMatrix tail_of(const SFilter& filter) {
    SMatrix transition{};
    for (std::size_t column = 0; column < STATES; ++column) {
        std::array<double, STATES> unit{};
        unit[column] = 1.0;
        SState state = state_of(unit);
        Step(filter, state, 0.0);
        const std::array<double, STATES> next = numbers_of(state);
        for (std::size_t row = 0; row < STATES; ++row) {
            transition[row][column] = next[row];
        }
    }
    SState fromOne{};
    Step(filter, fromOne, 1.0);
    const std::array<double, STATES> input = numbers_of(fromOne);
    SMatrix sum{};
    for (std::size_t row = 0; row < STATES; ++row) {
        for (std::size_t column = 0; column < STATES; ++column) {
            sum[row][column] =
                input[row] * transition[SECTIONS - 1][column]; // the last section's value goes out
        }
    }
    // Each turn doubles the number of terms; the powers of A decay to nothing.
    SMatrix power = transition;
    while (largest(power) > 1e-30) {
        const SMatrix more = product(product(power, sum), power);
        for (std::size_t row = 0; row < STATES; ++row) {
            for (std::size_t column = 0; column < STATES; ++column) {
                sum[row][column] += more[row][column];
            }
        }
        power = product(power, power);
    }
    return sum;
}

} // namespace

SRecursiveGaussian SRecursiveGaussian::FromSigma(double sigmaPx) {
    const double scale = scale_of(sigmaPx);
    SRecursiveGaussian filter;
    for (std::size_t k = 0; k < SECTIONS; ++k) {
        filter.sections[k] = section_of(REFERENCE_RATES[k], scale);
    }
    filter.tail = tail_of(filter);
    return filter;
}

void SmoothLine(const SRecursiveGaussian& filter, std::span<float> line) {
    if (line.empty()) {
        return;
    }
    const double last = line.back();
    SState state = StartCausal(static_cast<double>(line.front()));
    for (float& sample : line) {
        sample = static_cast<float>(Step(filter, state, static_cast<double>(sample)));
    }
    state = StartAnticausal(filter, state, last);
    for (std::size_t k = line.size(); k-- > 0;) {
        line[k] = static_cast<float>(Step(filter, state, static_cast<double>(line[k])));
    }
}

SRecursionPlanes SRecursionPlanes::Over(std::span<double> memory) {
    const std::size_t lines = memory.size() / STATES;
    SRecursionPlanes planes{};
    for (std::size_t k = 0; k < SECTIONS; ++k) {
        planes.value[k] = memory.data() + k * lines;
        planes.velocity[k] = memory.data() + (k + SECTIONS) * lines;
    }
    return planes;
}

SRecursionPlanes SRecursionPlanes::From(std::size_t first) const {
    SRecursionPlanes planes = *this;
    for (std::size_t k = 0; k < SECTIONS; ++k) {
        planes.value[k] += first;
        planes.velocity[k] += first;
    }
    return planes;
}

void StartCausal(const SRecursionPlanes& states, std::span<const float> first) {
    for (std::size_t k = 0; k < SECTIONS; ++k) {
        std::copy(first.begin(), first.end(), states.value[k]);
        std::fill_n(states.velocity[k], first.size(), 0.0);
    }
}

void Step(const SRecursiveGaussian& filter, const SRecursionPlanes& states, std::span<const float> in,
          std::span<float> out) {
    Walk(filter, states, {.in = {in.data(), 0}, .out = {out.data(), 0}, .lines = in.size(), .rows = 1});
}

void Walk(const SRecursiveGaussian& filter, const SRecursionPlanes& states, const SRecursionWalk& walk) {
    FilterKernels().walk(filter, states, walk);
}

void StartAnticausal(const SRecursiveGaussian& filter, const SRecursionPlanes& states,
                     std::span<const float> last) {
    FilterKernels().startAnticausal(filter, states, last.data(), last.size());
}

} // namespace TEVRA::Impl
