// SPDX-License-Identifier: BSD-3-Clause
#include "Numeric/Matrix.h"
#include "RandomSymmetric.h"
#include "VexoNumeric/Numeric.h"

#include <Eigen/Eigenvalues>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace TEVRA::test {
namespace {

/// An eigenvalue and its eigenvector.
struct SPair {
    double value;
    Eigen::VectorXd axis;
};

std::vector<SPair> pairs_of_svd(const CMatrix<double>& a) {
    const std::size_t n = a.Rows();
    CMatrix<double> u(n, n);
    CMatrix<double> s(n, 1);
    CMatrix<double> v(n, n);
    EXPECT_TRUE(CNumeric::Svd(a, u, s, v, true));
    std::vector<SPair> pairs;
    for (std::size_t k = 0; k < n; ++k) {
        SPair pair{0.0, Eigen::VectorXd(static_cast<Eigen::Index>(n))};
        double dot = 0.0;
        for (std::size_t i = 0; i < n; ++i) {
            pair.axis[static_cast<Eigen::Index>(i)] = u(i, k);
            dot += u(i, k) * v(i, k);
        }
        pair.value = dot < 0.0 ? -s(k, 0) : s(k, 0);
        pairs.push_back(pair);
    }
    std::ranges::sort(pairs, {}, &SPair::value);
    return pairs;
}

std::vector<SPair> pairs_of_second_solver(const CMatrix<double>& a) {
    const auto n = static_cast<Eigen::Index>(a.Rows());
    Eigen::MatrixXd matrix(n, n);
    for (Eigen::Index row = 0; row < n; ++row) {
        for (Eigen::Index col = 0; col < n; ++col) {
            matrix(row, col) = a(static_cast<std::size_t>(row), static_cast<std::size_t>(col));
        }
    }
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(matrix); // ascending
    EXPECT_EQ(solver.info(), Eigen::Success);
    std::vector<SPair> pairs;
    for (Eigen::Index k = 0; k < n; ++k) {
        pairs.push_back({solver.eigenvalues()[k], solver.eigenvectors().col(k)});
    }
    return pairs;
}

/// Distance of an eigenvalue to its nearest neighbour.
double gap_at(const std::vector<SPair>& pairs, std::size_t k) {
    double gap = std::numeric_limits<double>::infinity();
    for (std::size_t other = 0; other < pairs.size(); ++other) {
        if (other != k) {
            gap = std::min(gap, std::fabs(pairs[other].value - pairs[k].value));
        }
    }
    return gap;
}

class SvdAndASecondSolver : public testing::TestWithParam<SSymmetricKind> {};

TEST_P(SvdAndASecondSolver, AgreeOnEigenvaluesAndUpToSignOnEigenvectors) {
    CRandom random(21);
    for (int i = 0; i < 4000; ++i) {
        for (const std::size_t n : {2U, 3U}) {
            const CMatrix<double> a = GetParam().make(n, random);
            const std::vector<SPair> actual = pairs_of_svd(a);
            const std::vector<SPair> expected = pairs_of_second_solver(a);
            const double norm = std::max(std::fabs(expected.front().value), std::fabs(expected.back().value));
            // Both solve a matrix within some roundings of the norm: eigenvalues move by as much,
            // eigenvectors by as much over the distance to the next eigenvalue.
            const double rounding = 1e-14 * norm;
            for (std::size_t k = 0; k < n; ++k) {
                ASSERT_NEAR(actual[k].value, expected[k].value, rounding);
                const double gap = gap_at(expected, k);
                if (gap > 100.0 * rounding) {
                    const double sine =
                        (actual[k].axis - expected[k].axis * expected[k].axis.dot(actual[k].axis)).norm();
                    ASSERT_LE(sine, 1e-14 + 2.0 * rounding / gap);
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, SvdAndASecondSolver, testing::ValuesIn(SymmetricKinds()),
                         [](const auto& kind) { return NameForTest(kind.param.name); });

} // namespace
} // namespace TEVRA::test
