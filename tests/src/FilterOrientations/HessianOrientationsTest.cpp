// SPDX-License-Identifier: BSD-3-Clause
// The estimator's public face: maps handed out, tensors over boxes, copies.
#include "FilterOrientations/HessianOrientations.h"

#include "Numeric/Matrix.h"
#include "src/Naive.h"
#include "src/TestAccess.h"
#include "support/MakeImage.h"
#include "support/MemoryLimit.h"
#include "support/ThrownException.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/ValueVector.h"
#include "zeklib2image/HeaderTools.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace TEVRA {
namespace {

using test::SAngles;

constexpr float NO_ANGLE = -4.1415925F;

std::unique_ptr<CImage> float_image(const CSize& size, const std::vector<float>& pixels) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_F, size, CSize(0, 0, 0));
    std::copy(pixels.begin(), pixels.end(), image->Pixels<float>());
    return image;
}

/// Gives an estimator angle maps, as a run leaves them.
void set_angles(CHessianOrientations& estimator, const SAngles& angles) {
    CTestAccess::SHessian hessian;
    hessian.smoothed = std::make_unique<CImage>(IMAGE_GREY_F, angles.size, CSize(0, 0, 0));
    CTestAccess::SetHessian(estimator, std::move(hessian));
    CTestAccess::SetMaps(estimator, float_image(angles.size, angles.theta),
                         angles.phi.empty() ? nullptr : float_image(angles.size, angles.phi));
}

/// Random axes, about a third of the pixels background.
SAngles random_angles(const CSize& size, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<float> uniform(0.0F, 1.0F);
    const float pi = std::numbers::pi_v<float>;
    SAngles angles{size, {}, {}};
    for (std::size_t i = 0; i < size.Elements(); ++i) {
        const bool isForeground = uniform(generator) < 0.66F;
        const float theta = uniform(generator);
        const float phi = uniform(generator);
        if (size.Dim() == 3) {
            angles.theta.push_back(isForeground ? theta * pi / 2 : -1.0F);
            angles.phi.push_back(isForeground ? (2 * phi - 1) * pi : NO_ANGLE);
        } else {
            angles.theta.push_back(isForeground ? theta * pi : NO_ANGLE);
        }
    }
    return angles;
}

SAngles constant_angles(const CSize& size, float theta, float phi) {
    return {size, std::vector<float>(size.Elements(), theta),
            std::vector<float>(size.Dim() == 3 ? size.Elements() : 0, phi)};
}

void expect_second(const IMatrix<double>& tensor, const std::vector<double>& expected, double divisor) {
    const std::size_t dim = tensor.Rows();
    for (std::size_t at = 0; at < expected.size(); ++at) {
        EXPECT_NEAR(tensor(at / dim, at % dim), expected[at] / divisor, 1e-11)
            << "component " << at / dim << at % dim;
    }
}

void expect_fourth(const CTensorRank4& tensor, long long dim, const std::vector<double>& expected,
                   double divisor) {
    for (long long at = 0; at < static_cast<long long>(expected.size()); ++at) {
        EXPECT_NEAR(tensor(at / (dim * dim * dim), at / (dim * dim) % dim, at / dim % dim, at % dim),
                    expected[static_cast<std::size_t>(at)] / divisor, 1e-11)
            << "component " << at;
    }
}

CBox random_box(const CSize& size, std::mt19937& generator) {
    std::array<long, 6> c{};
    for (std::size_t at = 0; at < 6; ++at) {
        const auto extent = static_cast<int>(size[static_cast<long long>(at % 3)]);
        c[at] = std::uniform_int_distribution<int>(-3, extent + 3)(generator);
    }
    return {c[0], c[1], c[2], c[3], c[4], c[5]};
}

std::unique_ptr<CImage> grey_image(const CSize& size) {
    return test::MakeImage<unsigned char>(IMAGE_GREY_8, size, [](long long x, long long y, long long z) {
        return (x * x * 7 + y * 41 + z * 23 + x * y * z * 5) % 251;
    });
}

void compute(CHessianOrientations& estimator, const CSize& size) {
    estimator.compute(*grey_image(size), 1.2, nullptr, CHessianOrientations::eEVSmallest);
}

