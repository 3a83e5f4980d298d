// SPDX-License-Identifier: BSD-3-Clause
// Thresholds of histograms with counts in every bin.

#include "VexoSegmentation/OtsuBin.h"

#include <benchmark/benchmark.h>

#include <vector>

namespace TEVRA {
namespace {

void OtsuOfHistogram(benchmark::State& state) {
    const std::vector<unsigned long long> histogram(static_cast<std::size_t>(state.range(0)), 1ULL << 20);
    std::size_t bin = 0;
    for ([[maybe_unused]] auto _ : state) {
        bin = OtsuBin(histogram);
        benchmark::DoNotOptimize(bin);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    if (bin != histogram.size() / 2 - 1) {
        state.SkipWithError("wrong bin");
    }
}
BENCHMARK(OtsuOfHistogram)->Arg(256)->Arg(65536);

} // namespace
} // namespace TEVRA
