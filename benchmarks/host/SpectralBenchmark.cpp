// SPDX-License-Identifier: BSD-3-Clause
// Transforms of whole images between real pixels and the full centred spectrum, beside what FFTW does for the
// bare half spectrum with one plan for all axes, and beside copying the spectrum.

#include "VexoSpectral/FourierTransformation.h"
#include "zeklib2image/Image.h"

#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <memory>

namespace TEVRA {
namespace {

CSize size_of(const benchmark::State& state) {
    return state.range(2) == 1 ? CSize(state.range(0), state.range(1))
                               : CSize(state.range(0), state.range(1), state.range(2));
}

std::int64_t pixels_of(const benchmark::State& state) {
    return state.range(0) * state.range(1) * state.range(2);
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Args({128, 128, 128})
        ->Args({144, 144, 144})
        ->Args({146, 146, 146}) // 2 x 73
        ->Args({256, 256, 256})
        ->Args({2048, 2048, 1})
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

/// An image with two grey values and its spectrum.
struct SImages {
    explicit SImages(const CSize& size)
        : image(IMAGE_GREY_F, size, CSize(0, 0, 0)), spectrum(IMAGE_COMPLEX_F, size, CSize(0, 0, 0)) {
        for (std::size_t i = 0; i < size.Elements(); i += 7) {
            image.Pixels<float>()[i] = 1.0F;
        }
        transformation.Fft(spectrum, image, nullptr);
    }

    CImage image;
    CImage spectrum;
    CFourierTransformation transformation{nullptr, nullptr};
};

void ForwardTransform(benchmark::State& state) {
    SImages images(size_of(state));
    for ([[maybe_unused]] auto _ : state) {
        images.transformation.Fft(images.spectrum, images.image, nullptr);
    }
    state.SetItemsProcessed(state.iterations() * pixels_of(state));
}
BENCHMARK(ForwardTransform)->Apply(sizes);

void InverseTransform(benchmark::State& state) {
    SImages images(size_of(state));
    std::memset(images.image.Pixels<float>(), 0, images.image.Size().Elements() * sizeof(float));
    for ([[maybe_unused]] auto _ : state) {
        images.transformation.InverseFft(images.image, images.spectrum, nullptr);
    }
    state.SetItemsProcessed(state.iterations() * pixels_of(state));
    if (!(std::fabs(images.image.Pixels<float>()[7] - 1.0F) < 1e-5F &&
          std::fabs(images.image.Pixels<float>()[8]) < 1e-5F)) {
        state.SkipWithError("the image did not come back");
    }
}
BENCHMARK(InverseTransform)->Apply(sizes);

void plain_inverse(benchmark::State& state, unsigned planning) {
    const auto nx = static_cast<int>(state.range(0));
    const auto ny = static_cast<int>(state.range(1));
    const auto nz = static_cast<int>(state.range(2));
    const std::size_t half = static_cast<std::size_t>(nx / 2 + 1) * static_cast<std::size_t>(ny * nz);
    const std::unique_ptr<fftwf_complex, void (*)(void*)> spectrum(fftwf_alloc_complex(half), fftwf_free);
    const std::unique_ptr<float, void (*)(void*)> image(
        fftwf_alloc_real(static_cast<std::size_t>(pixels_of(state))), fftwf_free);
    fftwf_plan plan = fftwf_plan_dft_c2r_3d(nz, ny, nx, spectrum.get(), image.get(), planning);
    std::memset(spectrum.get(), 0, half * sizeof(fftwf_complex));
    for ([[maybe_unused]] auto _ : state) {
        fftwf_execute(plan);
        benchmark::ClobberMemory();
    }
    fftwf_destroy_plan(plan);
    state.SetItemsProcessed(state.iterations() * pixels_of(state));
}

void PlainInverseEstimated(benchmark::State& state) {
    plain_inverse(state, FFTW_ESTIMATE);
}
BENCHMARK(PlainInverseEstimated)->Apply(sizes);

void PlainInverseMeasured(benchmark::State& state) {
    plain_inverse(state, FFTW_MEASURE);
}
BENCHMARK(PlainInverseMeasured)->Apply(sizes);

void CopyOfTheSpectrum(benchmark::State& state) {
    const SImages images(size_of(state));
    CImage copy(IMAGE_COMPLEX_F, size_of(state), CSize(0, 0, 0));
    for ([[maybe_unused]] auto _ : state) {
        std::memcpy(copy.Pixels<std::complex<float>>(), images.spectrum.Pixels<std::complex<float>>(),
                    copy.Size().Elements() * sizeof(std::complex<float>));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * pixels_of(state));
}
BENCHMARK(CopyOfTheSpectrum)->Apply(sizes);

} // namespace
} // namespace TEVRA
