// SPDX-License-Identifier: BSD-3-Clause
// What the estimator reads out of an index image and a set of directions.
#include "FilterOrientations/FilterOrientations.h"
#include "FilterOrientations/PointsOnSphere.h"
#include "src/bank/TestAccess.h"
#include "support/MakeImage.h"
#include "zeklib2core/Exception.h"
#include "zeklib2core/ValueLeaf.h"
#include "zeklib2core/ValueMap.h"
#include "zeklib2core/ValueVector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

namespace TEVRA {
namespace {

constexpr double PI = std::numbers::pi;
constexpr unsigned char EXCLUDED = 255;

/// An estimator whose run left the given numbers; pixel (x, y, z) has number(x, y, z).
template <typename NumberT>
std::unique_ptr<CFilterOrientations> with_result(const CSize& size, int resolution, const NumberT& number) {
    auto estimator = std::make_unique<CFilterOrientations>(2.0F, 1.0F, nullptr, nullptr);
    const std::unique_ptr<CMatrix<double>> directions(
        Impl::StPointsOnSphere::GetPoints(resolution, size.Dim()));
    CTestAccess::SetResult(*estimator, test::MakeImage<unsigned char>(IMAGE_GREY_8, size, number),
                           *directions);
    return estimator;
}

std::unique_ptr<CImage> floats(const CSize& size, float value = 7.0F) {
    return test::MakeImage<float>(IMAGE_GREY_F, size,
                                  [value](long long, long long, long long) { return value; });
}

/// The z, y and x axes and an excluded pixel, in turn.
int in_turn(long long x, long long, long long) {
    return x % 4 == 3 ? EXCLUDED : static_cast<int>(x % 4);
}

struct STensor {
    CMatrix<double> tensor;
    long long count;
};

STensor tensor_of(const CFilterOrientations& estimator, std::size_t dimension, const CBox& box) {
    STensor result{CMatrix<double>(dimension, dimension), 0};
    result.tensor(0, 0) = 77.0; // to be overwritten
    result.count = estimator.OrientationTensor(result.tensor, box);
    return result;
}

} // namespace

TEST(FilterOutputs, AreNoneBeforeTheFirstRun) {
    const CFilterOrientations estimator(2.0F, 1.0F, nullptr, nullptr);
    const auto image = floats(CSize(3, 3));
    const auto other = floats(CSize(3, 3));
    EXPECT_FALSE(estimator.GetBestResponse(*image));
    EXPECT_FALSE(estimator.GetOrientations(*image, *other));
    EXPECT_EQ(test::PixelsOf<float>(*image), std::vector<float>(9, 7.0F));
    CValueMap map;
    map.SetEntry("kept", new CValueLong(1));
    EXPECT_FALSE(estimator.OrientationHistogram(map));
    EXPECT_TRUE(map.HasEntry("kept"));
    CMatrix<double> tensor(5, 4);
    tensor(0, 0) = 7.0;
    EXPECT_EQ(estimator.OrientationTensor(tensor, CBox(0, 0, 0, 2, 2, 2)), 0);
    EXPECT_EQ(tensor(0, 0), 7.0);
    EXPECT_FALSE(estimator.BestOrientation(tensor, CPos(0, 0)));
    EXPECT_EQ(tensor(0, 0), 7.0);
}

TEST(GetOrientations, GivesAnglesInSpace) {
    const CSize size(8, 2, 2);
    const auto estimator = with_result(size, 0, in_turn);
    const auto colatitude = floats(size);
    const auto longitude = floats(size);
    ASSERT_TRUE(estimator->GetOrientations(*colatitude, *longitude));
    const float expectedColatitude[4] = {0.0F, static_cast<float>(PI / 2), static_cast<float>(PI / 2), -1.0F};
    const float expectedLongitude[4] = {0.0F, static_cast<float>(PI / 2), 0.0F, -1.0F};
    for (std::size_t i = 0; i < 32; ++i) {
        EXPECT_EQ(colatitude->Pixels<float>()[i], expectedColatitude[i % 4]) << i;
        EXPECT_EQ(longitude->Pixels<float>()[i], expectedLongitude[i % 4]) << i;
    }
}

TEST(GetOrientations, GivesTheAnglesOfEveryDirection) {
    const CSize size(98, 1, 1);
    const auto estimator = with_result(size, 2, [](long long x, long long, long long) { return x; });
    const auto colatitude = floats(size);
    const auto longitude = floats(size);
    ASSERT_TRUE(estimator->GetOrientations(*colatitude, *longitude));
    const auto table = Impl::StPointsOnSphere::GetTable(2);
    for (std::size_t k = 0; k < 98; ++k) {
        const double theta = static_cast<double>(colatitude->Pixels<float>()[k]);
        const double phi = static_cast<double>(longitude->Pixels<float>()[k]);
        EXPECT_GE(theta, 0.0);
        EXPECT_LE(theta, PI / 2 + 1e-7);
        EXPECT_NEAR(std::sin(theta) * std::cos(phi), table[k].x, 2e-6);
        EXPECT_NEAR(std::sin(theta) * std::sin(phi), table[k].y, 2e-6);
        EXPECT_NEAR(std::cos(theta), table[k].z, 2e-6);
    }
}

TEST(GetOrientations, GivesOneAngleInThePlane) {
    const CSize size(20, 1);
    const auto estimator = with_result(size, 0, [](long long x, long long, long long) {
        return x < 18 ? x : static_cast<long long>(EXCLUDED);
    });
    const auto colatitude = floats(size);
    const auto longitude = floats(size);
    ASSERT_TRUE(estimator->GetOrientations(*colatitude, *longitude));
    for (int k = 0; k < 20; ++k) {
        EXPECT_NEAR(colatitude->Pixels<float>()[k], k < 18 ? k * PI / 18 : -1.0, 1e-6);
        EXPECT_EQ(longitude->Pixels<float>()[k], -1.0F);
    }
}

TEST(GetOrientations, KnowsNoDirectionBeyondTheImage) {
    const auto estimator = with_result(CSize(2, 2), 0, [](long long, long long, long long) { return 3; });
    const auto colatitude = floats(CSize(3, 4));
    const auto longitude = floats(CSize(3, 4));
    ASSERT_TRUE(estimator->GetOrientations(*colatitude, *longitude));
    for (long long y = 0; y < 4; ++y) {
        for (long long x = 0; x < 3; ++x) {
            const float angle = colatitude->Pixels<float>()[y * 3 + x];
            EXPECT_NEAR(angle, x < 2 && y < 2 ? PI / 6 : -1.0, 1e-6);
        }
    }
}

TEST(OrientationHistogram, CountsEveryDirectionAndNoExcludedPixel) {
    const auto estimator = with_result(CSize(8, 3, 2), 0, in_turn);
    CValueMap map;
    map.SetEntry("stale", new CValueLong(1));
    ASSERT_TRUE(estimator->OrientationHistogram(map));
    ASSERT_EQ(map.Size(), 18U);
    const auto table = Impl::StPointsOnSphere::GetTable(0);
    for (unsigned long long k = 0; k < 18; ++k) {
        const CValue* entry = map.Entry(CValue_Key(k));
        ASSERT_NE(entry, nullptr) << k;
        const CValueVector& row = entry->Vector();
        ASSERT_EQ(row.Size(), 4U);
        EXPECT_EQ(row.Entry(0)->Double(), table[k].x);
        EXPECT_EQ(row.Entry(1)->Double(), table[k].y);
        EXPECT_EQ(row.Entry(2)->Double(), table[k].z);
        EXPECT_EQ(row.Entry(3)->Long(), k < 3 ? 12 : 0);
    }
    EXPECT_EQ(map.Keys().front(), CValue_Key(0));
    EXPECT_EQ(map.Keys().back(), CValue_Key(17));
}

TEST(OrientationHistogram, HasThreeValuesPerDirectionInThePlane) {
    const auto estimator = with_result(CSize(8, 3), 1, in_turn);
    CValueMap map;
    ASSERT_TRUE(estimator->OrientationHistogram(map));
    ASSERT_EQ(map.Size(), 50U);
    const CValueVector& row = map.Entry(CValue_Key(0))->Vector();
    ASSERT_EQ(row.Size(), 3U);
    EXPECT_EQ(row.Entry(0)->Double(), 1.0);
    EXPECT_EQ(row.Entry(1)->Double(), 0.0);
    EXPECT_EQ(row.Entry(2)->Long(), 6);
}

TEST(OrientationTensor, IsTheMeanOuterProduct) {
    const auto estimator = with_result(CSize(9, 4, 3), 0, in_turn);
    // x from 0 to 7: two of each axis and two excluded pixels per row
    const STensor found = tensor_of(*estimator, 3, CBox(0, 0, 0, 8, 3, 2));
    EXPECT_EQ(found.count, 6 * 3 * 2);
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t col = 0; col < 3; ++col) {
            EXPECT_NEAR(found.tensor(row, col), row == col ? 1.0 / 3.0 : 0.0, 1e-15);
        }
    }
}

