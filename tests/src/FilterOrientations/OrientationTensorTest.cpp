// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/OrientationTensor.h"

#include "Numeric/Matrix.h"
#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>
#include <vector>

namespace TEVRA {
namespace {

using Vector3 = std::array<double, 3>;

CMatrix<double> make_matrix(std::size_t size, const std::vector<double>& rowMajor) {
    CMatrix<double> matrix(size, size);
    for (std::size_t i = 0; i < rowMajor.size(); ++i) {
        matrix(i / size, i % size) = rowMajor[i];
    }
    return matrix;
}

CMatrix<double> diagonal(const Vector3& values) {
    return make_matrix(3, {values[0], 0, 0, 0, values[1], 0, 0, 0, values[2]});
}

Vector3 unit(const Vector3& v) {
    const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    return {v[0] / length, v[1] / length, v[2] / length};
}

Vector3 cross(const Vector3& a, const Vector3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// Sum of value[k] * axis[k] axis[k]^T over three orthonormal axes.
CMatrix<double> tensor_of(const std::array<Vector3, 3>& axes, const Vector3& values) {
    CMatrix<double> tensor(3, 3);
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                tensor(i, j) += values[k] * axes[k][i] * axes[k][j];
            }
        }
    }
    return tensor;
}

Vector3 eigenvalues(const CMatrix<double>& tensor) {
    CMatrix<double> values(3, 1);
    COrientationTensor::Eigenvalues(values, tensor);
    return {values(0, 0), values(1, 0), values(2, 0)};
}

} // namespace

TEST(OrientationTensor, OfADiagonalMatrixHasItsEntriesAsEigenvaluesLargestFirst) {
    const Vector3 values = eigenvalues(diagonal({0.2, 0.7, 0.1}));
    EXPECT_DOUBLE_EQ(values[0], 0.7);
    EXPECT_DOUBLE_EQ(values[1], 0.2);
    EXPECT_DOUBLE_EQ(values[2], 0.1);
}

TEST(OrientationTensor, OfADiagonalMatrixHasItsLargestAxisAsMeanOrientation) {
    CMatrix<double> mean(3, 1);
    COrientationTensor::MeanOrientation(mean, diagonal({0.2, 0.7, 0.1}));
    EXPECT_NEAR(mean(0, 0), 0.0, 1e-15);
    EXPECT_NEAR(std::abs(mean(1, 0)), 1.0, 1e-15);
    EXPECT_NEAR(mean(2, 0), 0.0, 1e-15);
}

TEST(OrientationTensor, BuiltFromAxesGivesThemBack) {
    std::mt19937 generator(7);
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    for (int trial = 0; trial < 200; ++trial) {
        const Vector3 first = unit({normal(generator), normal(generator), normal(generator)});
        const Vector3 second = unit(cross(first, {normal(generator), normal(generator), normal(generator)}));
        const Vector3 values = {1.1 + uniform(generator), 0.5 + 0.5 * uniform(generator),
                                0.4 * uniform(generator)};
        const CMatrix<double> tensor = tensor_of({first, second, cross(first, second)}, values);
        const Vector3 found = eigenvalues(tensor);
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_NEAR(found[k], values[k], 1e-13) << "trial " << trial;
        }
        CMatrix<double> mean(3, 1);
        COrientationTensor::MeanOrientation(mean, tensor);
        const double cosine = mean(0, 0) * first[0] + mean(1, 0) * first[1] + mean(2, 0) * first[2];
        EXPECT_NEAR(std::abs(cosine), 1.0, 1e-13) << "trial " << trial;
    }
}

TEST(OrientationTensor, InThePlaneAgreesWithTheClosedForm) {
    std::mt19937 generator(8);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    for (int trial = 0; trial < 200; ++trial) {
        const double a = uniform(generator);
        const double c = uniform(generator);
        const double b = (2.0 * uniform(generator) - 1.0) * std::sqrt(a * c); // positive semi-definite
        const CMatrix<double> tensor = make_matrix(2, {a, b, b, c});
        const double centre = 0.5 * (a + c);
        const double radius = std::hypot(0.5 * (a - c), b);
        CMatrix<double> values(2, 1);
        COrientationTensor::Eigenvalues(values, tensor);
        EXPECT_NEAR(values(0, 0), centre + radius, 1e-14) << "trial " << trial;
        EXPECT_NEAR(values(1, 0), centre - radius, 1e-14) << "trial " << trial;
        const double angle = 0.5 * std::atan2(2.0 * b, a - c);
        CMatrix<double> mean(2, 1);
        COrientationTensor::MeanOrientation(mean, tensor);
        EXPECT_NEAR(std::abs(mean(0, 0) * std::cos(angle) + mean(1, 0) * std::sin(angle)), 1.0, 1e-12)
            << "trial " << trial;
        EXPECT_NEAR(std::hypot(mean(0, 0), mean(1, 0)), 1.0, 1e-14) << "trial " << trial;
    }
}