std::vector<double> value_range(const IImage& image) {
    const CValue* range = CVexoHeaderTools::GetMetaInfo(image, CVexoHeaderTools::c_sMetaMinMax.c_str());
    if (range == nullptr) {
        return {};
    }
    EXPECT_EQ(range->Vector().Size(), 2U);
    return {range->Vector().Entry(0)->Double(), range->Vector().Entry(1)->Double()};
}

const CSize PLANE(9, 8);
const CSize VOLUME(9, 8, 7);

/// Sums over random boxes.
void expect_naive_sums(const std::vector<CSize>& sizes, std::size_t dim, unsigned boxSeed,
                       unsigned angleSeed) {
    std::mt19937 generator(boxSeed);
    for (const CSize& size : sizes) {
        const SAngles angles = random_angles(size, angleSeed);
        CHessianOrientations estimator;
        set_angles(estimator, angles);
        for (int trial = 0; trial < 40; ++trial) {
            const CBox box = random_box(size, generator);
            const test::SNaiveSums expected = test::NaiveSums(angles, box);
            CMatrix<double> tensor(dim, dim);
            CTensorRank4 tensor4(dim, dim, dim, dim);
            EXPECT_EQ(estimator.OrientationTensor(tensor, box, false, &tensor4), expected.count);
            expect_second(tensor, expected.second, 1.0);
            expect_fourth(tensor4, dim, expected.fourth, 1.0);
            double trace = 0.0;
            for (std::size_t i = 0; i < dim; ++i) {
                trace += tensor(i, i);
            }
            EXPECT_NEAR(trace, static_cast<double>(expected.count), 1e-4) << "the trace is the count";
        }
    }
}

} // namespace

TEST(OrientationTensorOverABox, InThePlaneAgreesWithANaiveDoubleLoop) {
    expect_naive_sums({CSize(7, 5), CSize(1, 1), CSize(2, 9), CSize(1, 6), CSize(16, 17)}, 2, 1, 2);
}

TEST(OrientationTensorOverABox, InSpaceAgreesWithANaiveTripleLoop) {
    expect_naive_sums({CSize(7, 5, 6), CSize(1, 1, 1), CSize(2, 9, 3), CSize(4, 1, 6)}, 3, 3, 4);
}

TEST(OrientationTensorOverABox, WidensFloatSinesAndCosinesBeforeMultiplying) {
    for (unsigned seed = 0; seed < 50; ++seed) {
        SAngles angles = random_angles(CSize(2, 2, 2), seed);
        angles.theta[0] = std::abs(angles.theta[0]);
        CHessianOrientations estimator;
        set_angles(estimator, angles);
        CMatrix<double> tensor(3, 3);
        ASSERT_EQ(estimator.OrientationTensor(tensor, CBox(0, 0, 0, 1, 1, 1), false, nullptr), 1);
        const std::vector<double> n = test::NaiveAxis(angles, 0);
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                EXPECT_EQ(tensor(i, j), n[i] * n[j]) << "to the last bit";
            }
        }
    }
}

TEST(OrientationTensorOverABox, LeavesOutTheLastColumnAndRow) {
    CHessianOrientations estimator;
    set_angles(estimator, constant_angles(CSize(7, 5), 0.5F, 0.0F));
    CMatrix<double> tensor(2, 2);
    EXPECT_EQ(estimator.OrientationTensor(tensor, CBox(0, 0, 0, 7, 5, 0), false, nullptr), 6 * 4);
    EXPECT_EQ(estimator.OrientationTensor(tensor, CBox(0, 0, 0, 6, 4, 0), false, nullptr), 6 * 4);
    EXPECT_EQ(estimator.OrientationTensor(tensor, CBox(0, 0, 0, 100, 100, 0), false, nullptr), 6 * 4);
    EXPECT_EQ(estimator.OrientationTensor(tensor, CBox(0, 0, 0, 5, 4, 0), false, nullptr), 5 * 4);
}

TEST(OrientationTensorOverABox, LeavesOutTheLastPlaneToo) {
    CHessianOrientations estimator;
    set_angles(estimator, constant_angles(CSize(7, 5, 4), 0.5F, 0.25F));
    CMatrix<double> tensor(3, 3);
    EXPECT_EQ(estimator.OrientationTensor(tensor, CBox(0, 0, 0, 7, 5, 4), false, nullptr), 6 * 4 * 3);
    EXPECT_EQ(estimator.OrientationTensor(tensor, CBox(0, 0, 0, 7, 5, 2), false, nullptr), 6 * 4 * 2);
}

