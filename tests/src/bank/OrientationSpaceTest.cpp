// SPDX-License-Identifier: BSD-3-Clause
#include "FilterOrientations/OrientationSpace.h"

#include "Axes/AxialAngle.h"
#include "Numeric/Matrix.h"
#include "Utils/SaturatedFloat.h"
#include "support/MakeImage.h"
#include "support/StridedImage.h"
#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

constexpr float PI_F = std::numbers::pi_v<float>;
constexpr double FLOAT_ROUNDING = 5e-7;
const CSize SIZE(4, 3, 2);

std::unique_ptr<CImage> float_image(const CSize& size, float value = 0.0F) {
    return test::MakeImage<float>(IMAGE_GREY_F, size,
                                  [value](long long, long long, long long) { return value; });
}

CMatrix<double> vector(double x, double y, double z) {
    CMatrix<double> v(3, 1);
    v(0, 0) = x;
    v(1, 0) = y;
    v(2, 0) = z;
    return v;
}

/// Distance of one axis from a reference.
float distance(float theta, float phi, const CMatrix<double>& reference) {
    const CSize one(1, 1, 1);
    const auto out = float_image(one, 7.0F);
    COrientationSpace::PointWiseDistance(*out, *float_image(one, theta), *float_image(one, phi), reference);
    return out->Pixels<float>()[0];
}

struct SImages {
    std::unique_ptr<CImage> out = float_image(SIZE, 7.0F);
    std::unique_ptr<CImage> theta = float_image(SIZE);
    std::unique_ptr<CImage> phi = float_image(SIZE);
    CMatrix<double> reference = vector(0.0, 0.0, 1.0);

    void Compute() const { COrientationSpace::PointWiseDistance(*out, *theta, *phi, reference); }
};

std::vector<std::byte> bytes_of(const CImage& image) {
    const std::byte* first = image.Pixels<std::byte>();
    return std::vector<std::byte>(first, first + image.Size().Elements() * image.Type().BytesPerPixel());
}

/// The message, and that the failed check left the output untouched.
void expect_refused(const SImages& images, const std::string& text) {
    const std::vector<std::byte> before = bytes_of(*images.out);
    test::ExpectThrown([&] { images.Compute(); }, {text, "TEVRA::COrientationSpace::PointWiseDistance",
                                                   "src/FilterOrientations/OrientationSpace"});
    EXPECT_EQ(before, bytes_of(*images.out));
}

constexpr const char* UNEQUAL = "All input images must be equally large.";
constexpr const char* NOT_3D = "All input images must be 3D.";
constexpr const char* NOT_FLOAT = "All input images must be float-type.";
constexpr const char* NO_COLUMN = "The vector with the reference direction must be 3x1.";

} // namespace

TEST(PointWiseDistance, IsTheColatitudeForTheZAxis) {
    EXPECT_NEAR(distance(0.3F, 1.0F, vector(0, 0, 1)), 0.3, FLOAT_ROUNDING);
}

TEST(PointWiseDistance, IsTheSameForAnAxisPointingDown) {
    EXPECT_NEAR(distance(PI_F - 0.3F, 1.0F, vector(0, 0, 1)), 0.3, FLOAT_ROUNDING);
    EXPECT_NEAR(distance(0.3F, 1.0F, vector(0, 0, -1)), 0.3, FLOAT_ROUNDING);
}

TEST(PointWiseDistance, IsARightAngleForPerpendicularAxes) {
    EXPECT_NEAR(distance(PI_F / 2, 0.0F, vector(0, 1, 0)), std::numbers::pi / 2, FLOAT_ROUNDING);
}

TEST(PointWiseDistance, TakesColatitudeZeroForTheZAxis) {
    EXPECT_EQ(distance(0.0F, 2.0F, vector(0, 0, 1)), 0.0F);
    EXPECT_NEAR(distance(0.0F, 2.0F, vector(1, 0, 0)), std::numbers::pi / 2, FLOAT_ROUNDING);
}