TEST(OrientationTensor, ShapeAndStrengthAreLogarithmicEigenvalueRatios) {
    double shape = 0.0;
    double strength = 0.0;
    const double e = std::numbers::e;
    COrientationTensor::OrientationParameters(shape, strength, diagonal({e, std::exp(4.0), 1.0}));
    EXPECT_NEAR(shape, 3.0, 1e-12);
    EXPECT_NEAR(strength, 4.0, 1e-12);
    COrientationTensor::OrientationParameters(shape, strength, diagonal({0.7, 0.1, 0.2}));
    EXPECT_NEAR(shape, std::log(3.5) / std::log(2.0), 1e-12);
    EXPECT_NEAR(strength, std::log(7.0), 1e-12);
}

TEST(OrientationTensor, IsotropicHasNoShapeAndZeroStrength) {
    double shape = 0.0;
    double strength = -1.0;
    COrientationTensor::OrientationParameters(shape, strength, diagonal({1.0 / 3, 1.0 / 3, 1.0 / 3}));
    EXPECT_TRUE(std::isnan(shape));
    EXPECT_EQ(strength, 0.0);
}

TEST(OrientationTensor, WithTwoEqualSmallEigenvaluesHasInfiniteShape) {
    double shape = 0.0;
    double strength = 0.0;
    COrientationTensor::OrientationParameters(shape, strength, diagonal({0.5, 0.25, 0.25}));
    EXPECT_EQ(shape, std::numeric_limits<double>::infinity());
    EXPECT_NEAR(strength, std::log(2.0), 1e-14);
}

TEST(OrientationTensor, WithAZeroEigenvalueHasInfiniteStrength) {
    double shape = -1.0;
    double strength = 0.0;
    COrientationTensor::OrientationParameters(shape, strength, diagonal({0.75, 0.25, 0.0}));
    EXPECT_EQ(shape, 0.0) << "a finite number over infinity";
    EXPECT_EQ(strength, std::numeric_limits<double>::infinity());
}

TEST(OrientationTensor, OfOneDirectionOrOfNoneHasParametersByFloatingPointRules) {
    double shape = 0.0;
    double strength = 0.0;
    COrientationTensor::OrientationParameters(shape, strength, diagonal({1.0, 0.0, 0.0}));
    EXPECT_TRUE(std::isnan(shape));
    EXPECT_EQ(strength, std::numeric_limits<double>::infinity());
    COrientationTensor::OrientationParameters(shape, strength, diagonal({0.0, 0.0, 0.0}));
    EXPECT_TRUE(std::isnan(shape));
    EXPECT_TRUE(std::isnan(strength));
}

TEST(OrientationTensor, ThatCannotBeDecomposedIsEvaluatedAllTheSame) {
    // The decomposition says that it failed and leaves its matrices of zeros as they are.
    constexpr double NONE = std::numeric_limits<double>::quiet_NaN();
    const CMatrix<double> tensor = diagonal({NONE, 0.5, 0.5});
    CMatrix<double> result = make_matrix(1, {7.0});
    result.Resize(3, 1);
    EXPECT_NO_THROW(COrientationTensor::MeanOrientation(result, tensor));
    EXPECT_EQ(result, CMatrix<double>(3, 1));
    result(0, 0) = 7.0;
    EXPECT_NO_THROW(COrientationTensor::Eigenvalues(result, tensor));
    EXPECT_EQ(result, CMatrix<double>(3, 1));
    double shape = 5.0;
    double strength = 6.0;
    EXPECT_NO_THROW(COrientationTensor::OrientationParameters(shape, strength, tensor));
    EXPECT_TRUE(std::isnan(shape));
    EXPECT_TRUE(std::isnan(strength));
}