TEST(OrientationTensorOverABox, ThatLiesOutsideSumsNothing) {
    CHessianOrientations estimator;
    set_angles(estimator, constant_angles(CSize(7, 5, 4), 0.5F, 0.25F));
    for (const CBox& box : {CBox(20, 20, 20, 30, 30, 30), CBox(-9, -9, -9, -1, -1, -1),
                            CBox(0, 0, 20, 7, 5, 30), CBox(6, 0, 0, 7, 5, 4)}) {
        CMatrix<double> tensor(3, 3);
        tensor += 5.0;
        EXPECT_EQ(estimator.OrientationTensor(tensor, box, true, nullptr), 0);
        EXPECT_TRUE(tensor == CMatrix<double>(3, 3));
    }
}

TEST(OrientationTensorOverABox, WhoseCornersCoincideSumsNothing) {
    CHessianOrientations estimator;
    set_angles(estimator, constant_angles(CSize(7, 5), 0.5F, 0.0F));
    CMatrix<double> tensor(2, 2);
    EXPECT_EQ(estimator.OrientationTensor(tensor, CBox(3, 3, 0, 3, 3, 0), false, nullptr), 0);
    EXPECT_EQ(estimator.OrientationTensor(tensor, CBox(3, 2, 0, 3, 4, 0), false, nullptr), 0);
}

TEST(OrientationTensorOverABox, TakesItsCornersInAnyOrder) {
    const SAngles angles = random_angles(CSize(9, 8, 7), 12);
    CHessianOrientations estimator;
    set_angles(estimator, angles);
    CMatrix<double> tensor(3, 3);
    CMatrix<double> swapped(3, 3);
    const long long count = estimator.OrientationTensor(tensor, CBox(1, 2, 3, 6, 5, 5), false, nullptr);
    EXPECT_EQ(estimator.OrientationTensor(swapped, CBox(6, 2, 5, 1, 5, 3), false, nullptr), count);
    EXPECT_TRUE(swapped == tensor);
}

TEST(OrientationTensorOverABox, CountsZeroAnglesAndSkipsNegativeOnesAndNan) {
    SAngles angles{CSize(6, 2), std::vector<float>(12, NO_ANGLE), {}};
    angles.theta[0] = 0.0F;
    angles.theta[1] = -0.001F;
    angles.theta[2] = std::numeric_limits<float>::quiet_NaN();
    angles.theta[3] = 1.0F;
    CHessianOrientations estimator;
    set_angles(estimator, angles);
    CMatrix<double> tensor(2, 2);
    EXPECT_EQ(estimator.OrientationTensor(tensor, CBox(0, 0, 0, 6, 2, 0), false, nullptr), 2);
    EXPECT_FALSE(std::isnan(tensor(0, 0)));
}

TEST(OrientationTensorOverABox, OverwritesTheTensorAndAddsToTheFourthOrderOne) {
    const SAngles angles = random_angles(CSize(7, 5), 6);
    CHessianOrientations estimator;
    set_angles(estimator, angles);
    const CBox box(0, 0, 0, 6, 4, 0);
    test::SNaiveSums expected = test::NaiveSums(angles, box);
    CMatrix<double> tensor(2, 2);
    tensor += 100.0;
    CTensorRank4 tensor4(2, 2, 2, 2);
    tensor4(0, 1, 1, 0) = 50.0;
    expected.fourth[6] += 50.0;
    estimator.OrientationTensor(tensor, box, false, &tensor4);
    expect_second(tensor, expected.second, 1.0);
    expect_fourth(tensor4, 2, expected.fourth, 1.0);
}

TEST(OrientationTensorOverABox, IsDividedByTheCountWhenNormalised) {
    for (const CSize& size : {CSize(7, 5), CSize(7, 5, 4)}) {
        const SAngles angles = random_angles(size, 8);
        const auto dim = static_cast<std::size_t>(size.Dim());
        const auto extent = static_cast<long long>(dim);
        CHessianOrientations estimator;
        set_angles(estimator, angles);
        const CBox box(0, 0, 0, 6, 4, 3);
        const test::SNaiveSums expected = test::NaiveSums(angles, box);
        CMatrix<double> tensor(dim, dim);
        CTensorRank4 tensor4(extent, extent, extent, extent);
        const long long count = estimator.OrientationTensor(tensor, box, true, &tensor4);
        ASSERT_GT(count, 1);
        expect_second(tensor, expected.second, static_cast<double>(count));
        expect_fourth(tensor4, extent, expected.fourth, static_cast<double>(count));
    }
}

