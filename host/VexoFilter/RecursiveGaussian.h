// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace TEVRA::Impl {

/// Recursive Gaussian: six poles, a causal pass along a line and an anticausal one back, at a cost that does
/// not depend on sigma.
///
///     const auto filter = SRecursiveGaussian::FromSigma(4.0);
///     SmoothLine(filter, line);                       // in place, one line
///
/// A walk over lines or planes that cannot be held at once does the same in steps: start the causal state
/// from the first samples, step through all samples in ascending order, start the anticausal state from the
/// last samples of the input, step through the intermediate values in descending order. The state is the
/// caller's; intermediate values are kept as float on every road. Each sample sees the same operations in the
/// same order, alone, in a row or in a plane, so the roads agree to the last bit.
///
/// Poles: a filter with the all-pole transfer function prod 1 / (1 - d z^-1) in either direction, the poles d
/// scaled with sigma so that the variance of the impulse response is exactly sigma^2 (van Vliet, Young,
/// Verbeek, "Recursive Gaussian derivative filters", ICPR 1998). The reference poles are our own minimax fit,
/// which pays attention to the second derivative also (scripts/fit-gaussian-poles).
///
/// Boundary: the image continues constantly beyond both ends. The causal state starts settled at the first
/// sample; the anticausal state takes in the whole tail that the causal pass would leave beyond the last
/// sample (Triggs, Sdika, "Boundary conditions for Young-van Vliet recursive filtering", IEEE Trans. Signal
/// Processing 54(6), 2006, generalised to this realisation of the filter).
///
/// Realisation: three second-order sections, each with a value that follows its input like a damped spring:
/// velocity := damping * velocity + stiffness * (input - value), value := value + velocity. A direct form
/// would lose the pole positions to rounding at large sigma, where all poles crowd at 1; here a constant
/// stays constant exactly, whatever sigma.
///
/// Accuracy: largest deviation of the impulse response from the sampled, normalised Gaussian, as a share of
/// its peak, and the same for its second difference (computed with this code, in double):
///
///     sigma    response   second difference
///     2.5      5.1e-4     7.3e-3
///     3        3.6e-4     4.7e-3
///     4        2.9e-4     2.9e-3
///     5        2.9e-4     2.3e-3
///     7        2.8e-4     2.1e-3
///     10       2.7e-4     1.9e-3
///     20       2.7e-4     1.9e-3
///     100, 500 2.7e-4     1.8e-3
///
/// Below 2.5 the errors grow quickly (2.25: 8.4e-4 and 9.9e-3, 2: 1.5e-3 and 1.5e-2), since a filter without
/// zeros cannot follow the Gaussian's spectrum up to the highest frequency; a direct kernel takes over there.
struct SRecursiveGaussian {
    static constexpr int SECTION_COUNT = 3;
    static constexpr int STATE_COUNT = 2 * SECTION_COUNT;
    /// Below, the sampled kernel (SSampledGaussian) costs about the same and has no such error.
    static constexpr double SMALLEST_SIGMA_PX = 2.5;
    static constexpr double LARGEST_SIGMA_PX = 1e6;

    /// One pair of conjugate poles d: the polynomial z^2 - (1 + damping - stiffness) z + damping.
    struct SSection {
        double damping = 0.0;   ///< |d|^2
        double stiffness = 0.0; ///< |1 - d|^2
    };

    std::array<SSection, SECTION_COUNT> sections;
    /// The anticausal state at the last sample = tail * causal state there, both as deviations from the state
    /// settled at the last sample. Rows and columns: values of all sections, then velocities.
    std::array<std::array<double, STATE_COUNT>, STATE_COUNT> tail{};

    /// @param sigmaPx standard deviation in pixels, `SMALLEST_SIGMA_PX` to `LARGEST_SIGMA_PX`; the caller
    /// checks.
    static SRecursiveGaussian FromSigma(double sigmaPx);
};

/// The running state of one line; NumberT is the arithmetic type (one number, or several side by side).
template <typename NumberT>
struct SRecursionState {
    std::array<NumberT, SRecursiveGaussian::SECTION_COUNT> value;
    std::array<NumberT, SRecursiveGaussian::SECTION_COUNT> velocity;
};

