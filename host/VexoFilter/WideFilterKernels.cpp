// SPDX-License-Identifier: BSD-3-Clause
// The inner loops of the filters. Compiled once per instruction set.

#include "VexoFilter/WideLanes.h"

#include "VexoFilter/Differences.h"
#include "VexoFilter/FilterKernels.h"

#include <utility>

namespace TEVRA::Impl::FilterLoops::TEVRA_WIDE {
namespace {

constexpr std::size_t SECTIONS = SRecursiveGaussian::SECTION_COUNT;

using SState = SRecursionState<Real>;

template <typename WhichT>
[[gnu::always_inline]] inline SState load(const WhichT& which, const SRecursionPlanes& planes,
                                          std::size_t line) {
    SState state;
    for (std::size_t k = 0; k < SECTIONS; ++k) {
        state.value[k] = LoadDoubles(which, planes.value[k] + line);
        state.velocity[k] = LoadDoubles(which, planes.velocity[k] + line);
    }
    return state;
}

template <typename WhichT>
[[gnu::always_inline]] inline void store(const WhichT& which, const SState& state,
                                         const SRecursionPlanes& planes, std::size_t line) {
    for (std::size_t k = 0; k < SECTIONS; ++k) {
        which.Store(state.value[k].v, planes.value[k] + line);
        which.Store(state.velocity[k].v, planes.velocity[k] + line);
    }
}

/// Lines from `line` on: as many registers of them as CHAINS, whose recursions wait for themselves only, so
/// that one computes while the other waits. The states stay in registers.
template <std::size_t CHAINS, typename WhichT>
void walk_lines(const SRecursiveGaussian& filter, const SRecursionPlanes& planes, const SRecursionWalk& walk,
                std::size_t line, const WhichT& which) {
    SState states[CHAINS];
    for (std::size_t chain = 0; chain < CHAINS; ++chain) {
        states[chain] = load(which, planes, line + chain * WIDTH);
    }
    const SRecursiveGaussian coefficients = filter; // a copy that no write below can change
    const float* in = walk.in.first + line;
    float* out = walk.out.first + line;
    for (std::size_t row = 0; row < walk.rows; ++row) {
        for (std::size_t chain = 0; chain < CHAINS; ++chain) {
            const Real sample = LoadFloats(which, in + chain * WIDTH);
            StoreFloats(which, Step(coefficients, states[chain], sample), out + chain * WIDTH);
        }
        in += walk.in.step;
        out += walk.out.step;
    }
    for (std::size_t chain = 0; chain < CHAINS; ++chain) {
        store(which, states[chain], planes, line + chain * WIDTH);
    }
}

void walk(const SRecursiveGaussian& filter, const SRecursionPlanes& states, const SRecursionWalk& walk) {
    constexpr std::size_t CHAINS = 2;
    std::size_t line = 0;
    for (; line + CHAINS * WIDTH <= walk.lines; line += CHAINS * WIDTH) {
        walk_lines<CHAINS>(filter, states, walk, line, SAllLanes());
    }
    for (; line + WIDTH <= walk.lines; line += WIDTH) {
        walk_lines<1>(filter, states, walk, line, SAllLanes());
    }
    if (line < walk.lines) {
        walk_lines<1>(filter, states, walk, line, SFirstLanes{walk.lines - line});
    }
}

template <typename WhichT>
[[gnu::always_inline]] inline void start_anticausal(const SRecursiveGaussian& filter,
                                                    const SRecursionPlanes& states, const float* last,
                                                    std::size_t line, const WhichT& which) {
    const SState causal = load(which, states, line);
    store(which, StartAnticausal(filter, causal, LoadFloats(which, last + line)), states, line);
}

void start_anticausal_of_lines(const SRecursiveGaussian& filter, const SRecursionPlanes& states,
                               const float* last, std::size_t lines) {
    std::size_t line = 0;
    for (; line + WIDTH <= lines; line += WIDTH) {
        start_anticausal(filter, states, last, line, SAllLanes());
    }
    if (line < lines) {
        start_anticausal(filter, states, last, line, SFirstLanes{lines - line});
    }
}

/// CHAINS registers of samples from `first` on.
template <std::size_t CHAINS, typename WhichT>
void weighted_sums(const SSampledGaussian& kernel, const float* const* rows, float* out, std::size_t first,
                   const WhichT& which) {
    Real sums[CHAINS];
    const double* const weights = kernel.weights.data();
    for (std::size_t chain = 0; chain < CHAINS; ++chain) {
        sums[chain] = weights[0] * LoadFloats(which, rows[kernel.radius] + first + chain * WIDTH);
    }
    for (std::size_t k = 1; k <= kernel.radius; ++k) {
        const float* const left = rows[kernel.radius - k] + first;
        const float* const right = rows[kernel.radius + k] + first;
        for (std::size_t chain = 0; chain < CHAINS; ++chain) {
            const Real both =
                LoadFloats(which, left + chain * WIDTH) + LoadFloats(which, right + chain * WIDTH);
            sums[chain] = sums[chain] + weights[k] * both;
        }
    }
    for (std::size_t chain = 0; chain < CHAINS; ++chain) {
        StoreFloats(which, sums[chain], out + first + chain * WIDTH);
    }
}

void weighted_sum(const SSampledGaussian& kernel, const float* const* rows, float* out, std::size_t count) {
    constexpr std::size_t CHAINS = 4;
    std::size_t first = 0;
    for (; first + CHAINS * WIDTH <= count; first += CHAINS * WIDTH) {
        weighted_sums<CHAINS>(kernel, rows, out, first, SAllLanes());
    }
    for (; first + WIDTH <= count; first += WIDTH) {
        weighted_sums<1>(kernel, rows, out, first, SAllLanes());
    }
    if (first < count) {
        weighted_sums<1>(kernel, rows, out, first, SFirstLanes{count - first});
    }
}

void second_difference(const float* left, const float* here, const float* right, float* out,
                       std::size_t count) {
#pragma GCC ivdep
    for (std::size_t k = 0; k < count; ++k) {
        out[k] = SecondDifference(left[k], here[k], right[k]);
    }
}

void first_difference(const float* left, const float* right, float* out, std::size_t count) {
#pragma GCC ivdep
    for (std::size_t k = 0; k < count; ++k) {
        out[k] = FirstDifference(left[k], right[k]);
    }
}

void mixed_difference(const float* const (&corners)[4], float* out, std::size_t count) {
    const float* const lowLeft = corners[0];
    const float* const lowRight = corners[1];
    const float* const highLeft = corners[2];
    const float* const highRight = corners[3];
#pragma GCC ivdep
    for (std::size_t k = 0; k < count; ++k) {
        out[k] = MixedDifference(lowLeft[k], lowRight[k], highLeft[k], highRight[k]);
    }
}

/// Rows and columns of a block; a row is a whole register.
constexpr std::size_t BLOCK = FLOATS;

/// The first halves (or the last ones) of two rows, one sample of each at a time.
template <std::size_t... K>
[[gnu::always_inline]] inline Floats interleave_first(const Floats& a, const Floats& b,
                                                      std::index_sequence<K...>) {
    return __builtin_shufflevector(a, b, (K / 2 + K % 2 * BLOCK)...);
}
template <std::size_t... K>
[[gnu::always_inline]] inline Floats interleave_last(const Floats& a, const Floats& b,
                                                     std::index_sequence<K...>) {
    return __builtin_shufflevector(a, b, (BLOCK / 2 + K / 2 + K % 2 * BLOCK)...);
}

/// BLOCK x BLOCK samples: interleaving row i with row i + BLOCK / 2, as often as BLOCK can be halved,
/// exchanges rows and columns.
template <typename InT, typename OutT>
[[gnu::always_inline]] inline void transpose_block(const InT& in, const OutT& out, std::size_t row,
                                                   std::size_t column) {
    constexpr std::make_index_sequence<BLOCK> SAMPLES;
    Floats block[BLOCK];
    for (std::size_t i = 0; i < BLOCK; ++i) {
        __builtin_memcpy(&block[i], in(row + i) + column, sizeof block[i]);
    }
    for (std::size_t halved = 1; halved < BLOCK; halved *= 2) {
        Floats next[BLOCK];
        for (std::size_t i = 0; i < BLOCK / 2; ++i) {
            next[2 * i] = interleave_first(block[i], block[i + BLOCK / 2], SAMPLES);
            next[2 * i + 1] = interleave_last(block[i], block[i + BLOCK / 2], SAMPLES);
        }
        for (std::size_t i = 0; i < BLOCK; ++i) {
            block[i] = next[i];
        }
    }
    for (std::size_t i = 0; i < BLOCK; ++i) {
        __builtin_memcpy(out(column + i) + row, &block[i], sizeof block[i]);
    }
}

/// One by one, from row and column `firstRow` and `firstColumn` on.
template <typename InT, typename OutT>
[[gnu::always_inline]] inline void transpose_rest(const InT& in, const OutT& out, std::size_t firstRow,
                                                  std::size_t rows, std::size_t firstColumn,
                                                  std::size_t columns) {
    for (std::size_t row = firstRow; row < rows; ++row) {
        const float* const from = in(row);
        for (std::size_t column = firstColumn; column < columns; ++column) {
            out(column)[row] = from[column];
        }
    }
}

/// @param in, out give the address of a row.
template <typename InT, typename OutT>
[[gnu::always_inline]] inline void transpose(const InT& in, const OutT& out, std::size_t rows,
                                             std::size_t columns) {
    const std::size_t blockRows = rows / BLOCK * BLOCK;
    const std::size_t blockColumns = columns / BLOCK * BLOCK;
    for (std::size_t row = 0; row < blockRows; row += BLOCK) {
        for (std::size_t column = 0; column < blockColumns; column += BLOCK) {
            transpose_block(in, out, row, column);
        }
    }
    transpose_rest(in, out, 0, blockRows, blockColumns, columns);
    transpose_rest(in, out, blockRows, rows, 0, columns);
}

template <typename SampleT>
struct SRowAt {
    SRows<SampleT> rows;
    [[gnu::always_inline]] SampleT* operator()(std::size_t row) const {
        return rows.first + static_cast<std::ptrdiff_t>(row) * rows.step;
    }
};

template <typename SampleT>
struct SPointedRow {
    SampleT* const* rows;
    [[gnu::always_inline]] SampleT* operator()(std::size_t row) const { return rows[row]; }
};

void to_columns(const float* const* rows, std::size_t count, std::size_t length, const SRows<float>& out) {
    transpose(SPointedRow<const float>{rows}, SRowAt<float>{out}, count, length);
}

void to_rows(const SRows<const float>& in, float* const* rows, std::size_t count, std::size_t length) {
    transpose(SRowAt<const float>{in}, SPointedRow<float>{rows}, length, count);
}

} // namespace

extern const SFilterKernels KERNELS;
const SFilterKernels KERNELS{.walk = walk,
                             .startAnticausal = start_anticausal_of_lines,
                             .weightedSum = weighted_sum,
                             .secondDifference = second_difference,
                             .firstDifference = first_difference,
                             .mixedDifference = mixed_difference,
                             .toColumns = to_columns,
                             .toRows = to_rows};

} // namespace TEVRA::Impl::FilterLoops::TEVRA_WIDE