TEST(OrientationTensorOverABox, WithoutForegroundLeavesTheFourthOrderTensorAlone) {
    CHessianOrientations estimator;
    set_angles(estimator, constant_angles(CSize(7, 5), NO_ANGLE, 0.0F));
    CMatrix<double> tensor(2, 2);
    tensor += 3.0;
    CTensorRank4 tensor4(2, 2, 2, 2);
    tensor4(1, 1, 0, 1) = 8.0;
    EXPECT_EQ(estimator.OrientationTensor(tensor, CBox(0, 0, 0, 7, 5, 0), true, &tensor4), 0);
    EXPECT_TRUE(tensor == CMatrix<double>(2, 2));
    EXPECT_EQ(tensor4(1, 1, 0, 1), 8.0);
    EXPECT_EQ(tensor4(0, 0, 0, 0), 0.0);
}

TEST(OrientationTensorOverABox, OfAPlaneFillsACornerOfALargerTensorAndDividesAllOfIt) {
    const SAngles angles = random_angles(CSize(7, 5), 10);
    CHessianOrientations estimator;
    set_angles(estimator, angles);
    const CBox box(0, 0, 0, 7, 5, 0);
    const test::SNaiveSums expected = test::NaiveSums(angles, box);
    CMatrix<double> tensor(2, 2);
    CTensorRank4 tensor4(3, 3, 3, 3);
    tensor4(2, 2, 2, 2) = 12.0;
    tensor4(0, 2, 0, 0) = 6.0;
    const long long count = estimator.OrientationTensor(tensor, box, true, &tensor4);
    ASSERT_GT(count, 1);
    const auto divisor = static_cast<double>(count);
    EXPECT_NEAR(tensor4(0, 0, 0, 0), expected.fourth[0] / divisor, 1e-13);
    EXPECT_NEAR(tensor4(1, 0, 1, 1), expected.fourth[11] / divisor, 1e-13);
    EXPECT_EQ(tensor4(2, 2, 2, 2), 12.0 / divisor);
    EXPECT_EQ(tensor4(0, 2, 0, 0), 6.0 / divisor);
    EXPECT_EQ(tensor4(2, 1, 1, 1), 0.0);
}

TEST(OrientationTensorOverABox, OfAPlaneRefusesAThreeByThreeMatrixAndLeavesItAlone) {
    CHessianOrientations estimator;
    set_angles(estimator, constant_angles(CSize(7, 5), 0.5F, 0.0F));
    CMatrix<double> tensor(3, 3);
    tensor += 4.0;
    CTensorRank4 tensor4(3, 3, 3, 3);
    EXPECT_EQ(test::MessageOf(
                  [&] { estimator.OrientationTensor(tensor, CBox(0, 0, 0, 7, 5, 0), false, &tensor4); }),
              "3D-orientation tensor must be a 3x3 matrix (but it is 3 x 3).");
    EXPECT_EQ(tensor(2, 2), 4.0);
    EXPECT_EQ(tensor4(0, 0, 0, 0), 0.0);
}

TEST(OrientationTensorOverABox, NeedsBothMapsOfAVolume) {
    SAngles angles = constant_angles(CSize(3, 3, 3), 0.5F, 0.5F);
    angles.phi.clear();
    CHessianOrientations estimator;
    set_angles(estimator, angles);
    CMatrix<double> tensor(3, 3);
    EXPECT_EQ(
        test::MessageOf([&] { estimator.OrientationTensor(tensor, CBox(0, 0, 0, 3, 3, 3), false, nullptr); }),
        "Orientation maps must be created, first. Unable to compute tensor.");
}

