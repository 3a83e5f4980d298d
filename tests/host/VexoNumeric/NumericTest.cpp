// SPDX-License-Identifier: BSD-3-Clause
#include "VexoNumeric/Numeric.h"

#include "Numeric/Matrix.h"
#include "RandomSymmetric.h"
#include "SvdErrors.h"
#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <numbers>

namespace TEVRA::test {
namespace {

using Matrix = CMatrix<double>;

constexpr double TOLERANCE = 1e-13;

struct SDecomposition {
    explicit SDecomposition(const IMatrix<double>& a)
        : u(a.Rows(), a.Rows()), s(a.Rows(), 1), v(a.Rows(), a.Rows()),
          done(CNumeric::Svd(a, u, s, v, true)) {}

    Matrix u, s, v;
    bool done;
};

Matrix matrix_of(std::initializer_list<std::initializer_list<double>> rows) {
    Matrix matrix(rows.size(), rows.begin()->size());
    std::size_t row = 0;
    for (const auto& elements : rows) {
        std::size_t col = 0;
        for (const double element : elements) {
            matrix(row, col++) = element;
        }
        ++row;
    }
    return matrix;
}

std::string text_of(const IMatrix<double>& matrix) {
    std::ostringstream text;
    text << std::hexfloat;
    for (std::size_t row = 0; row < matrix.Rows(); ++row) {
        for (std::size_t col = 0; col < matrix.Cols(); ++col) {
            text << (col == 0 ? "\n" : " ") << matrix(row, col);
        }
    }
    return text.str();
}

testing::AssertionResult decomposes(const Matrix& a) {
    const SDecomposition svd(a);
    if (!svd.done) {
        return testing::AssertionFailure() << "refused" << text_of(a);
    }
    const SSvdErrors errors = ErrorsOf(a, svd.u, svd.s, svd.v);
    if (!Within(errors, TOLERANCE)) {
        return testing::AssertionFailure() << errors << text_of(a);
    }
    return testing::AssertionSuccess();
}

Matrix times_power_of_2(Matrix matrix, int exponent) {
    for (std::size_t row = 0; row < matrix.Rows(); ++row) {
        for (std::size_t col = 0; col < matrix.Cols(); ++col) {
            matrix(row, col) = std::ldexp(matrix(row, col), exponent);
        }
    }
    return matrix;
}

Matrix random_general(std::size_t n, CRandom& random) {
    Matrix matrix(n, n);
    for (std::size_t row = 0; row < n; ++row) {
        for (std::size_t col = 0; col < n; ++col) {
            matrix(row, col) = random.Normal();
        }
    }
    return matrix;
}

/// A matrix that the host knows nothing about, column by column in memory.
class CForeignMatrix : public IMatrix<double> {
  public:
    explicit CForeignMatrix(const IMatrix<double>& other)
        : m_rows(other.Rows()), m_elements(other.Rows() * other.Cols()) {
        for (std::size_t row = 0; row < other.Rows(); ++row) {
            for (std::size_t col = 0; col < other.Cols(); ++col) {
                (*this)(row, col) = other(row, col);
            }
        }
    }
    using IMatrix<double>::operator=;
    std::size_t Rows() const override { return m_rows; }
    std::size_t Cols() const override { return m_elements.size() / m_rows; }
    double& operator()(std::size_t row, std::size_t col) override {
        return m_elements.at(col * m_rows + row);
    }
    double operator()(std::size_t row, std::size_t col) const override {
        return m_elements.at(col * m_rows + row);
    }
    void Resize(std::size_t rows, std::size_t cols) override {
        m_elements.resize(rows * cols);
        m_rows = rows;
    }

