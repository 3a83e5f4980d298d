// SPDX-License-Identifier: BSD-3-Clause
#include "Numeric/Matrix.h"

#include "support/ThrownException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <memory>
#include <ostream>
#include <random>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

using Elements = std::vector<double>;

CMatrix<double> make_matrix(std::size_t rows, std::size_t cols, const Elements& rowMajor) {
    CMatrix<double> matrix(rows, cols);
    for (std::size_t i = 0; i < rowMajor.size(); ++i) {
        matrix(i / cols, i % cols) = rowMajor[i];
    }
    return matrix;
}

CMatrix<double> random_matrix(std::size_t rows, std::size_t cols, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> uniform(-2.0, 2.0);
    CMatrix<double> matrix(rows, cols);
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t col = 0; col < cols; ++col) {
            matrix(row, col) = uniform(generator);
        }
    }
    return matrix;
}

Elements elements_of(const IMatrix<double>& matrix) {
    Elements elements;
    for (std::size_t row = 0; row < matrix.Rows(); ++row) {
        for (std::size_t col = 0; col < matrix.Cols(); ++col) {
            elements.push_back(matrix(row, col));
        }
    }
    return elements;
}

void expect_matrix(const IMatrix<double>& matrix, std::size_t rows, std::size_t cols,
                   const Elements& rowMajor) {
    EXPECT_EQ(matrix.Rows(), rows);
    EXPECT_EQ(matrix.Cols(), cols);
    EXPECT_EQ(elements_of(matrix), rowMajor);
}

/// Another implementation of the interface: column by column, to show that the operations need no more of it
/// than its six pure members.
class CColumnMajorMatrix : public IMatrix<double> {
  public:
    CColumnMajorMatrix(std::size_t rows, std::size_t cols) : m_rows(rows), m_columns(cols, Elements(rows)) {}

    using IMatrix<double>::operator=;
    std::size_t Rows() const override { return m_rows; }
    std::size_t Cols() const override { return m_columns.size(); }
    double& operator()(std::size_t row, std::size_t col) override { return m_columns.at(col).at(row); }
    double operator()(std::size_t row, std::size_t col) const override { return m_columns.at(col).at(row); }
    void Resize(std::size_t rows, std::size_t cols) override {
        m_rows = rows;
        m_columns.assign(cols, Elements(rows, std::numeric_limits<double>::quiet_NaN()));
    }

  private:
    std::size_t m_rows;
    std::vector<Elements> m_columns;
};

CColumnMajorMatrix make_column_major(std::size_t rows, std::size_t cols, const Elements& rowMajor) {
    CColumnMajorMatrix matrix(rows, cols);
    for (std::size_t i = 0; i < rowMajor.size(); ++i) {
        matrix(i / cols, i % cols) = rowMajor[i];
    }
    return matrix;
}

/// Assigns through the interface, as the host's decomposition does.
IMatrix<double>& assign(IMatrix<double>& target, const IMatrix<double>& source) {
    return target = source;
}

const double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

struct SShape {
    std::size_t rows;
    std::size_t inner;
    std::size_t cols;
};

void PrintTo(const SShape& shape, std::ostream* out) {
    *out << shape.rows << " x " << shape.inner << " x " << shape.cols;
}

class MatrixShapes : public testing::TestWithParam<SShape> {};

INSTANTIATE_TEST_SUITE_P(AwkwardOnesToo, MatrixShapes,
                         testing::Values(SShape{0, 0, 0}, SShape{1, 1, 1}, SShape{2, 3, 1}, SShape{3, 3, 3},
                                         SShape{1, 4, 2}, SShape{5, 2, 7}, SShape{2, 0, 3}, SShape{0, 3, 2}));

} // namespace

TEST(Matrix, IsFilledWithZerosWhenMade) {
    expect_matrix(CMatrix<double>(2, 3), 2, 3, {0, 0, 0, 0, 0, 0});
}

TEST(Matrix, IsDeletedThroughItsInterface) {
    static_assert(std::has_virtual_destructor_v<IMatrix<double>>);
    const std::unique_ptr<IMatrix<double>> matrix = std::make_unique<CMatrix<double>>(3, 3);
    EXPECT_EQ(matrix->Rows(), 3U);
}

TEST(Matrix, InterfaceHasPureAccessAndOtherwiseImplementedOperations) {
    static_assert(std::is_abstract_v<IMatrix<double>>);
    static_assert(!std::is_abstract_v<CColumnMajorMatrix>);
    static_assert(std::is_same_v<decltype(std::declval<IMatrix<double>&>() *= 2.0), IMatrix<double>&>);
    static_assert(std::is_same_v<decltype(std::declval<IMatrix<double>&>().Transpose()), void>);
    static_assert(std::is_same_v<decltype(std::declval<IMatrix<double>&>().Resize(1, 1)), void>);
}