TEST(OrientationTensor, IsTheOuterProductOfASingleDirection) {
    const auto estimator = with_result(CSize(5, 5, 5), 0, [](long long, long long, long long) { return 3; });
    const STensor found = tensor_of(*estimator, 3, CBox(0, 0, 0, 4, 4, 4));
    EXPECT_EQ(found.count, 64);
    const double v[3] = {0.688157, -0.722334, 0.0683619};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t col = 0; col < 3; ++col) {
            EXPECT_NEAR(found.tensor(row, col), v[row] * v[col], 1e-14);
        }
    }
}

TEST(OrientationTensor, LeavesOutTheUpperCorner) {
    const auto estimator = with_result(CSize(6, 5), 0, [](long long, long long, long long) { return 0; });
    const auto count = [&](const CPos& a, const CPos& b) {
        return tensor_of(*estimator, 2, CBox(a, b)).count;
    };
    EXPECT_EQ(count({0, 0}, {5, 4}), 5 * 4); // all but the last column and row
    EXPECT_EQ(count({0, 0}, {100, 100}), 5 * 4);
    EXPECT_EQ(count({1, 1}, {3, 4}), 2 * 3);
    EXPECT_EQ(count({3, 4}, {1, 1}), 2 * 3); // corners in any order
    EXPECT_EQ(count({2, 2}, {2, 2}), 1);
    EXPECT_EQ(count({5, 4}, {5, 4}), 1); // the very last pixel
    EXPECT_EQ(count({-3, -3}, {2, 2}), 2 * 2);
    EXPECT_EQ(count({-9, -9}, {-5, -5}), 1); // clipped to the first pixel
}