TEST(PointWiseDistance, MarksEveryNegativeColatitude) {
    for (const float theta : {-1.0F, -1e-30F, -4.1415925F, -std::numeric_limits<float>::infinity()}) {
        EXPECT_EQ(distance(theta, 0.5F, vector(0, 0, 1)), -1.0F) << theta;
    }
}

TEST(PointWiseDistance, TakesNegativeZeroForADirection) {
    EXPECT_EQ(distance(-0.0F, 0.5F, vector(0, 0, 1)), 0.0F);
}

TEST(PointWiseDistance, AgreesWithTheAngleFromTheCrossProduct) {
    std::mt19937_64 random(20240501);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    for (int i = 0; i < 2000; ++i) {
        const auto theta = static_cast<float>(std::acos(uniform(random)));
        const auto phi = static_cast<float>(std::numbers::pi * uniform(random));
        double r[3] = {uniform(random), uniform(random), uniform(random)};
        const double length = std::hypot(r[0], r[1], r[2]);
        for (double& component : r) {
            component /= length;
        }
        const double t = static_cast<double>(theta);
        const double p = static_cast<double>(phi);
        const double n[3] = {std::sin(t) * std::cos(p), std::sin(t) * std::sin(p), std::cos(t)};
        const double dot = r[0] * n[0] + r[1] * n[1] + r[2] * n[2];
        const double cross =
            std::hypot(r[1] * n[2] - r[2] * n[1], r[2] * n[0] - r[0] * n[2], r[0] * n[1] - r[1] * n[0]);
        // An arc cosine in doubles resolves angles near 0 to the square root of the float rounding.
        EXPECT_NEAR(distance(theta, phi, vector(r[0], r[1], r[2])), std::atan2(cross, std::abs(dot)), 5e-4);
    }
}

TEST(PointWiseDistance, DoesNotNormaliseTheReference) {
    EXPECT_NEAR(distance(0.0F, 0.0F, vector(0, 0, 0.5)), std::acos(0.5), FLOAT_ROUNDING);
    EXPECT_TRUE(std::isnan(distance(0.0F, 0.0F, vector(0, 0, 1.01))));
    EXPECT_TRUE(std::isnan(distance(0.0F, 0.0F, vector(0, 0, -1.01))));
}

TEST(PointWiseDistance, KeepsNaN) {
    constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::isnan(distance(NOT_A_NUMBER, 0.0F, vector(0, 0, 1))));
    EXPECT_TRUE(std::isnan(distance(0.5F, NOT_A_NUMBER, vector(0, 0, 1))));
}

TEST(PointWiseDistance, ReadsAndWritesThroughStrides) {
    test::CStridedImage out(IMAGE_GREY_F, SIZE, {1, 2, 3});
    test::CStridedImage theta(IMAGE_GREY_F, SIZE, {4, 0, 1});
    test::CStridedImage phi(IMAGE_GREY_F, SIZE, {0, 3, 2});
    const auto value = [](long long x, long long y, long long z) {
        return 0.05 * static_cast<double>(x + 4 * y + 12 * z) - 0.1;
    };
    theta.Fill<float>(value);
    COrientationSpace::PointWiseDistance(out, theta, phi, vector(0, 0, 1));
    for (long long z = 0; z < 2; ++z) {
        for (long long y = 0; y < 3; ++y) {
            for (long long x = 0; x < 4; ++x) {
                const float expected = theta.At<float>(x, y, z) < 0.0F ? -1.0F : theta.At<float>(x, y, z);
                EXPECT_NEAR(out.At<float>(x, y, z), expected, FLOAT_ROUNDING);
            }
        }
    }
    EXPECT_TRUE(out.GuardsIntact());
    EXPECT_EQ(out.OpenAccesses() + theta.OpenAccesses() + phi.OpenAccesses(), 0);
}

TEST(PointWiseDistance, RefusesImagesOfOtherSizes) {
    SImages images;
    images.theta = float_image(CSize(4, 3, 3));
    expect_refused(images, UNEQUAL);
    images = SImages();
    images.phi = float_image(CSize(5, 3, 2));
    expect_refused(images, UNEQUAL);
    images = SImages();
    images.out = float_image(CSize(4, 3), 7.0F);
    expect_refused(images, UNEQUAL);
}