TEST(Matrix, EveryAccessToAnEmptyMatrixThrows) {
    CMatrix<double> matrix(0, 0);
    EXPECT_THROW(matrix(0, 0), CException);
    EXPECT_THROW(std::as_const(matrix)(0, 0), CException);
    EXPECT_THROW(matrix(1, 0), CException);
}

TEST(Matrix, AddingAnEmptyMatrixToAnEmptyMatrixChangesNothing) {
    CMatrix<double> matrix(0, 0);
    EXPECT_NO_THROW(matrix += CMatrix<double>(0, 0));
    expect_matrix(matrix, 0, 0, {});
}

TEST(Matrix, ReadAccessBehindTheLastRowReportsWithABlankAfterBounds) {
    const CMatrix<double> matrix(2, 3);
    EXPECT_EQ(test::MessageOf([&] { matrix(2, 0); }),
              "Index exceeds matrix bounds. Tried to access index (2,0) but Matrix size is 2-by-3");
}

TEST(Matrix, WriteAccessBehindTheLastRowReportsWithoutABlankAfterBounds) {
    CMatrix<double> matrix(2, 3);
    EXPECT_EQ(test::MessageOf([&] { matrix(2, 0) = 1.0; }),
              "Index exceeds matrix bounds.Tried to access index (2,0) but Matrix size is 2-by-3");
}

TEST(Matrix, ANegativeIndexFailsTheBoundsCheck) {
    CMatrix<double> matrix(2, 3);
    EXPECT_THROW(matrix(static_cast<std::size_t>(-1), 0), CException);
    EXPECT_THROW(std::as_const(matrix)(0, static_cast<std::size_t>(-1)), CException);
}

TEST(Matrix, ColumnsAreCheckedAgainstTheNumberOfColumns) {
    CMatrix<double> matrix(3, 2);
    EXPECT_NO_THROW(matrix(2, 1));
    EXPECT_THROW(matrix(1, 2), CException);
    EXPECT_THROW(std::as_const(matrix)(1, 2), CException);
}

TEST(Matrix, ResizeKeepsElementsAtTheirLinearPositions) {
    CMatrix<double> matrix = make_matrix(2, 3, {1, 2, 3, 4, 5, 6});
    matrix.Resize(3, 2);
    expect_matrix(matrix, 3, 2, {1, 2, 3, 4, 5, 6});
    matrix.Resize(2, 2);
    expect_matrix(matrix, 2, 2, {1, 2, 3, 4});
}

TEST(Matrix, ResizeFillsNewElementsWithZeros) {
    CMatrix<double> matrix = make_matrix(2, 2, {1, 2, 3, 4});
    matrix.Resize(1, 3);
    matrix.Resize(2, 3);
    expect_matrix(matrix, 2, 3, {1, 2, 3, 0, 0, 0});
}

TEST(Matrix, AssignmentTakesOverShapeAndElements) {
    CMatrix<double> target(1, 1);
    const CColumnMajorMatrix other = make_column_major(2, 3, {1, 2, 3, 4, 5, 6});
    IMatrix<double>& result = assign(target, other);
    EXPECT_EQ(&result, &target);
    expect_matrix(target, 2, 3, {1, 2, 3, 4, 5, 6});
}

TEST(Matrix, AssignmentThroughTheInterfaceTakesOverShapeAndElements) {
    CMatrix<double> target(4, 4);
    assign(target, make_matrix(2, 1, {7, 8}));
    expect_matrix(target, 2, 1, {7, 8});
}

TEST(Matrix, AssignmentToItselfChangesNothing) {
    CMatrix<double> matrix = make_matrix(2, 2, {1, 2, 3, 4});
    assign(matrix, matrix);
    expect_matrix(matrix, 2, 2, {1, 2, 3, 4});
}

TEST(Matrix, MovedFromIsEmptyAndHasNoElementToRead) {
    CMatrix<double> first = make_matrix(2, 3, {1, 2, 3, 4, 5, 6});
    CMatrix<double> second(std::move(first));
    expect_matrix(second, 2, 3, {1, 2, 3, 4, 5, 6});
    // NOLINTBEGIN(bugprone-use-after-move): what is left there is the point
    expect_matrix(first, 0, 0, {});
    EXPECT_THROW(first(0, 0), CException);
    CMatrix<double> third(1, 1);
    third = std::move(second);
    expect_matrix(third, 2, 3, {1, 2, 3, 4, 5, 6});
    expect_matrix(second, 0, 0, {});
    EXPECT_THROW(second(0, 0), CException);
    // NOLINTEND(bugprone-use-after-move)
    second = make_matrix(1, 2, {7, 8});
    expect_matrix(second, 1, 2, {7, 8});
}

