// SPDX-License-Identifier: BSD-3-Clause
// The Hessian road: per-voxel kernels, tile sums, and the estimator as a whole. Each case checks its result.

#include "FilterOrientations/HessianAxis.h"
#include "FilterOrientations/HessianOrientations.h"
#include "FilterOrientations/OrientationSums.h"
#include "Numeric/Matrix.h"
#include "volume/Phantom.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace TEVRA {
namespace {

constexpr double SIGMA_PX = 3.0;
constexpr double FOREGROUND_SHARE = 0.25;

/// A volume with a quarter of its voxels foreground, made once per size.
const volume::SPhantom& phantom(long long extent) {
    static std::vector<std::pair<long long, volume::SPhantom>> made;
    for (const auto& [size, ready] : made) {
        if (size == extent) {
            return ready;
        }
    }
    volume::SPhantomOptions options;
    options.sizePx = CSize(extent, extent, extent);
    options.fiberRadiusPx = SIGMA_PX;
    options.places = volume::SRandomPlaces{FOREGROUND_SHARE};
    return made.emplace_back(extent, volume::MakePhantom(options)).second;
}

std::vector<std::array<double, 6>> random_hessians(std::size_t count) {
    std::mt19937_64 random(1);
    std::normal_distribution<double> entry;
    std::vector<std::array<double, 6>> hessians(count);
    for (auto& hessian : hessians) {
        for (double& value : hessian) {
            value = entry(random);
        }
    }
    return hessians;
}

std::array<double, 3> axis_of(Impl::CHessianAxis<3>& kernel, const std::array<double, 6>& hessian) {
    std::size_t entry = 0;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t col = row; col < 3; ++col) {
            kernel.Set(row, col, hessian[entry++]);
        }
    }
    std::array<double, 3> axis{};
    if (!kernel.Compute(axis)) {
        axis = {};
    }
    return axis;
}

void AxisOfHessian(benchmark::State& state) {
    const auto hessians = random_hessians(4096);
    Impl::CHessianAxis<3> kernel(Impl::EEigenvalue::smallest);
    for (auto _ : state) {
        for (const auto& hessian : hessians) {
            benchmark::DoNotOptimize(axis_of(kernel, hessian));
        }
    }
    const auto axis = axis_of(kernel, hessians[0]);
    if (std::abs(axis[0] * axis[0] + axis[1] * axis[1] + axis[2] * axis[2] - 1.0) > 1e-12) {
        state.SkipWithError("the axis is not a unit vector");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(hessians.size()));
}
BENCHMARK(AxisOfHessian);

void AnglesOfAxis(benchmark::State& state) {
    Impl::CHessianAxis<3> kernel(Impl::EEigenvalue::smallest);
    std::vector<std::array<double, 3>> axes;
    for (const auto& hessian : random_hessians(4096)) {
        axes.push_back(axis_of(kernel, hessian));
    }
    for (auto _ : state) {
        for (const auto& axis : axes) {
            benchmark::DoNotOptimize(Impl::AnglesOfAxis(axis));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(axes.size()));
}
BENCHMARK(AnglesOfAxis);

/// Sums over the whole image; `range(1)` is the order of the tensor.
void TensorSums(benchmark::State& state) {
    const long extent = static_cast<long>(state.range(0));
    const volume::SPhantom& truth = phantom(extent);
    CHessianOrientations estimator;
    estimator.compute(*truth.image, SIGMA_PX, nullptr, CHessianOrientations::eEVSmallest);
    CMatrix<double> tensor(3, 3);
    const CBox everything(0, 0, 0, extent, extent, extent);
    long long count = 0;
    for (auto _ : state) {
        CTensorRank4 tensor4(3, 3, 3, 3);
        count =
            estimator.OrientationTensor(tensor, everything, false, state.range(1) == 4 ? &tensor4 : nullptr);
        benchmark::DoNotOptimize(count);
    }
    const double trace = tensor(0, 0) + tensor(1, 1) + tensor(2, 2);
    if (count == 0 || std::abs(trace / static_cast<double>(count) - 1.0) > 1e-6) {
        state.SkipWithError("the trace is not the count");
    }
    state.SetItemsProcessed(state.iterations() * extent * extent * extent);
}
BENCHMARK(TensorSums)->Args({128, 2})->Args({128, 4})->Unit(benchmark::kMillisecond);

/// The estimator as a whole, from the image to the angle maps.
void Compute(benchmark::State& state) {
    const long long extent = state.range(0);
    const volume::SPhantom& truth = phantom(extent);
    CHessianOrientations estimator;
    for (auto _ : state) {
        estimator.compute(*truth.image, SIGMA_PX, nullptr, CHessianOrientations::eEVSmallest);
    }
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    estimator.get(theta, phi);
    const std::unique_ptr<IImage::IAccess> access(theta->CreateAccess(true));
    const auto* angles = static_cast<const float*>(access->ConstData());
    const auto voxels = static_cast<long long>(theta->Size().Elements());
    long long foreground = 0;
    for (long long i = 0; i < voxels; ++i) {
        foreground += angles[i] >= 0.0F ? 1 : 0;
    }
    if (foreground == 0) {
        state.SkipWithError("no voxel has a direction");
    }
    state.counters["foreground"] = static_cast<double>(foreground) / static_cast<double>(voxels);
    state.SetItemsProcessed(state.iterations() * voxels);
}
BENCHMARK(Compute)->Arg(128)->Arg(256)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

/// A copy of the image's size in float: what memory alone allows.
void CopyOfFloats(benchmark::State& state) {
    const auto extent = static_cast<std::size_t>(state.range(0));
    std::vector<float> from(extent * extent * extent, 1.0F);
    std::vector<float> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size() * sizeof(float));
        benchmark::ClobberMemory();
    }
    if (to.back() != 1.0F) {
        state.SkipWithError("nothing was copied");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(from.size()));
}
BENCHMARK(CopyOfFloats)->Arg(256)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace TEVRA