TEST(OrientationTensor, FindsNothingBeyondTheFarEdge) {
    const auto estimator = with_result(CSize(6, 5, 4), 0, [](long long, long long, long long) { return 0; });
    for (const CBox& box : {CBox(6, 0, 0, 9, 4, 3), CBox(0, 5, 0, 5, 7, 3), CBox(0, 0, 4, 5, 4, 4)}) {
        const STensor found = tensor_of(*estimator, 3, box);
        EXPECT_EQ(found.count, 0);
        EXPECT_EQ(found.tensor(0, 0), 0.0);
    }
}

TEST(OrientationTensor, IsZeroWhereAllPixelsAreExcluded) {
    const auto estimator =
        with_result(CSize(4, 4), 0, [](long long, long long, long long) { return EXCLUDED; });
    const STensor found = tensor_of(*estimator, 2, CBox(0, 0, 0, 3, 3, 0));
    EXPECT_EQ(found.count, 0);
    EXPECT_TRUE(found.tensor == CMatrix<double>(2, 2));
}

TEST(BestOrientation, CopiesTheDirectionOfAPixel) {
    const auto estimator = with_result(CSize(8, 2, 2), 0, in_turn);
    CMatrix<double> vector(3, 1);
    ASSERT_TRUE(estimator->BestOrientation(vector, CPos(4, 1, 1)));
    EXPECT_EQ(vector(2, 0), 1.0);
    ASSERT_TRUE(estimator->BestOrientation(vector, CPos(6, 0, 1)));
    EXPECT_EQ(vector(0, 0), 1.0);
    EXPECT_EQ(vector(2, 0), 6.12323e-17);
}

TEST(BestOrientation, IsNoneAtAnExcludedPixel) {
    const auto estimator = with_result(CSize(8, 2, 2), 0, in_turn);
    CMatrix<double> vector(3, 1);
    vector(0, 0) = 9.0;
    EXPECT_FALSE(estimator->BestOrientation(vector, CPos(3, 0, 0)));
    EXPECT_EQ(vector(0, 0), 9.0);
}

TEST(BestOrientation, RefusesAPositionOutsideTheImage) {
    const auto estimator = with_result(CSize(8, 2, 2), 0, in_turn);
    CMatrix<double> vector(3, 1);
    EXPECT_THROW(estimator->BestOrientation(vector, CPos(8, 0, 0)), CExBadParam);
    EXPECT_THROW(estimator->BestOrientation(vector, CPos(0, -1, 0)), CExBadParam);
}

TEST(GetBestResponse, CopiesTheStoredImage) {
    const CSize size(4, 3);
    CFilterOrientations estimator(1.0F, 1.0F, nullptr, nullptr);
    const auto image = floats(size, 3.0F);
    image->Pixels<float>()[5] = 100.0F;
    estimator.Compute(*image, CFilterOrientations::eCoarse, nullptr);
    const auto out = floats(size);
    ASSERT_TRUE(estimator.GetBestResponse(*out));
    const std::vector<float> responses = test::PixelsOf<float>(*out);
    EXPECT_EQ(std::max_element(responses.begin(), responses.end()) - responses.begin(), 5);
}

} // namespace TEVRA