TEST(Matrix, MovedToItselfKeepsItsElements) {
    CMatrix<double> matrix = make_matrix(1, 2, {7, 8});
    CMatrix<double>& same = matrix;
    matrix = std::move(same);
    expect_matrix(matrix, 1, 2, {7, 8});
}

/// A matrix that counts how often it is asked for room.
class CCountingMatrix : public CMatrix<double> {
  public:
    CCountingMatrix() : CMatrix<double>(1, 1) {}
    using CMatrix<double>::operator=;
    void Resize(std::size_t rows, std::size_t cols) override {
        ++resizes;
        CMatrix<double>::Resize(rows, cols);
    }
    int resizes = 0;
};

TEST(Matrix, MoveAssignmentTakesTheElementsAndAsksForNoMemory) {
    static_assert(std::is_nothrow_move_assignable_v<CMatrix<double>>);
    CCountingMatrix target;
    CMatrix<double> source = make_matrix(2, 2, {1, 2, 3, 4});
    const double* const element = &source(0, 0);
    static_cast<CMatrix<double>&>(target) = std::move(source);
    expect_matrix(target, 2, 2, {1, 2, 3, 4});
    EXPECT_EQ(&target(0, 0), element);
    EXPECT_EQ(target.resizes, 0) << "without memory this would end the program";
}

TEST(Matrix, WhoseElementsExceedEverySizeIsRefused) {
    constexpr std::size_t HALF = std::size_t{1} << 32U; // its square is 0 in 64 bits
    EXPECT_THROW((CMatrix<double>(HALF, HALF)), std::length_error);
    EXPECT_THROW((CMatrix<double>(3, std::numeric_limits<std::size_t>::max() / 2)), std::length_error);
    CMatrix<double> matrix = make_matrix(1, 2, {7, 8});
    EXPECT_THROW(matrix.Resize(HALF, HALF), std::length_error);
    expect_matrix(matrix, 1, 2, {7, 8});
    EXPECT_NO_THROW(CMatrix<double>(HALF, 0));
    EXPECT_NO_THROW(CMatrix<double>(0, HALF));
}

TEST(Matrix, MatricesOfEqualShapeAndElementsAreEqual) {
    const CMatrix<double> matrix = make_matrix(2, 2, {1, 2, 3, 4});
    EXPECT_TRUE(matrix == make_matrix(2, 2, {1, 2, 3, 4}));
    EXPECT_TRUE(matrix == make_column_major(2, 2, {1, 2, 3, 4}));
    EXPECT_FALSE(matrix == make_matrix(2, 2, {1, 2, 3, 5}));
    EXPECT_FALSE(matrix == make_matrix(2, 2, {0, 2, 3, 4}));
}

TEST(Matrix, MatricesOfOtherShapesAreNotEqual) {
    const CMatrix<double> matrix(2, 3);
    EXPECT_FALSE(matrix == CMatrix<double>(3, 2));
    EXPECT_FALSE(matrix == CMatrix<double>(2, 2));
    EXPECT_FALSE(matrix == CMatrix<double>(1, 3));
}

TEST(Matrix, MatricesThatHoldNanAtTheSamePlaceAreNotEqual) {
    EXPECT_FALSE(make_matrix(1, 2, {1, NOT_A_NUMBER}) == make_matrix(1, 2, {1, NOT_A_NUMBER}));
    EXPECT_FALSE(make_matrix(1, 2, {1, NOT_A_NUMBER}) == make_matrix(1, 2, {1, 2}));
    EXPECT_FALSE(make_matrix(1, 2, {1, 2}) == make_matrix(1, 2, {1, NOT_A_NUMBER}));
}

TEST(Matrix, AMatrixWithANanEqualsItself) {
    const CMatrix<double> matrix = make_matrix(1, 1, {NOT_A_NUMBER});
    const IMatrix<double>& same = matrix;
    EXPECT_TRUE(matrix == same);
}

TEST(Matrix, ProductOfTwoByThreeAndThreeByOneIsTwoByOne) {
    CMatrix<double> matrix = make_matrix(2, 3, {1, 2, 3, 4, 5, 6});
    matrix *= make_matrix(3, 1, {1, 10, 100});
    expect_matrix(matrix, 2, 1, {321, 654});
}