TEST(PointWiseDistance, RefusesPlanarImages) {
    SImages images;
    images.out = float_image(CSize(4, 3), 7.0F);
    images.theta = float_image(CSize(4, 3));
    images.phi = float_image(CSize(4, 3));
    expect_refused(images, NOT_3D);
}

TEST(PointWiseDistance, RefusesOtherPixelTypes) {
    for (std::unique_ptr<CImage> SImages::*image : {&SImages::out, &SImages::theta, &SImages::phi}) {
        for (const IImage::CType* type : {&IMAGE_GREY_8, &IMAGE_GREY_16, &IMAGE_COMPLEX_F}) {
            SImages images;
            images.*image = std::make_unique<CImage>(*type, SIZE, CSize(0, 0, 0));
            expect_refused(images, NOT_FLOAT);
        }
    }
}

TEST(PointWiseDistance, RefusesAReferenceThatIsNoColumnOfThree) {
    for (const auto& [rows, cols] :
         std::vector<std::pair<std::size_t, std::size_t>>{{1, 3}, {2, 1}, {3, 3}}) {
        SImages images;
        images.reference = CMatrix<double>(rows, cols);
        expect_refused(images, NO_COLUMN);
    }
}

TEST(PointWiseDistance, ChecksSizesThenDimensionsThenTypesThenTheReference) {
    const auto grey = [](const CSize& size) {
        return std::make_unique<CImage>(IMAGE_GREY_8, size, CSize(0, 0, 0));
    };
    SImages images;
    images.reference = CMatrix<double>(1, 3);
    images.out = grey(CSize(4, 3));
    images.theta = grey(CSize(4, 3));
    images.phi = grey(CSize(4, 2));
    expect_refused(images, UNEQUAL);
    images.phi = grey(CSize(4, 3));
    expect_refused(images, NOT_3D);
    images.out = grey(SIZE);
    images.theta = grey(SIZE);
    images.phi = grey(SIZE);
    expect_refused(images, NOT_FLOAT);
}

TEST(AxialAngle, FoldsTheAngleBetweenVectors) {
    EXPECT_EQ(Impl::AxialAngle(1.0), 0.0);
    EXPECT_EQ(Impl::AxialAngle(-1.0), 0.0);
    EXPECT_DOUBLE_EQ(Impl::AxialAngle(0.0), std::numbers::pi / 2);
    EXPECT_DOUBLE_EQ(Impl::AxialAngle(-0.5), std::numbers::pi / 3);
    EXPECT_TRUE(std::isnan(Impl::AxialAngle(1.0 + 1e-15)));
}

TEST(SaturatedFloat, ClampsNumbersAndKeepsTheRest) {
    constexpr float LARGEST = std::numeric_limits<float>::max();
    constexpr double INFINITE = std::numeric_limits<double>::infinity();
    constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
    for (float (*convert)(double) : {&Impl::SaturatedFloat, &Impl::SaturatedFloatWithoutNan}) {
        EXPECT_EQ(convert(0.1), 0.1F);
        EXPECT_EQ(convert(3.4028234663852886e38), LARGEST);
        EXPECT_EQ(convert(3.40282356e38), LARGEST); // rounds to infinity without the clamp
        EXPECT_EQ(convert(1e300), LARGEST);
        EXPECT_EQ(convert(-1e300), -LARGEST);
        EXPECT_EQ(convert(INFINITE), std::numeric_limits<float>::infinity());
        EXPECT_EQ(convert(-INFINITE), -std::numeric_limits<float>::infinity());
    }
    EXPECT_TRUE(std::isnan(Impl::SaturatedFloat(NOT_A_NUMBER)));
    EXPECT_EQ(Impl::SaturatedFloatWithoutNan(NOT_A_NUMBER), -LARGEST);
}

} // namespace TEVRA
