// SPDX-License-Identifier: BSD-3-Clause
// The Hessian road: per-voxel kernels, tile sums, and the estimator as a whole. Each case checks its result.

#include "Axes/AxisAngles.h"
#include "Axes/HessianAxis.h"
#include "Axes/HessianKernel.h"
#include "Axes/OrientationSums.h"
#include "Axes/RowKernels.h"
#include "FilterOrientations/FilterOrientations.h"
#include "FilterOrientations/HessianOrientations.h"
#include "Numeric/InstructionSet.h"
#include "Numeric/Matrix.h"
#include "Utils/HistogramBin.h"
#include "Utils/Threshold.h"
#include "VexoFilter/YoungVanVliet.h"
#include "phantom/Phantom.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace TEVRA {
namespace {

constexpr double SIGMA_PX = 3.0;
/// Smoothing widens fibers: this share of the volume makes a quarter of it foreground.
constexpr double VOLUME_FRACTION = 0.15;

/// A volume with a quarter of its voxels foreground, made once per size.
const phantom::SPhantom& phantom(long long extent) {
    static std::vector<std::pair<long long, phantom::SPhantom>> made;
    for (const auto& [size, ready] : made) {
        if (size == extent) {
            return ready;
        }
    }
    phantom::SPhantomOptions options;
    options.sizePx = CSize(extent, extent, extent);
    options.fiberRadiusPx = SIGMA_PX;
    options.places = phantom::SRandomPlaces{VOLUME_FRACTION};
    return made.emplace_back(extent, phantom::MakePhantom(options)).second;
}

/// As many random Hessians as a row of an image.
constexpr std::size_t ROW = 512;

struct SHessianRow {
    std::array<std::vector<float>, 6> entries; // xx, xy, xz, yy, yz, zz

    Impl::SymmetricRow<3> Pointers() const {
        Impl::SymmetricRow<3> rows{};
        for (std::size_t entry = 0; entry < rows.size(); ++entry) {
            rows[entry] = entries[entry].data();
        }
        return rows;
    }
};

SHessianRow random_hessians() {
    std::mt19937_64 random(1);
    std::normal_distribution<float> normal;
    SHessianRow row;
    for (auto& entry : row.entries) {
        entry.resize(ROW);
        for (float& value : entry) {
            value = normal(random);
        }
    }
    return row;
}

void load(const SHessianRow& hessians, std::size_t x, Impl::CHessianAxis<3>& kernel) {
    std::size_t entry = 0;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t col = row; col < 3; ++col) {
            kernel.Set(row, col, static_cast<double>(hessians.entries[entry++][x]));
        }
    }
}

/// In closed form, or by the decomposition where that finds none.
bool find_axis(const SHessianRow& hessians, std::size_t x, Impl::CHessianAxis<3>& kernel,
               std::array<double, 3>& axis) {
    const auto entry = [&](std::size_t number) { return static_cast<double>(hessians.entries[number][x]); };
    const auto closed = Impl::EigenAxis<true>(
        Impl::SHessian3<double>{entry(0), entry(1), entry(2), entry(3), entry(4), entry(5)});
    if (closed.isFound) {
        axis = {closed.axis.x, closed.axis.y, closed.axis.z};
        return true;
    }
    load(hessians, x, kernel);
    return kernel.Decompose(axis);
}

enum class EWay { closedForm, decomposition };

/// One Hessian after the other; angles not included.
void AxisOfHessian(benchmark::State& state, EWay way) {
    const SHessianRow hessians = random_hessians();
    Impl::CHessianAxis<3> kernel(Impl::EEigenvalue::smallest);
    std::array<double, 3> axis{};
    bool isFound = true;
    for (auto _ : state) {
        for (std::size_t x = 0; x < ROW; ++x) {
            if (way == EWay::closedForm) {
                isFound = find_axis(hessians, x, kernel, axis) && isFound;
            } else {
                load(hessians, x, kernel);
                isFound = kernel.Decompose(axis) && isFound;
            }
            benchmark::DoNotOptimize(axis);
        }
    }
    if (!isFound || std::abs(axis[0] * axis[0] + axis[1] * axis[1] + axis[2] * axis[2] - 1.0) > 1e-12) {
        state.SkipWithError("the axis is not a unit vector");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(ROW));
}
BENCHMARK_CAPTURE(AxisOfHessian, ClosedForm, EWay::closedForm);
BENCHMARK_CAPTURE(AxisOfHessian, Decomposition, EWay::decomposition);