TEST(Matrix, ProductOfTwoByThreeAndTwoByThreeIsRefused) {
    CMatrix<double> matrix(2, 3);
    EXPECT_EQ(test::MessageOf([&] { matrix *= CMatrix<double>(2, 3); }),
              "Tried to multiply 2-by-3 *= 2-by-3 matrices");
}

TEST_P(MatrixShapes, ProductAgreesWithANaiveLoop) {
    const auto [rows, inner, cols] = GetParam();
    const CMatrix<double> left = random_matrix(rows, inner, 1);
    const CMatrix<double> right = random_matrix(inner, cols, 2);
    Elements expected;
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t col = 0; col < cols; ++col) {
            double sum = 0.0;
            for (std::size_t k = 0; k < inner; ++k) {
                sum += left(row, k) * right(k, col);
            }
            expected.push_back(sum);
        }
    }
    CMatrix<double> product = left;
    IMatrix<double>& result = product *= right;
    EXPECT_EQ(&result, &product);
    expect_matrix(product, rows, cols, expected);
}

TEST_P(MatrixShapes, TransposedTwiceIsTheMatrixAgain) {
    const auto [rows, inner, cols] = GetParam();
    const CMatrix<double> original = random_matrix(rows, inner, 3);
    CMatrix<double> matrix = original;
    matrix.Transpose();
    ASSERT_EQ(matrix.Rows(), inner);
    ASSERT_EQ(matrix.Cols(), rows);
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t col = 0; col < inner; ++col) {
            EXPECT_EQ(matrix(col, row), original(row, col));
        }
    }
    matrix.Transpose();
    expect_matrix(matrix, rows, inner, elements_of(original));
}

TEST_P(MatrixShapes, SumAndDifferenceGoElementByElement) {
    const auto [rows, inner, cols] = GetParam();
    const CMatrix<double> left = random_matrix(rows, inner, 4);
    const CMatrix<double> right = random_matrix(rows, inner, 5);
    Elements sums;
    Elements differences;
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t col = 0; col < inner; ++col) {
            sums.push_back(left(row, col) + right(row, col));
            differences.push_back(left(row, col) - right(row, col));
        }
    }
    CMatrix<double> sum = left;
    IMatrix<double>& sumResult = sum += right;
    EXPECT_EQ(&sumResult, &sum);
    expect_matrix(sum, rows, inner, sums);
    CMatrix<double> difference = left;
    IMatrix<double>& differenceResult = difference -= right;
    EXPECT_EQ(&differenceResult, &difference);
    expect_matrix(difference, rows, inner, differences);
}

TEST_P(MatrixShapes, AppendedRowsStandBelowAndAppendedColumnsOnTheRight) {
    const auto [rows, inner, cols] = GetParam();
    const CMatrix<double> upper = random_matrix(rows, inner, 6);
    const CMatrix<double> lower = random_matrix(cols, inner, 7);
    CMatrix<double> stacked = upper;
    stacked.AddRows(lower);
    ASSERT_EQ(stacked.Rows(), rows + cols);
    ASSERT_EQ(stacked.Cols(), inner);
    CMatrix<double> beside = upper;
    beside.Transpose();
    CMatrix<double> right = lower;
    right.Transpose();
    beside.AddCols(right);
    ASSERT_EQ(beside.Rows(), inner);
    ASSERT_EQ(beside.Cols(), rows + cols);
    for (std::size_t row = 0; row < rows + cols; ++row) {
        for (std::size_t col = 0; col < inner; ++col) {
            const double expected = row < rows ? upper(row, col) : lower(row - rows, col);
            EXPECT_EQ(stacked(row, col), expected);
            EXPECT_EQ(beside(col, row), expected);
        }
    }
}