TEST(OrientationTensorOverABox, OfARunAgreesWithTheMapsItHandsOut) {
    CHessianOrientations estimator;
    compute(estimator, VOLUME);
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    estimator.get(theta, phi);
    const std::vector<CImage*> images = CTestAccess::Images(estimator);
    const SAngles angles{VOLUME, test::PixelsOf<float>(*images[8]), test::PixelsOf<float>(*images[7])};
    const CBox box(1, 0, 1, 8, 7, 6);
    const test::SNaiveSums expected = test::NaiveSums(angles, box);
    CMatrix<double> tensor(3, 3);
    EXPECT_EQ(estimator.OrientationTensor(tensor, box, false, nullptr), expected.count);
    EXPECT_GT(expected.count, 0);
    expect_second(tensor, expected.second, 1.0);
}

TEST(DirectionMaps, OfAPlaneAreLentWithTheirValueRange) {
    CHessianOrientations estimator;
    compute(estimator, PLANE);
    const IImage* map = nullptr;
    estimator.get(map);
    EXPECT_EQ(map, CTestAccess::Images(estimator)[8]);
    EXPECT_TRUE(map->Type() == IMAGE_GREY_F);
    EXPECT_TRUE(map->Size() == PLANE);
    EXPECT_EQ(value_range(*map), (std::vector<double>{-1.0, 3.141592653589793}));
    const IImage* again = nullptr;
    estimator.get(again);
    EXPECT_EQ(again, map) << "the estimator keeps what it lends";
}

TEST(DirectionMaps, OfAVolumeAreLentWithTheirValueRanges) {
    CHessianOrientations estimator;
    compute(estimator, VOLUME);
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    estimator.get(theta, phi);
    EXPECT_EQ(theta, CTestAccess::Images(estimator)[8]);
    EXPECT_EQ(phi, CTestAccess::Images(estimator)[7]);
    EXPECT_TRUE(phi->Type() == IMAGE_GREY_F);
    EXPECT_TRUE(phi->Size() == VOLUME);
    EXPECT_EQ(value_range(*theta), (std::vector<double>{-1.0, 3.141592653589793}));
    EXPECT_EQ(value_range(*phi), (std::vector<double>{-4.141592653589793, 3.141592653589793}));
}

TEST(DirectionMaps, CarryNoValueRangeBeforeTheyAreAskedFor) {
    CHessianOrientations estimator;
    compute(estimator, PLANE);
    EXPECT_TRUE(value_range(*CTestAccess::Images(estimator)[8]).empty());
}

TEST(DirectionMaps, OfAPlaneHaveNoSecondMap) {
    CHessianOrientations estimator;
    compute(estimator, PLANE);
    const CImage somewhere(IMAGE_GREY_8, CSize(1, 1), CSize(0, 0, 0));
    const IImage* theta = nullptr;
    const IImage* phi = &somewhere;
    estimator.get(theta, phi);
    EXPECT_EQ(theta, CTestAccess::Images(estimator)[8]);
    EXPECT_EQ(phi, nullptr);
}

TEST(DirectionMaps, OfAVolumeAreRefusedToTheCallOfThePlane) {
    CHessianOrientations estimator;
    compute(estimator, VOLUME);
    const IImage* map = nullptr;
    EXPECT_EQ(test::MessageOf([&] { estimator.get(map); }),
              "Unable to retrieve 2d direction map. Use overloaded 3d interface function.");
    EXPECT_EQ(test::MessageOf([&] { estimator.release(map); }),
              "Unable to retrieve 2d direction map. Use overloaded 3d interface function.");
    EXPECT_EQ(map, nullptr);
    EXPECT_NE(CTestAccess::Images(estimator)[8], nullptr) << "a refused release takes nothing";
}

TEST(DirectionMaps, ReportTheirAbsenceWithAFullStopOrAnExclamationMark) {
    const CHessianOrientations estimator;
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    EXPECT_EQ(test::MessageOf([&] { estimator.get(theta); }),
              "Unable to access direction maps prior to computing the Hessian. Call "
              "CHessianOrientations::Compute() first.");
    EXPECT_EQ(test::MessageOf([&] { estimator.get(theta, phi); }),
              "Unable to access direction maps prior to computing the Hessian. Call "
              "CHessianOrientations::Compute() first!");
}

