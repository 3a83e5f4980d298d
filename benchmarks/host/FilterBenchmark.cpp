// SPDX-License-Identifier: BSD-3-Clause
// Smoothing, derivatives and clones of float volumes, beside a copy of the same volume, with one and two
// threads. Each case checks its result.

#include "VexoBase/Parallelism.h"
#include "VexoFilter/PartialDerivatives.h"
#include "VexoFilter/YoungVanVliet.h"
#include "zeklib2image/Image.h"
#include "zeklib2image/ImageExtraction.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>

namespace TEVRA {
namespace {

/// All pixels zero, and all pages of its memory touched: what the first touch costs is not the filters'
/// business.
std::unique_ptr<CImage> cube(const IImage::CType& type, long long extent) {
    auto image = std::make_unique<CImage>(type, CSize(extent, extent, extent), CSize(0, 0, 0));
    std::memset(image->Pixels<unsigned char>(), 0, image->Size().Elements() * type.BytesPerPixel());
    return image;
}

void count_voxels(benchmark::State& state, const CImage& image) {
    state.counters["ns/voxel"] =
        benchmark::Counter(static_cast<double>(image.Size().Elements()) * 1e-9,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// The least that a pass over the volume costs: every voxel read once and written once.
void MemoryCopy(benchmark::State& state) {
    const auto from = cube(IMAGE_GREY_F, state.range(0));
    const auto to = cube(IMAGE_GREY_F, state.range(0));
    const std::size_t count = from->Size().Elements();
    std::fill_n(from->Pixels<float>(), count, 1.5F);
    for (auto _ : state) {
        std::memcpy(to->Pixels<float>(), from->Pixels<float>(), count * sizeof(float));
        benchmark::ClobberMemory();
    }
    if (to->Pixels<float>()[count - 1] != 1.5F) {
        state.SkipWithError("the copy is not what was copied");
    }
    count_voxels(state, *to);
}
BENCHMARK(MemoryCopy)->Arg(128)->Arg(256)->Unit(benchmark::kMillisecond);

/// Arguments: extent, sigma in tenths of a pixel, threads.
void Gaussian(benchmark::State& state) {
    const long long extent = state.range(0);
    const double sigmaPx = 0.1 * static_cast<double>(state.range(1));
    const auto image = cube(IMAGE_GREY_8, extent);
    const auto smoothed = cube(IMAGE_GREY_F, extent);
    const long long center = extent / 2;
    const auto middle = static_cast<std::size_t>(center + extent * (center + extent * center));
    image->Pixels<unsigned char>()[middle] = 255;
    CParallelism::SetThreads(static_cast<int>(state.range(2)));
    for (auto _ : state) {
        CYoungVanVliet(sigmaPx, nullptr, nullptr).gauss(*smoothed, *image);
        benchmark::ClobberMemory();
    }
    CParallelism::SetThreads(1);
    double sum = 0.0;
    for (int k = -200; k <= 200; ++k) {
        sum += std::exp(-0.5 * k * k / (sigmaPx * sigmaPx));
    }
    const double peak = 255.0 / (sum * sum * sum);
    if (std::fabs(static_cast<double>(smoothed->Pixels<float>()[middle]) - peak) > 3e-3 * peak) {
        state.SkipWithError("the peak of the impulse response is not the Gaussian's");
    }
    count_voxels(state, *smoothed);
}
BENCHMARK(Gaussian)
    ->ArgNames({"extent", "sigma/10", "threads"})
    ->ArgsProduct({{128, 251, 256}, {15, 30, 100}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// Arguments: extent, orders along x, y and z, threads.
void Derivative(benchmark::State& state) {
    const long long extent = state.range(0);
    const std::array<int, 3> orders{static_cast<int>(state.range(1)), static_cast<int>(state.range(2)),
                                    static_cast<int>(state.range(3))};
    const auto image = cube(IMAGE_GREY_F, extent);
    CParallelism::SetThreads(static_cast<int>(state.range(4)));
    for (auto _ : state) {
        // Derivatives of derivatives of zero: the values do not matter for the time.
        CPartialDerivatives().Derivative(*image, orders[0], orders[1], orders[2]);
        benchmark::ClobberMemory();
    }
    float* const pixel = image->Pixels<float>();
    for (long long z = 0; z < extent; ++z) {
        for (long long y = 0; y < extent; ++y) {
            for (long long x = 0; x < extent; ++x) {
                pixel[x + extent * (y + extent * z)] =
                    0.5F * static_cast<float>((x + y + z) * (x + y + z)); // every second derivative is 1
            }
        }
    }
    CPartialDerivatives().Derivative(*image, orders[0], orders[1], orders[2]);
    CParallelism::SetThreads(1);
    if (pixel[8 + extent * (8 + extent * 8)] != 1.0F) {
        state.SkipWithError("the derivative of a parabola is wrong");
    }
    count_voxels(state, *image);
}
BENCHMARK(Derivative)
    ->ArgNames({"extent", "x", "y", "z", "threads"})
    ->ArgsProduct({{256}, {2}, {0}, {0}, {1, 2}})
    ->ArgsProduct({{256}, {0}, {2}, {0}, {1, 2}})
    ->ArgsProduct({{256}, {0}, {0}, {2}, {1, 2}})
    ->ArgsProduct({{256}, {1}, {0}, {1}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// Written through an access that is closed again, so that clones need not be copied at once.
std::unique_ptr<CImage> squares(long long extent) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_F, CSize(extent, extent, extent), CSize(0, 0, 0));
    const std::unique_ptr<IImage::IAccess> access(image->CreateAccess(false));
    auto* pixel = static_cast<float*>(access->Data());
    for (long long z = 0; z < extent; ++z) {
        for (long long y = 0; y < extent; ++y) {
            for (long long x = 0; x < extent; ++x) {
                *pixel++ = 0.5F * static_cast<float>((x + y + z) * (x + y + z));
            }
        }
    }
    return image;
}

/// The pages of an image that nobody has written yet. Arguments: extent, threads.
void NewImage(benchmark::State& state) {
    CParallelism::SetThreads(static_cast<int>(state.range(1)));
    std::unique_ptr<CImage> image;
    for (auto _ : state) {
        image.reset();
        image = std::make_unique<CImage>(IMAGE_GREY_F, CSize(state.range(0), state.range(0), state.range(0)),
                                         CSize(0, 0, 0));
        benchmark::DoNotOptimize(image->Pixels<float>());
    }
    CParallelism::SetThreads(1);
    count_voxels(state, *image);
}
BENCHMARK(NewImage)
    ->ArgNames({"extent", "threads"})
    ->ArgsProduct({{256}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// A new image with the pixels of another one, looked at. Arguments: extent, threads.
void Clone(benchmark::State& state) {
    const auto image = squares(state.range(0));
    CParallelism::SetThreads(static_cast<int>(state.range(1)));
    std::unique_ptr<const CImage> clone;
    for (auto _ : state) {
        clone.reset();
        clone.reset(CImageExtraction::Clone(*image));
        benchmark::DoNotOptimize(clone->Pixels<float>());
    }
    CParallelism::SetThreads(1);
    const CImage& original = *image;
    if (std::memcmp(clone->Pixels<float>(), original.Pixels<float>(),
                    image->Size().Elements() * sizeof(float)) != 0) {
        state.SkipWithError("the clone is not the image");
    }
    count_voxels(state, *image);
}
BENCHMARK(Clone)
    ->ArgNames({"extent", "threads"})
    ->ArgsProduct({{128, 256}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// A derivative in a new image. Arguments: extent, orders along x, y and z, threads.
void DerivativeOfClone(benchmark::State& state) {
    const long long extent = state.range(0);
    const auto image = squares(extent);
    CParallelism::SetThreads(static_cast<int>(state.range(4)));
    std::unique_ptr<CImage> clone;
    for (auto _ : state) {
        clone.reset();
        clone.reset(CImageExtraction::Clone(*image));
        CPartialDerivatives().Derivative(*clone, static_cast<int>(state.range(1)),
                                         static_cast<int>(state.range(2)), static_cast<int>(state.range(3)));
    }
    CParallelism::SetThreads(1);
    if (clone->Pixels<float>()[8 + extent * (8 + extent * 8)] != 1.0F) {
        state.SkipWithError("the derivative of a parabola is wrong");
    }
    count_voxels(state, *image);
}
BENCHMARK(DerivativeOfClone)
    ->ArgNames({"extent", "x", "y", "z", "threads"})
    ->ArgsProduct({{256}, {2}, {0}, {0}, {1, 2}})
    ->ArgsProduct({{256}, {0}, {0}, {2}, {1, 2}})
    ->ArgsProduct({{256}, {1}, {0}, {1}, {1, 2}})
    ->ArgsProduct({{256}, {0}, {1}, {1}, {1, 2}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
} // namespace TEVRA