TEST(Matrix, AppendingAOneByThreeToATwoByThreeMakesItTheLastRow) {
    CMatrix<double> matrix = make_matrix(2, 3, {1, 2, 3, 4, 5, 6});
    matrix.AddRows(make_matrix(1, 3, {7, 8, 9}));
    expect_matrix(matrix, 3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
}

TEST(Matrix, AppendingColumnsOfAnotherHeightReportsTheOtherMatrixFirst) {
    CMatrix<double> matrix(2, 3);
    EXPECT_EQ(test::MessageOf([&] { matrix.AddCols(CMatrix<double>(5, 1)); }),
              "Tried to concatenate 5-dim Cols to 2-dim Cols");
}

TEST(Matrix, ScalingAndAddingANumberReachEveryElement) {
    CMatrix<double> matrix = make_matrix(2, 2, {1, -2, 3, 0.5});
    IMatrix<double>& scaled = matrix *= 2.0;
    EXPECT_EQ(&scaled, &matrix);
    expect_matrix(matrix, 2, 2, {2, -4, 6, 1});
    IMatrix<double>& shifted = matrix += 10.0;
    EXPECT_EQ(&shifted, &matrix);
    expect_matrix(matrix, 2, 2, {12, 6, 16, 11});
}

TEST(Matrix, ScalingByOneOfItsOwnElementsUsesTheValueItHadBefore) {
    CMatrix<double> matrix = make_matrix(2, 2, {3, 1, 2, 5});
    matrix *= matrix(0, 0);
    expect_matrix(matrix, 2, 2, {9, 3, 6, 15});
    matrix += matrix(0, 0);
    expect_matrix(matrix, 2, 2, {18, 12, 15, 24});
}

TEST(Matrix, OperandThatIsTheMatrixItselfCountsAsCopiedFirst) {
    const CMatrix<double> original = make_matrix(2, 2, {1, 2, 3, 4});
    CMatrix<double> product = original;
    product *= product;
    expect_matrix(product, 2, 2, {7, 10, 15, 22});
    CMatrix<double> sum = original;
    sum += sum;
    expect_matrix(sum, 2, 2, {2, 4, 6, 8});
    CMatrix<double> difference = original;
    IMatrix<double>& same = difference;
    difference -= same;
    expect_matrix(difference, 2, 2, {0, 0, 0, 0});
    CMatrix<double> stacked = original;
    stacked.AddRows(stacked);
    expect_matrix(stacked, 4, 2, {1, 2, 3, 4, 1, 2, 3, 4});
    CMatrix<double> beside = original;
    beside.AddCols(beside);
    expect_matrix(beside, 2, 4, {1, 2, 1, 2, 3, 4, 3, 4});
}

TEST(Matrix, AFailedOperationLeavesTheMatrixAsItWas) {
    CMatrix<double> matrix = make_matrix(2, 3, {1, 2, 3, 4, 5, 6});
    const CMatrix<double> misfit(4, 5);
    EXPECT_THROW(matrix += misfit, CException);
    EXPECT_THROW(matrix -= misfit, CException);
    EXPECT_THROW(matrix *= misfit, CException);
    EXPECT_THROW(matrix.AddRows(misfit), CException);
    EXPECT_THROW(matrix.AddCols(misfit), CException);
    EXPECT_THROW(matrix(2, 3), CException);
    expect_matrix(matrix, 2, 3, {1, 2, 3, 4, 5, 6});
}

TEST(Matrix, SumNeedsBothRowsAndColumnsToAgree) {
    CMatrix<double> matrix(2, 3);
    EXPECT_THROW(matrix += CMatrix<double>(2, 4), CException);
    EXPECT_THROW(matrix += CMatrix<double>(3, 3), CException);
    EXPECT_THROW(matrix -= CMatrix<double>(2, 4), CException);
    EXPECT_THROW(matrix -= CMatrix<double>(3, 3), CException);
}

TEST(Matrix, OperationsOfTheInterfaceServeAnyImplementation) {
    const Elements values = {1, 2, 3, 4, 5, 6};
    CColumnMajorMatrix product = make_column_major(2, 3, values);
    product *= make_matrix(3, 2, values);
    expect_matrix(product, 2, 2, {22, 28, 49, 64});
    CColumnMajorMatrix transposed = make_column_major(2, 3, values);
    transposed.Transpose();
    expect_matrix(transposed, 3, 2, {1, 4, 2, 5, 3, 6});
    CColumnMajorMatrix stacked = make_column_major(1, 2, {1, 2});
    stacked.AddRows(make_matrix(1, 2, {3, 4}));
    stacked.AddCols(make_matrix(2, 1, {7, 8}));
    expect_matrix(stacked, 2, 3, {1, 2, 7, 3, 4, 8});
    CColumnMajorMatrix assigned(1, 1);
    const CMatrix<double> source = make_matrix(2, 2, {1, 2, 3, 4});
    assign(assigned, source);
    expect_matrix(assigned, 2, 2, {1, 2, 3, 4});
    (assigned += source) -= make_matrix(2, 2, {1, 1, 1, 1});
    (assigned *= 2.0) += 1.0;
    expect_matrix(assigned, 2, 2, {3, 7, 11, 15});
}

} // namespace TEVRA
