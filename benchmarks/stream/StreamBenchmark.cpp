// SPDX-License-Identifier: BSD-3-Clause
// usage: bench_stream [EXTENT]     a volume of EXTENT^3 pixels, by default 256^3
//
// The same analysis of the same volume in memory by CSubfieldFiberDirections and slice by slice, with maps;
// the best of three runs each, and whether thresholds and counts agree.
#include "FilterOrientations/SubfieldFiberDirections.h"
#include "VexoBase/Parallelism.h"
#include "stream/StreamingAnalysis.h"
#include "zeklib2image/Image.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
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

class CReader : public volume::IImageReader {
  public:
    explicit CReader(const CImage& image) : m_image(image) { m_info.size = image.Size(); }
    const volume::SImageInfo& Info() const override { return m_info; }

  private:
    void read_slices(long long first, long long count, std::byte* pixels) override {
        std::memcpy(pixels, m_image.Pixels<std::byte>() + static_cast<std::size_t>(first) * SliceBytes(),
                    static_cast<std::size_t>(count) * SliceBytes());
    }

    const CImage& m_image;
    volume::SImageInfo m_info;
};

/// Takes the maps into memory, as the library keeps them.
class CMaps : public stream::IAngleSink {
  public:
    explicit CMaps(const CSize& size)
        : m_slicePixels(static_cast<std::size_t>(size[0] * size[1])),
          m_theta(static_cast<std::size_t>(size.Elements())), m_phi(m_theta.size()) {}
    void Write(const stream::SSliceRange& slices, const float* theta, const float* phi) override {
        const auto first =
            static_cast<std::ptrdiff_t>(static_cast<std::size_t>(slices.first) * m_slicePixels);
        const std::size_t count = static_cast<std::size_t>(slices.Count()) * m_slicePixels;
        std::copy_n(theta, count, m_theta.begin() + first);
        std::copy_n(phi, count, m_phi.begin() + first);
    }

  private:
    std::size_t m_slicePixels;
    std::vector<float> m_theta;
    std::vector<float> m_phi;
};

struct STime {
    double wallSeconds = std::numeric_limits<double>::infinity();
    double cpuSeconds = std::numeric_limits<double>::infinity();
    double threshold = 0.0;
};

template <typename WorkT>
STime best_of_three(const WorkT& work) {
    STime best;
    for (int run = 0; run < 3; ++run) {
        const auto wall = std::chrono::steady_clock::now();
        const std::clock_t cpu = std::clock();
        best.threshold = work();
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - wall;
        best.wallSeconds = std::min(best.wallSeconds, elapsed.count());
        best.cpuSeconds = std::min(best.cpuSeconds, static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC);
    }
    return best;
}

double in_memory(CImage& image) {
    CSubfieldFiberDirections analysis(RADIUS, OTSU_FACTOR, SUBFIELD, SUBFIELD, SUBFIELD);
    std::string parameters;
    const std::unique_ptr<CValueMap> document(analysis.Compute(image, parameters, nullptr, false));
    return analysis.Threshold();
}

double streamed(const CImage& image, int threads) {
    CReader reader(image);
    const auto alone = stream::SingleProcess();
    const stream::SStreamParameters parameters{
        RADIUS, 1.0, OTSU_FACTOR, {SUBFIELD, SUBFIELD, SUBFIELD}, false};
    const stream::SStreamResources resources{threads, std::size_t{1} << 36U, "/tmp"};
    stream::CStreamingAnalysis analysis({reader}, parameters, resources, *alone, true);
    CMaps maps(image.Size());
    return analysis.Run(&maps).threshold.value_or(0.0);
}

} // namespace

int main(int argc, char** argv) {
    const long long extent = argc > 1 ? std::atoll(argv[1]) : 256;
    const std::unique_ptr<CImage> image = fibers(extent);
    const double pixels = std::pow(static_cast<double>(extent), 3.0);
    CParallelism::SetThreads(1);
    const STime library = best_of_three([&] { return in_memory(*image); });
    const STime one = best_of_three([&] { return streamed(*image, 1); });
    const STime two = best_of_three([&] { return streamed(*image, 2); });
    std::printf("%lld^3, 8 bit            wall      processor time\n", extent);
    const auto print = [pixels](const char* name, const STime& time) {
        std::printf("%-22s %6.2f s   %6.2f s   %5.1f ns per pixel\n", name, time.wallSeconds, time.cpuSeconds,
                    1e9 * time.cpuSeconds / pixels);
    };
    print("in memory, 1 thread", library);
    print("by slices, 1 thread", one);
    print("by slices, 2 threads", two);
    std::printf("by slices against in memory, 1 thread: %.2f times as fast (processor time: %.2f)\n",
                library.wallSeconds / one.wallSeconds, library.cpuSeconds / one.cpuSeconds);
    std::printf("2 threads against 1: %.2f times as fast\n", one.wallSeconds / two.wallSeconds);
    const bool isSame = library.threshold == one.threshold && one.threshold == two.threshold;
    std::printf("thresholds %s\n", isSame ? "are the same" : "DIFFER");
    return isSame ? 0 : 1;
}
