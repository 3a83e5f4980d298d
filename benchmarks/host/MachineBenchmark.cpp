// SPDX-License-Identifier: BSD-3-Clause
// What the machine gives: memory and arithmetic, to hold the other cases against.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace TEVRA {
namespace {

constexpr std::size_t MEBI = std::size_t{1} << 20;

/// a = b + s c over 64 MB each, beyond the last-level cache. Bytes: two arrays read, one written.
void Triad(benchmark::State& state) {
    constexpr std::size_t COUNT = 16 * MEBI;
    std::vector<float> a(COUNT);
    std::vector<float> b(COUNT, 1.0F);
    std::vector<float> c(COUNT, 2.0F);
    const auto threads = static_cast<std::size_t>(state.range(0));
    const auto work = [&](std::size_t part) {
        const std::size_t last = (part + 1) * COUNT / threads;
        for (std::size_t i = part * COUNT / threads; i < last; ++i) {
            a[i] = b[i] + 3.0F * c[i];
        }
    };
    for ([[maybe_unused]] auto _ : state) {
        std::vector<std::jthread> helpers;
        for (std::size_t part = 1; part < threads; ++part) {
            helpers.emplace_back(work, part);
        }
        work(0);
        helpers.clear();
        benchmark::ClobberMemory();
    }
    if (a[COUNT - 1] != 7.0F) {
        state.SkipWithError("wrong sum");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(3 * COUNT * sizeof(float)));
}
BENCHMARK(Triad)->ArgName("threads")->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

/// Writes to memory that the process has not touched before: the system clears every page first.
void FirstTouch(benchmark::State& state) {
    constexpr std::size_t COUNT = 64 * MEBI;
    for ([[maybe_unused]] auto _ : state) {
        const auto fresh = std::make_unique_for_overwrite<unsigned char[]>(COUNT);
        std::fill_n(fresh.get(), COUNT, static_cast<unsigned char>(1));
        benchmark::DoNotOptimize(fresh.get());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(COUNT));
}
BENCHMARK(FirstTouch)->UseRealTime()->Unit(benchmark::kMillisecond);

/// The same for memory that has been written to before.
void SecondTouch(benchmark::State& state) {
    constexpr std::size_t COUNT = 64 * MEBI;
    std::vector<unsigned char> warm(COUNT);
    for ([[maybe_unused]] auto _ : state) {
        std::fill(warm.begin(), warm.end(), static_cast<unsigned char>(1));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(COUNT));
}
BENCHMARK(SecondTouch)->UseRealTime()->Unit(benchmark::kMillisecond);

enum class EOperation { multiplyAndAdd, divide };

/// Chains of dependent operations, as many side by side as the processor can keep busy.
using Two [[gnu::vector_size(16)]] = double;
using Four [[gnu::vector_size(32)]] = double;
using Eight [[gnu::vector_size(64)]] = double;

template <typename Lanes, EOperation OPERATION>
inline __attribute__((always_inline)) double chains(std::size_t steps) {
    constexpr std::size_t CHAINS = 10;
    Lanes values[CHAINS] = {}; // std::array would take the vectors for single numbers
    for (std::size_t i = 0; i < CHAINS; ++i) {
        values[i] += 1.0 + 0.1 * static_cast<double>(i);
    }
    for (std::size_t step = 0; step < steps; ++step) {
        for (Lanes& value : values) {
            if constexpr (OPERATION == EOperation::divide) {
                value = 1.5 / value;
            } else {
                value = value * 0.999 + 0.001;
            }
        }
    }
    double sum = 0.0;
    for (const Lanes& value : values) {
        for (std::size_t lane = 0; lane < sizeof(Lanes) / sizeof(double); ++lane) {
            sum += value[lane];
        }
    }
    return sum;
}

#if defined(__x86_64__)
template <EOperation OPERATION>
__attribute__((target("avx2"))) double chains_of_4(std::size_t steps) {
    return chains<Four, OPERATION>(steps);
}
template <EOperation OPERATION>
__attribute__((target("avx512f"))) double chains_of_8(std::size_t steps) {
    return chains<Eight, OPERATION>(steps);
}
#endif

/// Doubles per second through one kind of operation. Argument: how many lie side by side.
template <EOperation OPERATION>
void Arithmetic(benchmark::State& state) {
    constexpr std::size_t STEPS = 4096;
    constexpr std::int64_t CHAINS = 10;
    double (*work)(std::size_t) = chains<Two, OPERATION>;
#if defined(__x86_64__)
    if (state.range(0) == 4 && __builtin_cpu_supports("avx2")) {
        work = chains_of_4<OPERATION>;
    } else if (state.range(0) == 8 && __builtin_cpu_supports("avx512f")) {
        work = chains_of_8<OPERATION>;
    }
#endif
    if (state.range(0) > 2 && work == static_cast<double (*)(std::size_t)>(chains<Two, OPERATION>)) {
        state.SkipWithError("this processor has no such vectors");
        return;
    }
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(work(STEPS));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * CHAINS * static_cast<std::int64_t>(STEPS));
}
void MultiplyAndAdd(benchmark::State& state) {
    Arithmetic<EOperation::multiplyAndAdd>(state);
}
void Divide(benchmark::State& state) {
    Arithmetic<EOperation::divide>(state);
}
BENCHMARK(MultiplyAndAdd)->ArgName("lanes")->Arg(2)->Arg(4)->Arg(8);
BENCHMARK(Divide)->ArgName("lanes")->Arg(2)->Arg(4)->Arg(8);

} // namespace
} // namespace TEVRA