  private:
    std::size_t m_rows;
    std::vector<double> m_elements;
};

class SvdOfSymmetricMatrices : public testing::TestWithParam<SSymmetricKind> {};

TEST_P(SvdOfSymmetricMatrices, HasSmallResidualOrthogonalVectorsAndDescendingValues) {
    CRandom random(1);
    for (int i = 0; i < 70000; ++i) { // of each kind and size: two million in all
        ASSERT_TRUE(decomposes(GetParam().make(2, random)));
        ASSERT_TRUE(decomposes(GetParam().make(3, random)));
    }
}

TEST_P(SvdOfSymmetricMatrices, KeepsItsAccuracyAtTheEndsOfTheRangeOfNumbers) {
    CRandom random(2);
    for (const int exponent :
         {-1074, -1070, -1060, -1040, -1022, -1000, -700, -500, -401, -399, 399, 401, 512, 700, 1000, 1015}) {
        for (int i = 0; i < 500; ++i) {
            ASSERT_TRUE(decomposes(times_power_of_2(GetParam().make(2, random), exponent))) << exponent;
            ASSERT_TRUE(decomposes(times_power_of_2(GetParam().make(3, random), exponent))) << exponent;
        }
    }
}

TEST_P(SvdOfSymmetricMatrices, OfOtherSizesIsAsAccurate) {
    CRandom random(3);
    for (const std::size_t n : {1U, 4U, 7U}) {
        for (int i = 0; i < 300; ++i) {
            ASSERT_TRUE(decomposes(GetParam().make(n, random)));
        }
    }
}

TEST_P(SvdOfSymmetricMatrices, HasRightVectorsThatAreTheLeftOnesUpToSign) {
    CRandom random(4);
    for (int i = 0; i < 1000; ++i) {
        for (const std::size_t n : {2U, 3U}) {
            const Matrix a = GetParam().make(n, random);
            const SDecomposition svd(a);
            for (std::size_t k = 0; k < n; ++k) {
                double dot = 0.0;
                for (std::size_t row = 0; row < n; ++row) {
                    dot += svd.u(row, k) * svd.v(row, k);
                }
                const double sign = dot < 0.0 ? -1.0 : 1.0;
                for (std::size_t row = 0; row < n; ++row) {
                    ASSERT_EQ(svd.v(row, k), sign * svd.u(row, k)) << text_of(a);
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, SvdOfSymmetricMatrices, testing::ValuesIn(SymmetricKinds()),
                         [](const auto& kind) { return NameForTest(kind.param.name); });

TEST(Svd, OfGeneralMatricesIsAccurate) {
    CRandom random(5);
    for (const std::size_t n : {1U, 2U, 3U, 4U, 7U}) {
        for (int i = 0; i < 2000; ++i) {
            ASSERT_TRUE(decomposes(random_general(n, random)));
        }
    }
}

TEST(Svd, OfGeneralMatricesKeepsItsAccuracyAtTheEndsOfTheRangeOfNumbers) {
    CRandom random(6);
    for (const int exponent : {-1074, -1070, -1040, -1000, 700, 1000, 1015}) {
        for (const std::size_t n : {1U, 2U, 3U, 4U, 7U}) {
            ASSERT_TRUE(decomposes(times_power_of_2(random_general(n, random), exponent))) << exponent;
        }
    }
}

TEST(Svd, OfGeneralMatricesWithoutFullRankIsAccurate) {
    CRandom random(7);
    for (const std::size_t n : {2U, 3U, 4U, 7U}) {
        for (int i = 0; i < 500; ++i) {
            Matrix a = random_general(n, random);
            for (std::size_t row = 0; row < n; ++row) {
                a(row, n - 1) = a(row, 0); // two equal columns
            }
            ASSERT_TRUE(decomposes(a));
            EXPECT_LE(SDecomposition(a).s(n - 1, 0), TOLERANCE * LargestElement(a));
        }
    }
}

TEST(Svd, OfARotationHasUnitValues) {
    const double c = std::cos(0.3);
    const double s = std::sin(0.3);
    const Matrix a = matrix_of({{c, -s, 0}, {s, c, 0}, {0, 0, 1}});
    EXPECT_TRUE(decomposes(a));
    const SDecomposition svd(a);
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_NEAR(svd.s(k, 0), 1.0, 1e-15);
    }
}

TEST(Svd, OfAShearHasTheGoldenRatioAndItsInverse) {
    const SDecomposition svd(matrix_of({{1, 1}, {0, 1}}));
    EXPECT_NEAR(svd.s(0, 0), std::numbers::phi, 1e-15);
    EXPECT_NEAR(svd.s(1, 0), 1.0 / std::numbers::phi, 1e-15);
}

TEST(Svd, OfADiagonalTensorGivesItsElementsInOrder) {
    const SDecomposition svd(matrix_of({{0.2, 0, 0}, {0, 0.7, 0}, {0, 0, 0.1}}));
    EXPECT_EQ(svd.s, matrix_of({{0.7}, {0.2}, {0.1}}));
    EXPECT_EQ(svd.u, matrix_of({{0, 1, 0}, {1, 0, 0}, {0, 0, 1}}));
    EXPECT_EQ(svd.v, svd.u);
}

TEST(Svd, OfANegativeEigenvalueTurnsTheRightVectorRound) {
    const SDecomposition svd(matrix_of({{1, 0, 0}, {0, -3, 0}, {0, 0, -2}}));
    EXPECT_EQ(svd.s, matrix_of({{3}, {2}, {1}}));
    EXPECT_EQ(svd.u, matrix_of({{0, 0, 1}, {1, 0, 0}, {0, 1, 0}}));
    EXPECT_EQ(svd.v, matrix_of({{0, 0, 1}, {-1, 0, 0}, {0, -1, 0}}));
}

TEST(Svd, OfASymmetric2x2HasItsClosedForm) {
    const SDecomposition svd(matrix_of({{2, 1}, {1, 2}}));
    const double half = std::sqrt(0.5);
    EXPECT_NEAR(svd.s(0, 0), 3.0, 1e-15);
    EXPECT_NEAR(svd.s(1, 0), 1.0, 1e-15);
    EXPECT_NEAR(svd.u(0, 0), half, 1e-15);
    EXPECT_NEAR(svd.u(1, 0), half, 1e-15);
    EXPECT_NEAR(std::fabs(svd.u(0, 1)), half, 1e-15);
    EXPECT_NEAR(svd.u(0, 1) + svd.u(1, 1), 0.0, 1e-15);
}

TEST(Svd, OfASymmetric3x3HasItsClosedForm) {
    // Second differences of a closed string of three: eigenvalues 2 - sqrt 2, 2, 2 + sqrt 2.
    const SDecomposition svd(matrix_of({{2, -1, 0}, {-1, 2, -1}, {0, -1, 2}}));
    const double root = std::numbers::sqrt2;
    EXPECT_NEAR(svd.s(0, 0), 2.0 + root, 2e-15);
    EXPECT_NEAR(svd.s(1, 0), 2.0, 2e-15);
    EXPECT_NEAR(svd.s(2, 0), 2.0 - root, 2e-15);
    const Matrix expected =
        matrix_of({{-0.5, root / 2, 0.5}, {root / 2, 0, root / 2}, {-0.5, -root / 2, 0.5}});
    for (std::size_t k : {0U, 2U}) {
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(svd.u(i, k), expected(i, k), 2e-15);
        }
    }
    EXPECT_NEAR(std::fabs(svd.u(0, 1) - svd.u(2, 1)), root, 2e-15);
    EXPECT_NEAR(svd.u(1, 1), 0.0, 2e-15);
}

TEST(Svd, OfTheZeroMatrixHasCoordinateAxes) {
    for (const std::size_t n : {2U, 3U}) {
        const SDecomposition svd{Matrix(n, n)};
        Matrix one(n, n);
        for (std::size_t i = 0; i < n; ++i) {
            one(i, i) = 1.0;
        }
        EXPECT_TRUE(svd.done);
        EXPECT_EQ(svd.s, Matrix(n, 1));
        EXPECT_EQ(svd.u, one);
        EXPECT_EQ(svd.v, one);
    }
    EXPECT_TRUE(decomposes(Matrix(1, 1)));
    EXPECT_TRUE(decomposes(Matrix(5, 5)));
}

TEST(Svd, OfAnEmptyMatrixIsEmpty) {
    EXPECT_TRUE(SDecomposition(Matrix(0, 0)).done);
}

TEST(Svd, OfAMatrixThatMissesSymmetryByOneBitIsAccurate) {
    CRandom random(8);
    for (int i = 0; i < 1000; ++i) {
        Matrix a = SymmetricFromElements(3, [&] { return random.Normal(); });
        a(2, 1) = std::nextafter(a(2, 1), 10.0);
        ASSERT_TRUE(decomposes(a));
    }
}

TEST(Svd, RefusesValuesThatAreNotFiniteAndLeavesTheResultsAlone) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
    for (const std::size_t n : {1U, 2U, 3U, 4U}) {
        for (const double bad : {infinity, -infinity, notANumber}) {
            for (std::size_t row = 0; row < n; ++row) {
                for (std::size_t col = 0; col < n; ++col) {
                    Matrix a(n, n);
                    a(row, col) = bad;
                    a(col, row) = bad;
                    Matrix u(n, n);
                    Matrix s(n, 1);
                    Matrix v(n, n);
                    u += 5.0;
                    s += 6.0;
                    v += 7.0;
                    const Matrix oldU = u;
                    const Matrix oldS = s;
                    const Matrix oldV = v;
                    EXPECT_FALSE(CNumeric::Svd(a, u, s, v, true));
                    EXPECT_EQ(u, oldU);
                    EXPECT_EQ(s, oldS);
                    EXPECT_EQ(v, oldV);
                }
            }
        }
    }
}

TEST(Svd, RefusesMatricesWhoseSingularValuesExceedTheRangeOfNumbers) {
    constexpr double largest = std::numeric_limits<double>::max();
    EXPECT_FALSE(SDecomposition(matrix_of({{largest, largest}, {largest, largest}})).done);
    EXPECT_FALSE(SDecomposition(matrix_of({{largest, -largest}, {largest, largest}})).done);
    const Matrix diagonal = matrix_of({{largest, 0, 0}, {0, -largest, 0}, {0, 0, largest}});
    EXPECT_TRUE(decomposes(diagonal));
}

TEST(Svd, RefusesWrongShapes) {
    const auto expect = [](std::size_t aCols, std::size_t uRows, std::size_t sRows, std::size_t vCols,
                           const char* text) {
        const Matrix a(3, aCols);
        Matrix u(uRows, 3);
        Matrix s(sRows, 1);
        Matrix v(3, vCols);
        const SThrown expected{text, "TEVRA::CNumeric::Svd", "host/VexoNumeric/Numeric", 0};
        ExpectThrown<CExBadParam>([&] { CNumeric::Svd(a, u, s, v, true); }, expected);
        CForeignMatrix foreign(u);
        ExpectThrown<CExBadParam>([&] { CNumeric::Svd(a, foreign, s, v, true); }, expected);
    };
    expect(2, 3, 3, 3, "A must be a 3 x 3 matrix (but it is 3 x 2).");
    expect(3, 2, 3, 3, "U must be a 3 x 3 matrix (but it is 2 x 3).");
    expect(3, 3, 4, 3, "S must be a 3 x 1 matrix (but it is 4 x 1).");
    expect(3, 3, 3, 1, "V must be a 3 x 3 matrix (but it is 3 x 1).");
}

TEST(Svd, RefusesOneMatrixForTwoResults) {
    const Matrix a(2, 2);
    Matrix u(2, 2);
    Matrix s(2, 1);
    ExpectThrown<CExBadParam>(
        [&] { CNumeric::Svd(a, u, s, u, true); },
        {"U, S and V must be different matrices.", "TEVRA::CNumeric::Svd", "host/VexoNumeric/Numeric", 0});
}

TEST(Svd, TakesAResultMatrixAsInput) {
    CRandom random(9);
    for (const std::size_t n : {2U, 3U, 4U}) {
        for (const Matrix& a :
             {SymmetricFromElements(n, [&] { return random.Normal(); }), random_general(n, random)}) {
            const SDecomposition expected(a);
            Matrix inU = a;
            Matrix inV = a;
            Matrix other(n, n);
            Matrix s(n, 1);
            EXPECT_TRUE(CNumeric::Svd(inU, inU, s, other, true));
            EXPECT_TRUE(inU == expected.u && s == expected.s && other == expected.v);
            EXPECT_TRUE(CNumeric::Svd(inV, other, s, inV, true));
            EXPECT_TRUE(other == expected.u && s == expected.s && inV == expected.v);
        }
    }
}

TEST(Svd, GivesTheSameForAnyKindOfMatrix) {
    CRandom random(10);
    for (const std::size_t n : {2U, 3U, 4U}) {
        const Matrix a = SymmetricFromElements(n, [&] { return random.Normal(); });
        const SDecomposition expected(a);
        const CForeignMatrix foreign(a);
        CForeignMatrix u{Matrix(n, n)};
        CForeignMatrix s{Matrix(n, 1)};
        CForeignMatrix v{Matrix(n, n)};
        EXPECT_TRUE(CNumeric::Svd(foreign, u, s, v, true));
        EXPECT_TRUE(u == expected.u && s == expected.s && v == expected.v);
    }
}

TEST(Svd, IsADecompositionWithoutAskingForOrderToo) {
    CRandom random(11);
    for (const std::size_t n : {2U, 3U, 4U}) {
        const Matrix a = random_general(n, random);
        Matrix u(n, n);
        Matrix s(n, 1);
        Matrix v(n, n);
        EXPECT_TRUE(CNumeric::Svd(a, u, s, v, false));
        EXPECT_TRUE(Within(ErrorsOf(a, u, s, v), TOLERANCE));
    }
}

} // namespace
} // namespace TEVRA::test
