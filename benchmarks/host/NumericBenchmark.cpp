// SPDX-License-Identifier: BSD-3-Clause
// Decompositions of small symmetric matrices: through the matrix interface, the bare kernel, and a general
// library's solver beside them. Every case checks its last result.

#include "Numeric/Matrix.h"
#include "VexoNumeric/Numeric.h"
#include "VexoNumeric/SymmetricEigen.h"

#include <Eigen/Eigenvalues>
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

namespace TEVRA {
namespace {

constexpr std::size_t MATRICES =
    4096; // few enough to stay in the cache, too many to learn the branches by heart

std::vector<CMatrix<double>> random_symmetric(std::size_t n) {
    std::mt19937_64 random(1);
    std::normal_distribution<double> element;
    std::vector<CMatrix<double>> matrices(MATRICES, CMatrix<double>(n, n));
    for (CMatrix<double>& matrix : matrices) {
        for (std::size_t row = 0; row < n; ++row) {
            for (std::size_t col = row; col < n; ++col) {
                matrix(row, col) = matrix(col, row) = element(random);
            }
        }
    }
    return matrices;
}

/// |A u - lambda v| of the first pair, where v = u up to sign.
double residual(const CMatrix<double>& a, const CMatrix<double>& u, const CMatrix<double>& s,
                const CMatrix<double>& v) {
    double worst = 0.0;
    for (std::size_t row = 0; row < a.Rows(); ++row) {
        double sum = 0.0;
        for (std::size_t col = 0; col < a.Rows(); ++col) {
            sum += a(row, col) * v(col, 0);
        }
        worst = std::max(worst, std::fabs(sum - s(0, 0) * u(row, 0)));
    }
    return worst;
}

void svd_of(benchmark::State& state, const std::vector<CMatrix<double>>& matrices) {
    const std::size_t n = matrices.front().Rows();
    CMatrix<double> u(n, n);
    CMatrix<double> s(n, 1);
    CMatrix<double> v(n, n);
    for ([[maybe_unused]] auto _ : state) {
        for (const CMatrix<double>& matrix : matrices) {
            benchmark::DoNotOptimize(CNumeric::Svd(matrix, u, s, v, true));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(MATRICES));
    if (!(residual(matrices.back(), u, s, v) < 1e-13)) {
        state.SkipWithError("wrong decomposition");
    }
}

void SvdOfSymmetric(benchmark::State& state) {
    svd_of(state, random_symmetric(static_cast<std::size_t>(state.range(0))));
}
BENCHMARK(SvdOfSymmetric)->Arg(2)->Arg(3)->Arg(4);

void SvdOfGeneral3x3(benchmark::State& state) {
    std::vector<CMatrix<double>> matrices = random_symmetric(3);
    for (CMatrix<double>& matrix : matrices) {
        matrix(0, 1) += 0.5;
    }
    svd_of(state, matrices);
}
BENCHMARK(SvdOfGeneral3x3);

void KernelOfSymmetric3x3(benchmark::State& state) {
    std::vector<SSymmetric3<double>> matrices;
    for (const CMatrix<double>& m : random_symmetric(3)) {
        matrices.push_back({m(0, 0), m(0, 1), m(0, 2), m(1, 1), m(1, 2), m(2, 2)});
    }
    SEigenSystem<double, 3> system{};
    for ([[maybe_unused]] auto _ : state) {
        for (const SSymmetric3<double>& matrix : matrices) {
            system = SymmetricEigen(matrix);
            benchmark::DoNotOptimize(system);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(MATRICES));
    const SSymmetric3<double>& last = matrices.back();
    const double trace = system.values[0] + system.values[1] + system.values[2];
    if (!(std::fabs(trace - (last.xx + last.yy + last.zz)) < 1e-13)) {
        state.SkipWithError("wrong eigenvalues");
    }
}
BENCHMARK(KernelOfSymmetric3x3);

void GeneralLibraryOfSymmetric3x3(benchmark::State& state) {
    std::vector<Eigen::Matrix3d> matrices;
    for (const CMatrix<double>& m : random_symmetric(3)) {
        Eigen::Matrix3d matrix;
        matrix << m(0, 0), m(0, 1), m(0, 2), m(1, 0), m(1, 1), m(1, 2), m(2, 0), m(2, 1), m(2, 2);
        matrices.push_back(matrix);
    }
    Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver;
    for ([[maybe_unused]] auto _ : state) {
        for (const Eigen::Matrix3d& matrix : matrices) {
            solver.compute(matrix);
            benchmark::DoNotOptimize(solver);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(MATRICES));
}
BENCHMARK(GeneralLibraryOfSymmetric3x3);

} // namespace
} // namespace TEVRA