TEST(OrientationTensor, InThePlaneHasEigenvaluesAndMeanButNoParameters) {
    const CMatrix<double> tensor = make_matrix(2, {0.75, 0.0, 0.0, 0.25});
    CMatrix<double> result(2, 1);
    EXPECT_NO_THROW(COrientationTensor::MeanOrientation(result, tensor));
    EXPECT_NO_THROW(COrientationTensor::Eigenvalues(result, tensor));
    double shape = 5.0;
    double strength = 6.0;
    EXPECT_EQ(test::MessageOf([&] { COrientationTensor::OrientationParameters(shape, strength, tensor); }),
              "Orientation tensor must be a 3x3 matrix (but it is 2 x 2).");
    EXPECT_EQ(shape, 5.0);
    EXPECT_EQ(strength, 6.0);
}

TEST(OrientationTensor, OfOneDimensionPassesTheShapeChecksAndIsNotImplemented) {
    CMatrix<double> result(1, 1);
    const CMatrix<double> tensor(1, 1);
    EXPECT_EQ(test::MessageOf([&] { COrientationTensor::MeanOrientation(result, tensor); }),
              "Only implemented for 2d and 3d images.");
    EXPECT_EQ(test::MessageOf([&] { COrientationTensor::Eigenvalues(result, tensor); }),
              "Only implemented for 2d and 3d images.");
}

TEST(OrientationTensor, OfFourDimensionsIsNotImplemented) {
    CMatrix<double> result(4, 1);
    const CMatrix<double> tensor(4, 4);
    EXPECT_EQ(test::MessageOf([&] { COrientationTensor::MeanOrientation(result, tensor); }),
              "Only implemented for 2d and 3d images.");
    EXPECT_EQ(test::MessageOf([&] { COrientationTensor::Eigenvalues(result, tensor); }),
              "Only implemented for 2d and 3d images.");
}

TEST(OrientationTensor, WithAResultOfTwoColumnsReportsTheShapeItNeeds) {
    CMatrix<double> result(3, 2);
    const CMatrix<double> tensor(3, 3);
    EXPECT_EQ(test::MessageOf([&] { COrientationTensor::MeanOrientation(result, tensor); }),
              "Mean orientation must be a 3 x 1 column vector (but it is 3 x 2).");
    EXPECT_EQ(test::MessageOf([&] { COrientationTensor::Eigenvalues(result, tensor); }),
              "Ev must be a 3 x 1 column vector (but it is 3 x 2).");
}

TEST(OrientationTensor, ThatIsNotSquareIsReportedBeforeAWrongResult) {
    CMatrix<double> wrong(7, 7);
    const CMatrix<double> tensor(4, 5);
    EXPECT_EQ(test::MessageOf([&] { COrientationTensor::MeanOrientation(wrong, tensor); }),
              "Orientation tensor must be a square matrix (but it is 4 x 5).");
    EXPECT_EQ(test::MessageOf([&] { COrientationTensor::Eigenvalues(wrong, tensor); }),
              "Orientation tensor must be a square matrix (but it is 4 x 5).");
}

TEST(OrientationTensor, ParametersNeedThreeRowsAndThreeColumns) {
    double shape = 0.0;
    double strength = 0.0;
    EXPECT_EQ(test::MessageOf(
                  [&] { COrientationTensor::OrientationParameters(shape, strength, CMatrix<double>(3, 2)); }),
              "Orientation tensor must be a 3x3 matrix (but it is 3 x 2).");
    EXPECT_EQ(test::MessageOf(
                  [&] { COrientationTensor::OrientationParameters(shape, strength, CMatrix<double>(2, 3)); }),
              "Orientation tensor must be a 3x3 matrix (but it is 2 x 3).");
}

TEST(OrientationTensor, ThatFailsACheckWritesNothing) {
    CMatrix<double> result(2, 1);
    result(0, 0) = 11.0;
    result(1, 0) = 12.0;
    EXPECT_THROW(COrientationTensor::MeanOrientation(result, diagonal({1, 2, 3})), CException);
    EXPECT_THROW(COrientationTensor::Eigenvalues(result, diagonal({1, 2, 3})), CException);
    EXPECT_EQ(result.Rows(), 2U);
    EXPECT_EQ(result(0, 0), 11.0);
    EXPECT_EQ(result(1, 0), 12.0);
}

} // namespace TEVRA