void AnglesOfAxis(benchmark::State& state) {
    const SHessianRow hessians = random_hessians();
    Impl::CHessianAxis<3> kernel(Impl::EEigenvalue::smallest);
    std::vector<std::array<double, 3>> axes(ROW);
    for (std::size_t x = 0; x < ROW; ++x) {
        if (!find_axis(hessians, x, kernel, axes[x])) {
            state.SkipWithError("no axis");
            return;
        }
    }
    for (auto _ : state) {
        for (const auto& axis : axes) {
            benchmark::DoNotOptimize(Impl::AnglesOfAxis(axis));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(axes.size()));
}
BENCHMARK(AnglesOfAxis);

/// The instruction set of the case's argument; false if the processor has not got it.
bool choose(benchmark::State& state, Impl::EInstructionSet& set) {
    set = Impl::INSTRUCTION_SETS[static_cast<std::size_t>(state.range(0))];
    state.SetLabel(std::string(Impl::NameOf(set)));
    if (!Impl::IsSupported(set)) {
        state.SkipWithError("not supported by this processor");
        return false;
    }
    return true;
}

/// Hessian to angles, per foreground voxel. `range(0)`: instruction set, `range(1)`: percent of foreground,
/// in runs as fibers have them.
void AxesOfRow(benchmark::State& state) {
    Impl::EInstructionSet set{};
    if (!choose(state, set)) {
        return;
    }
    const SHessianRow hessians = random_hessians();
    std::vector<unsigned char> foreground(ROW);
    for (std::size_t x = 0; x < ROW; ++x) {
        foreground[x] = static_cast<long>(x % 64) * 100 < 64 * state.range(1) ? 1 : 0;
    }
    std::vector<float> theta(ROW);
    std::vector<float> phi(ROW);
    std::size_t found = 0;
    for (auto _ : state) {
        found = Impl::AxesOfRow<3>(hessians.Pointers(), foreground.data(), ROW, Impl::EEigenvalue::smallest,
                                   {theta.data(), phi.data()}, Impl::EPlaces::inRow, set);
        benchmark::ClobberMemory();
    }
    if (found != static_cast<std::size_t>(std::count(foreground.begin(), foreground.end(), 1))) {
        state.SkipWithError("an axis is missing");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(found));
}
BENCHMARK(AxesOfRow)->ArgsProduct({{0, 1, 2}, {25, 100}});

/// Angles to sums, per voxel of a row a quarter of which is foreground. `range(1)`: order of the tensor.
void AddRow(benchmark::State& state) {
    Impl::EInstructionSet set{};
    if (!choose(state, set)) {
        return;
    }
    std::vector<float> theta(ROW, Impl::NO_COLATITUDE);
    std::vector<float> phi(ROW, Impl::NO_ANGLE);
    std::mt19937_64 random(1);
    std::uniform_real_distribution<float> unit(0.0F, 1.0F);
    for (std::size_t x = 0; x < ROW; ++x) {
        if (x % 64 < 16) {
            theta[x] = unit(random) * 1.57F;
            phi[x] = unit(random) * 3.14F;
        }
    }
    Impl::CSecondOrderSums<3> second;
    Impl::CFourthOrderSums<3> fourth;
    for (auto _ : state) {
        Impl::AddRow<3>(second, state.range(1) == 4 ? &fourth : nullptr, {theta.data(), phi.data()}, ROW,
                        set);
        benchmark::DoNotOptimize(second);
    }
    CMatrix<double> tensor(3, 3);
    second.CopyTo(tensor);
    const double trace = tensor(0, 0) + tensor(1, 1) + tensor(2, 2);
    if (std::abs(trace / static_cast<double>(second.Count()) - 1.0) > 1e-6) {
        state.SkipWithError("the trace is not the count");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(ROW));
}
BENCHMARK(AddRow)->ArgsProduct({{0, 1, 2}, {2, 4}});

/// Sums over the whole image; `range(1)` is the order of the tensor.
void TensorSums(benchmark::State& state) {
    const long extent = static_cast<long>(state.range(0));
    const phantom::SPhantom& truth = phantom(extent);
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
BENCHMARK(TensorSums)->Args({128, 2})->Args({128, 4})->Args({256, 2})->Unit(benchmark::kMillisecond);

/// The estimator as a whole, from the image to the angle maps.
void Compute(benchmark::State& state) {
    const long long extent = state.range(0);
    const phantom::SPhantom& truth = phantom(extent);
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

std::unique_ptr<CImage> smoothed_phantom(long long extent) {
    auto smoothed = std::make_unique<CImage>(IMAGE_GREY_F, CSize(extent, extent, extent), CSize(0, 0, 0));
    CYoungVanVliet(SIGMA_PX, nullptr, nullptr).gauss(*smoothed, *phantom(extent).image);
    return smoothed;
}

/// Range, histogram and threshold of the smoothed image.
void ComputeThreshold(benchmark::State& state) {
    const auto smoothed = smoothed_phantom(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(CFilterOrientations::ComputeThreshold(*smoothed, 1.25));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(smoothed->Size().Elements()));
}
BENCHMARK(ComputeThreshold)->Arg(128)->Arg(256)->Unit(benchmark::kMillisecond);

/// The histogram alone, one value after the other.
void PlainHistogram(benchmark::State& state) {
    const auto smoothed = smoothed_phantom(state.range(0));
    const auto* const values = smoothed->Pixels<float>();
    const auto count = static_cast<std::size_t>(smoothed->Size().Elements());
    const auto [min, max] = std::minmax_element(values, values + count);
    for (auto _ : state) {
        std::vector<unsigned long long> histogram(Impl::FLOAT_HISTOGRAM_BINS);
        for (std::size_t i = 0; i < count; ++i) {
            ++histogram[Impl::HistogramBin(values[i], *min, *max, histogram.size())];
        }
        benchmark::DoNotOptimize(histogram.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(count));
}
BENCHMARK(PlainHistogram)->Arg(256)->Unit(benchmark::kMillisecond);

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