TEST(DirectionMaps, ReleasedBelongToTheCallerAndOutliveTheEstimator) {
    const test::CPixelLeakCheck leakCheck;
    std::unique_ptr<const IImage> theta;
    std::unique_ptr<const IImage> phi;
    const std::size_t before = CPixelMemory::BytesInUse();
    {
        CHessianOrientations estimator;
        compute(estimator, VOLUME);
        const IImage* lentTheta = nullptr;
        const IImage* lentPhi = nullptr;
        estimator.get(lentTheta, lentPhi);
        const IImage* first = nullptr;
        const IImage* second = nullptr;
        estimator.release(first, second);
        theta.reset(first);
        phi.reset(second);
        EXPECT_EQ(first, lentTheta);
        EXPECT_EQ(second, lentPhi);
        EXPECT_EQ(CTestAccess::Images(estimator)[7], nullptr);
        EXPECT_EQ(CTestAccess::Images(estimator)[8], nullptr);
        EXPECT_NE(CTestAccess::Images(estimator)[0], nullptr) << "the Hessian stays";
        CMatrix<double> tensor(3, 3);
        EXPECT_EQ(test::MessageOf(
                      [&] { estimator.OrientationTensor(tensor, CBox(0, 0, 0, 3, 3, 3), false, nullptr); }),
                  "Orientation maps must be created, first. Unable to compute tensor.");
    }
    EXPECT_EQ(CPixelMemory::BytesInUse() - before, 8 * VOLUME.Elements());
    EXPECT_EQ(value_range(*phi), (std::vector<double>{-4.141592653589793, 3.141592653589793}));
}

TEST(DirectionMaps, OfAPlaneReleasedAreForgotten) {
    const test::CPixelLeakCheck leakCheck;
    CHessianOrientations estimator;
    compute(estimator, PLANE);
    const IImage* map = nullptr;
    estimator.release(map);
    const std::unique_ptr<const IImage> owned(map);
    EXPECT_TRUE(owned->Size() == PLANE);
    EXPECT_EQ(CTestAccess::Images(estimator)[8], nullptr);
    EXPECT_EQ(value_range(*owned), (std::vector<double>{-1.0, 3.141592653589793}));
}

TEST(DirectionMaps, OfAPlaneCanBeReleasedThroughTheCallOfTheVolume) {
    const test::CPixelLeakCheck leakCheck;
    CHessianOrientations estimator;
    compute(estimator, PLANE);
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    estimator.release(theta, phi);
    const std::unique_ptr<const IImage> owned(theta);
    EXPECT_NE(theta, nullptr);
    EXPECT_EQ(phi, nullptr);
}

TEST(DirectionMaps, ReleasedSurviveTheNextRun) {
    const test::CPixelLeakCheck leakCheck;
    CHessianOrientations estimator;
    compute(estimator, PLANE);
    const IImage* map = nullptr;
    estimator.release(map);
    const std::unique_ptr<const IImage> owned(map);
    const auto* pixels = dynamic_cast<const CImage*>(map);
    ASSERT_NE(pixels, nullptr);
    const std::vector<float> before = test::PixelsOf<float>(*pixels);
    compute(estimator, VOLUME);
    EXPECT_EQ(test::PixelsOf<float>(*pixels), before);
}

TEST(EstimatorCopy, SharesTheImages) {
    const test::CPixelLeakCheck leakCheck;
    CHessianOrientations original(1.5);
    compute(original, VOLUME);
    const std::size_t inUse = CPixelMemory::BytesInUse();
    const CHessianOrientations copy(original);
    EXPECT_EQ(CPixelMemory::BytesInUse(), inUse) << "shared, not duplicated";
    EXPECT_EQ(CTestAccess::Images(copy), CTestAccess::Images(original));
    EXPECT_EQ(CTestAccess::Sizes(copy), CTestAccess::Sizes(original));
    EXPECT_EQ(copy.Threshold(), original.Threshold());
}

TEST(EstimatorCopy, SurvivesTheOriginal) {
    const test::CPixelLeakCheck leakCheck;
    auto original = std::make_unique<CHessianOrientations>();
    compute(*original, VOLUME);
    CHessianOrientations copy(*original);
    CMatrix<double> before(3, 3);
    const long long count = original->OrientationTensor(before, CBox(0, 0, 0, 9, 8, 7), false, nullptr);
    original.reset();
    CMatrix<double> after(3, 3);
    EXPECT_EQ(copy.OrientationTensor(after, CBox(0, 0, 0, 9, 8, 7), false, nullptr), count);
    EXPECT_TRUE(after == before);
}

