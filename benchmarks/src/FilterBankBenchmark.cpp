// SPDX-License-Identifier: BSD-3-Clause
// The filter bank: the mask fill, and the estimator as a whole beside a plain loop around FFTW.

#include "FilterBank/FilterMask.h"
#include "FilterOrientations/FilterOrientations.h"
#include "FilterOrientations/PointsOnSphere.h"
#include "PlainFilterBank.h"
#include "zeklib2image/Image.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <memory>
#include <random>
#include <vector>

namespace TEVRA {
namespace {

constexpr int EXTENT = 128;
constexpr float MAJOR_WIDTH = 4.0F;
constexpr float MINOR_WIDTH = 2.0F;
constexpr int PAD = 8; // twice the larger width, so that the transform works on 144 pixels

/// Soft straight fibers in random directions.
std::unique_ptr<CImage> fibers() {
    auto image = std::make_unique<CImage>(IMAGE_GREY_F, CSize(EXTENT, EXTENT, EXTENT), CSize(0, 0, 0));
    float* pixels = image->Pixels<float>();
    std::mt19937_64 random(1);
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> place(0.0, EXTENT);
    for (int fiber = 0; fiber < 60; ++fiber) {
        double v[3] = {normal(random), normal(random), normal(random)};
        const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        const double p[3] = {place(random), place(random), place(random)};
        for (int step = -4 * EXTENT; step <= 4 * EXTENT; ++step) {
            long at[3];
            bool isInside = true;
            for (int axis = 0; axis < 3; ++axis) {
                at[axis] = std::lround(p[axis] + 0.25 * step * v[axis] / length);
                isInside = isInside && at[axis] >= 0 && at[axis] < EXTENT;
            }
            if (isInside) {
                pixels[(at[2] * EXTENT + at[1]) * EXTENT + at[0]] = 200.0F;
            }
        }
    }
    return image;
}

void FillMask(benchmark::State& state) {
    const int extent = EXTENT + 2 * PAD;
    std::vector<float> values(static_cast<std::size_t>(extent));
    const Impl::SGaussianRow row{20.0, 6.0, 2.0, extent / 2.0};
    for (auto _ : state) {
        Impl::FillGaussianRow(row, values);
        benchmark::DoNotOptimize(values.data());
        benchmark::ClobberMemory();
    }
    for (std::size_t x = 0; x < values.size(); ++x) {
        const double expected = std::exp(row.Exponent(static_cast<double>(x)));
        if (std::abs(static_cast<double>(values[x]) - expected) > 1e-7 * expected) {
            state.SkipWithError("the mask is not the Gaussian");
        }
    }
    state.SetItemsProcessed(state.iterations() * extent);
}
BENCHMARK(FillMask);

std::unique_ptr<CImage> indices(const CImage& image) {
    CFilterOrientations estimator(MAJOR_WIDTH, MINOR_WIDTH, nullptr, nullptr);
    CImage mask(IMAGE_BINARY_FG, image.Size(), CSize(0, 0, 0));
    std::fill_n(mask.Pixels<unsigned char>(), image.Size().Elements(), static_cast<unsigned char>(1));
    estimator.Compute(image, CFilterOrientations::eMedium, &mask);
    // The index image itself is not lent; angles stand for it.
    auto colatitude = std::make_unique<CImage>(IMAGE_GREY_F, image.Size(), CSize(0, 0, 0));
    CImage longitude(IMAGE_GREY_F, image.Size(), CSize(0, 0, 0));
    estimator.GetOrientations(*colatitude, longitude);
    return colatitude;
}

std::vector<double> medium_directions() {
    std::vector<double> directions;
    for (const Impl::SWeightedDirection& d : Impl::StPointsOnSphere::GetTable(1)) {
        directions.insert(directions.end(), {d.x, d.y, d.z});
    }
    return directions;
}

std::vector<unsigned char> plain_indices(const CImage& image) {
    return benchmarks::PlainFilterBank({image.Pixels<float>(), image.Size().Elements()}, EXTENT, PAD,
                                       static_cast<double>(MAJOR_WIDTH), static_cast<double>(MINOR_WIDTH),
                                       medium_directions());
}

void ComputeMedium(benchmark::State& state) {
    const auto image = fibers();
    std::unique_ptr<CImage> colatitude;
    for (auto _ : state) {
        colatitude = indices(*image);
    }
    // On a fiber both find the same but for answers equal to within rounding; elsewhere all answers are.
    const std::vector<unsigned char> expected = plain_indices(*image);
    const auto table = Impl::StPointsOnSphere::GetTable(1);
    std::size_t compared = 0;
    std::size_t differing = 0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (image->Pixels<float>()[i] > 0.0F) {
            const double theta = std::acos(table[expected[i]].z);
            differing += std::abs(static_cast<double>(colatitude->Pixels<float>()[i]) - theta) > 1e-6 ? 1 : 0;
            ++compared;
        }
    }
    if (compared == 0 || differing > compared / 200) {
        state.SkipWithError("the plain loop finds other directions");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(expected.size()));
}
BENCHMARK(ComputeMedium)->Unit(benchmark::kMillisecond)->Iterations(1);

void PlainLoopMedium(benchmark::State& state) {
    const auto image = fibers();
    std::vector<unsigned char> index;
    for (auto _ : state) {
        index = plain_indices(*image);
        benchmark::DoNotOptimize(index.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(index.size()));
}
BENCHMARK(PlainLoopMedium)->Unit(benchmark::kMillisecond)->Iterations(1);

/// One filter on cubes of good and bad extents, the frame included: their prime factors decide.
void FilterOneDirection(benchmark::State& state) {
    const long long extent = state.range(0);
    const CSize size(extent, extent, extent);
    CImage spectrum(IMAGE_COMPLEX_F, size, CSize(0, 0, 0));
    CImage buffer(IMAGE_COMPLEX_F, size, CSize(0, 0, 0));
    CImage response(IMAGE_GREY_F, size, CSize(0, 0, 0));
    const std::complex<float> value(1000.0F, 0.0F);
    const long long centre = extent / 2;
    spectrum.Pixels<std::complex<float>>()[(centre * extent + centre) * extent + centre] = value;
    CFilterOrientations estimator(MAJOR_WIDTH, MINOR_WIDTH, nullptr, nullptr);
    double direction[3] = {0.48, -0.6, 0.64};
    for (auto _ : state) {
        estimator.FilterImageFourier(response, buffer, spectrum, direction);
        benchmark::ClobberMemory();
    }
    // Frequency zero alone is a constant, which passes unchanged.
    const double expected = 1000.0 / static_cast<double>(size.Elements());
    if (std::abs(static_cast<double>(response.Pixels<float>()[extent]) - expected) > 1e-5 * expected) {
        state.SkipWithError("a constant does not pass");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(size.Elements()));
}
BENCHMARK(FilterOneDirection)
    ->ArgName("extent")
    ->Arg(144) // 2^4 3^2
    ->Arg(146) // 2 73
    ->Arg(147) // 3 7^2
    ->Arg(148) // 2^2 37
    ->Arg(150) // 2 3 5^2
    ->Unit(benchmark::kMillisecond);

} // namespace
} // namespace TEVRA
