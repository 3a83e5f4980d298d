// SPDX-License-Identifier: BSD-3-Clause
// usage: bench_stream [EXTENT [ROUNDS]]     a volume of EXTENT^3 pixels, by default 256^3; 7 rounds
//
// The same analysis of the same volume in memory by CSubfieldFiberDirections and slice by slice, with and
// without maps, on one thread and on two. The ways take turns; medians of all rounds, the passes of the
// analysis by slices, and whether all find the same threshold.
#include "FilterOrientations/SubfieldFiberDirections.h"
#include "VexoBase/Parallelism.h"
#include "stream/StreamingAnalysis.h"
#include "stream/Workers.h"
#include "volume/MemoryReader.h"
#include "zeklib2image/Image.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace TEVRA;

constexpr double RADIUS = 4.0;
constexpr double OTSU_FACTOR = 1.25;
constexpr long long SUBFIELD = 64;

std::unique_ptr<CImage> fibers(long long extent) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_8, CSize(extent, extent, extent), CSize(0, 0, 0));
    auto* pixel = image->Pixels<unsigned char>();
    unsigned noise = 1;
    for (long long z = 0; z < extent; ++z) {
        for (long long y = 0; y < extent; ++y) {
            for (long long x = 0; x < extent; ++x) {
                const bool isFiber = (x + z / 5) % 20 < 8 && (y + z / 9) % 18 < 8;
                noise = noise * 1664525U + 1013904223U;
                *pixel++ = static_cast<unsigned char>((isFiber ? 190U : 50U) + (noise >> 27U));
            }
        }
    }
    return image;
}

struct SRun {
    double wallSeconds = 0.0;
    double cpuSeconds = 0.0;
    double threshold = 0.0;
    std::vector<Impl::SPassTime> passes;
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2.0;
}

/// One way to the same numbers, and what it took.
class CWay {
  public:
    using Work = SRun (*)(CImage& image, int threads, bool withMaps);

    CWay(const char* name, Work work, int threads, bool withMaps)
        : m_name(name), m_work(work), m_threads(threads), m_withMaps(withMaps) {}

    void Go(CImage& image) {
        CParallelism::SetThreads(m_threads);
        const auto wall = std::chrono::steady_clock::now();
        const std::clock_t cpu = std::clock();
        m_runs.push_back(m_work(image, m_threads, m_withMaps));
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - wall;
        m_runs.back().wallSeconds = elapsed.count();
        m_runs.back().cpuSeconds = static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC;
    }
    double Wall() const {
        return median_of([](const SRun& run) { return run.wallSeconds; });
    }
    double Cpu() const {
        return median_of([](const SRun& run) { return run.cpuSeconds; });
    }
    double WallOf(std::size_t round) const { return m_runs[round].wallSeconds; }
    double Threshold() const { return m_runs.front().threshold; }
    void Print(double pixels) const {
        std::printf("%-34s %7.3f s   %7.3f s   %5.1f ns per pixel", m_name, Wall(), Cpu(),
                    1e9 * Cpu() / pixels);
        for (std::size_t pass = 0; pass < m_runs.front().passes.size(); ++pass) {
            const double seconds = median_of([pass](const SRun& run) { return run.passes[pass].seconds; });
            std::printf("  %s %.0f ms", m_runs.front().passes[pass].name.c_str(), 1e3 * seconds);
        }
        std::printf("\n");
    }

  private:
    template <typename ValueT>
    double median_of(const ValueT& value) const {
        std::vector<double> values;
        for (const SRun& run : m_runs) {
            values.push_back(value(run));
        }
        return median(values);
    }

    const char* m_name;
    Work m_work;
    int m_threads;
    bool m_withMaps;
    std::vector<SRun> m_runs;
};

SRun in_memory(CImage& image, int threads, bool /*withMaps*/) {
    stream::CWorkers workers(threads);
    CSubfieldFiberDirections analysis(RADIUS, OTSU_FACTOR, SUBFIELD, SUBFIELD, SUBFIELD);
    analysis.LendThreads(&workers);
    std::string parameters;
    const std::unique_ptr<CValueMap> document(analysis.Compute(image, parameters, nullptr, false));
    SRun run;
    run.threshold = analysis.Threshold();
    return run;
}

SRun by_slices(CImage& image, int threads, bool withMaps) {
    volume::CMemoryReader reader(image.Size(), volume::EPixelType::u8, image.Pixels<unsigned char>());
    const auto alone = stream::SingleProcess();
    Impl::SAnalysisRequest request;
    request.fiberRadius = RADIUS;
    request.otsuFactor = OTSU_FACTOR;
    request.subfieldPx = {SUBFIELD, SUBFIELD, SUBFIELD};
    const stream::SStreamResources resources{threads, std::size_t{1} << 36U, "/tmp"};
    // As the library keeps them.
    const auto maps = withMaps ? std::make_unique<stream::CMapsInMemory>(image.Size()) : nullptr;
    stream::CStreamingAnalysis analysis({reader, nullptr, std::nullopt, &stream::HESSIAN}, request, resources,
                                        *alone, maps.get());
    const stream::SStreamResult result = analysis.Run();
    SRun run;
    run.threshold = result.analysis.threshold.value_or(0.0);
    run.passes = result.analysis.passes;
    return run;
}

} // namespace

int main(int argc, char** argv) {
    const long long extent = argc > 1 ? std::atoll(argv[1]) : 256;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 7;
    const std::unique_ptr<CImage> image = fibers(extent);
    std::vector<CWay> ways{{"in memory, 1 thread", in_memory, 1, true},
                           {"in memory, 2 threads", in_memory, 2, true},
                           {"by slices with maps, 1 thread", by_slices, 1, true},
                           {"by slices with maps, 2 threads", by_slices, 2, true},
                           {"by slices, 1 thread", by_slices, 1, false},
                           {"by slices, 2 threads", by_slices, 2, false}};
    for (int round = 0; round < rounds; ++round) {
        for (CWay& way : ways) {
            way.Go(*image);
        }
    }
    std::printf("%lld^3, 8 bit, medians of %d rounds     wall    processor time\n", extent, rounds);
    for (const CWay& way : ways) {
        way.Print(std::pow(static_cast<double>(extent), 3.0));
    }
    // Of runs next to each other: what else the machine does then slows both down.
    const auto ratio = [&ways, rounds](std::size_t slower, std::size_t faster) {
        std::vector<double> ratios;
        for (std::size_t round = 0; round < static_cast<std::size_t>(rounds); ++round) {
            ratios.push_back(ways[slower].WallOf(round) / ways[faster].WallOf(round));
        }
        return median(ratios);
    };
    std::printf("medians of the rounds' ratios:\n");
    std::printf("by slices with maps against in memory: %.2f times as fast on 1 thread, %.2f on 2\n",
                ratio(0, 2), ratio(1, 3));
    std::printf(
        "2 threads against 1: in memory %.2f, by slices with maps %.2f, by slices %.2f times as fast\n",
        ratio(0, 1), ratio(2, 3), ratio(4, 5));
    const bool isSame = std::all_of(ways.begin(), ways.end(), [&ways](const CWay& way) {
        return way.Threshold() == ways.front().Threshold();
    });
    std::printf("thresholds %s\n", isSame ? "are the same" : "DIFFER");
    return isSame ? 0 : 1;
}