TEST(EstimatorCopy, KeepsItsResultWhenTheOriginalRunsAgain) {
    const test::CPixelLeakCheck leakCheck;
    CHessianOrientations original;
    compute(original, VOLUME);
    const CHessianOrientations copy(original);
    compute(original, PLANE);
    EXPECT_TRUE(CTestAccess::Images(copy)[8]->Size() == VOLUME);
    EXPECT_TRUE(CTestAccess::Images(original)[8]->Size() == PLANE);
}

TEST(EstimatorCopy, FindsNoMapOnceTheOriginalHasReleasedIt) {
    const test::CPixelLeakCheck leakCheck;
    CHessianOrientations original;
    compute(original, VOLUME);
    CHessianOrientations copy(original);
    const IImage* theta = nullptr;
    const IImage* phi = nullptr;
    original.release(theta, phi);
    const std::unique_ptr<const IImage> ownedTheta(theta);
    const std::unique_ptr<const IImage> ownedPhi(phi);
    EXPECT_THROW(copy.get(theta, phi), CException) << "an image has one owner";
}

TEST(EstimatorCopy, CopiesNameParentAndFactor) {
    const CAlgorithm parent("parent", nullptr);
    const CHessianOrientations original(1.75, "estimator", &parent);
    const CHessianOrientations copy(original);
    EXPECT_EQ(copy.Instance(), "estimator");
    EXPECT_EQ(copy.Parent(), &parent);
    EXPECT_EQ(CTestAccess::OtsuFactor(copy), 1.75);
}

TEST(Estimator, IsAnAlgorithmWithoutNameAndParentByDefault) {
    CHessianOrientations estimator;
    EXPECT_EQ(estimator.Instance(), "");
    EXPECT_EQ(estimator.Parent(), nullptr);
    IObject& object = estimator;
    object.SetInstance("renamed");
    EXPECT_EQ(estimator.Instance(), "renamed");
}

TEST(Estimator, SelectsByZeroOrNotZero) {
    static_assert(CHessianOrientations::eEVSmallest == 0);
    static_assert(CHessianOrientations::eEVLargest == 1);
    static_assert(sizeof(CHessianOrientations::eEVSelect) == 4);
    CHessianOrientations smallest;
    CHessianOrientations largest;
    smallest.compute(*grey_image(PLANE), 1.2, nullptr, CHessianOrientations::eEVSmallest);
    largest.compute(*grey_image(PLANE), 1.2, nullptr, CHessianOrientations::eEVLargest);
    const std::vector<float> along = test::PixelsOf<float>(*CTestAccess::Images(smallest)[8]);
    const std::vector<float> across = test::PixelsOf<float>(*CTestAccess::Images(largest)[8]);
    int foreground = 0;
    for (std::size_t i = 0; i < along.size(); ++i) {
        if (along[i] >= 0.0F) {
            ++foreground;
            EXPECT_NEAR(std::abs(along[i] - across[i]), std::numbers::pi_v<float> / 2, 1e-5F);
        }
    }
    EXPECT_GT(foreground, 0);
}

TEST(Estimator, ThatReadsAMaskOfTheSameSizeTakesItsPixelsOnly) {
    for (const CSize& size : {PLANE, VOLUME}) {
        const auto mask =
            test::MakeImage<unsigned char>(IMAGE_BINARY_FG, size, [](long long x, long long y, long long z) {
                return (x + 2 * y + 3 * z) % 4 == 0 ? 17 : 0;
            });
        CHessianOrientations estimator;
        estimator.compute(*grey_image(size), 1.2, mask.get(), CHessianOrientations::eEVSmallest);
        const std::vector<float> theta = test::PixelsOf<float>(*CTestAccess::Images(estimator)[8]);
        const std::vector<unsigned char> bytes = test::PixelsOf<unsigned char>(*mask);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            EXPECT_EQ(theta[i] >= 0.0F, bytes[i] != 0) << "pixel " << i;
        }
        EXPECT_EQ(estimator.Threshold(), 0.0);
    }
}

TEST(Estimator, DoesNotRefuseALargerMask) {
    const auto mask =
        test::MakeImage<unsigned char>(IMAGE_BINARY_FG, CSize(20, 20), [](auto...) { return 1; });
    CHessianOrientations estimator;
    EXPECT_NO_THROW(
        estimator.compute(*grey_image(PLANE), 1.2, mask.get(), CHessianOrientations::eEVSmallest));
}

} // namespace TEVRA