/// One step of either pass: takes a sample in and gives the filtered sample.
template <typename NumberT>
inline NumberT Step(const SRecursiveGaussian& filter, SRecursionState<NumberT>& state, NumberT sample) {
    for (std::size_t k = 0; k < SRecursiveGaussian::SECTION_COUNT; ++k) {
        const SRecursiveGaussian::SSection& section = filter.sections[k];
        state.velocity[k] =
            section.damping * state.velocity[k] + section.stiffness * (sample - state.value[k]);
        state.value[k] = state.value[k] + state.velocity[k];
        sample = state.value[k];
    }
    return sample;
}

/// The state before the first sample of a line that was `first` forever.
template <typename NumberT>
inline SRecursionState<NumberT> StartCausal(NumberT first) {
    SRecursionState<NumberT> state{};
    state.value.fill(first);
    state.velocity.fill(NumberT(0.0));
    return state;
}

/// The anticausal state before the last sample, of a line that stays at its last sample forever.
/// @param causal the state after the last causal step. @param last the last sample of the input.
template <typename NumberT>
inline SRecursionState<NumberT> StartAnticausal(const SRecursiveGaussian& filter,
                                                const SRecursionState<NumberT>& causal, NumberT last) {
    constexpr std::size_t SECTIONS = SRecursiveGaussian::SECTION_COUNT;
    SRecursionState<NumberT> state{};
    for (std::size_t k = 0; k < SECTIONS; ++k) {
        NumberT value = NumberT(0.0);
        NumberT velocity = NumberT(0.0);
        for (std::size_t j = 0; j < SECTIONS; ++j) {
            const NumberT deviation = causal.value[j] - last;
            value = value + filter.tail[k][j] * deviation;
            velocity = velocity + filter.tail[k + SECTIONS][j] * deviation;
        }
        for (std::size_t j = 0; j < SECTIONS; ++j) {
            value = value + filter.tail[k][j + SECTIONS] * causal.velocity[j];
            velocity = velocity + filter.tail[k + SECTIONS][j + SECTIONS] * causal.velocity[j];
        }
        state.value[k] = last + value;
        state.velocity[k] = velocity;
    }
    return state;
}

/// Smooths one line in place: both passes.
void SmoothLine(const SRecursiveGaussian& filter, std::span<float> line);

/// The running states of many lines side by side, a plane per state variable; sample k of every plane belongs
/// to line k.
struct SRecursionPlanes {
    std::array<double*, SRecursiveGaussian::SECTION_COUNT> value;
    std::array<double*, SRecursiveGaussian::SECTION_COUNT> velocity;

    /// Numbers needed for the states of `lines` lines.
    static constexpr std::size_t MemoryFor(std::size_t lines) {
        return SRecursiveGaussian::STATE_COUNT * lines;
    }
    /// Planes over the caller's memory of `MemoryFor(lines)` numbers.
    static SRecursionPlanes Over(std::span<double> memory);
    /// The states from line `first` on.
    SRecursionPlanes From(std::size_t first) const;
};

/// As `StartCausal` of one line, for lines side by side. @param first one sample of each line.
void StartCausal(const SRecursionPlanes& states, std::span<const float> first);

/// As `Step`, for lines side by side: takes one sample of each line and gives the filtered ones.
/// @param out as long as `in`; may be `in`.
void Step(const SRecursiveGaussian& filter, const SRecursionPlanes& states, std::span<const float> in,
          std::span<float> out);

/// Samples of lines side by side: sample k of a row belongs to line k, rows follow each other along the axis.
template <typename SampleT>
struct SRows {
    SampleT* first = nullptr;
    std::ptrdiff_t step = 0; ///< samples from one row to the next; negative for a walk that descends
};

/// Many steps of either pass, for lines side by side, from row to row.
struct SRecursionWalk {
    SRows<const float> in;
    SRows<float> out; ///< may be the same rows
    std::size_t lines = 0;
    std::size_t rows = 0;
};

/// As a `Step` for each row of the walk, but much faster: the states leave the registers at its end only.
void Walk(const SRecursiveGaussian& filter, const SRecursionPlanes& states, const SRecursionWalk& walk);

/// As `StartAnticausal`, in place, for lines side by side. @param last one sample of each line.
void StartAnticausal(const SRecursiveGaussian& filter, const SRecursionPlanes& states,
                     std::span<const float> last);

} // namespace TEVRA::Impl
