// SPDX-License-Identifier: BSD-3-Clause
#include "FilterBank/FilterMask.h"

#include "FilterOrientations/FilterOrientations.h"
#include "FilterOrientations/PointsOnSphere.h"
#include "src/bank/TestAccess.h"
#include "support/AwkwardSizes.h"
#include "support/MakeImage.h"
#include "support/StridedImage.h"
#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

namespace TEVRA {
namespace {

using Complex = std::complex<float>;
using Direction = std::array<double, 3>;

constexpr float LOWEST = std::numeric_limits<float>::lowest();
constexpr float INFINITE = std::numeric_limits<float>::infinity();

struct SWidths {
    float major;
    float minor;
};

CFilterOrientations estimator(const SWidths& widths) {
    return {widths.major, widths.minor, nullptr, nullptr};
}

std::vector<Complex> mask(const SWidths& widths, const CSize& size, Direction direction) {
    CImage image(IMAGE_COMPLEX_F, size, CSize(0, 0, 0));
    CFilterOrientations filters = estimator(widths);
    CTestAccess::FillFilterMask(filters, image, direction.data(), size.Dim());
    return test::PixelsOf<Complex>(image);
}

/// The form from its closed form, the value pixel by pixel: major^2 v v^T + minor^2 (I - v v^T).
float straightforward(const SWidths& widths, const CSize& size, const Direction& v,
                      const std::array<long long, 3>& pixel) {
    double square = 0.0;
    double along = 0.0;
    for (std::size_t k = 0; k < static_cast<std::size_t>(size.Dim()); ++k) {
        const auto centre = static_cast<double>(size[static_cast<long long>(k)] / 2);
        const double w = (static_cast<double>(pixel[k]) - centre) / centre;
        square += w * w;
        along += w * v[k];
    }
    const double major = static_cast<double>(widths.major);
    const double minor = static_cast<double>(widths.minor);
    const double q = major * major * along * along + minor * minor * (square - along * along);
    const double value = std::exp(-0.5 * q);
    return std::isnan(value) ? LOWEST : static_cast<float>(value);
}

bool is_within_one_rounding(float a, float b) {
    return a == b || std::nextafter(a, INFINITE) == b || std::nextafter(a, -INFINITE) == b;
}

/// Number of pixels that are off by more than one rounding.
int count_wrong(const SWidths& widths, const CSize& size, const Direction& direction) {
    const std::vector<Complex> values = mask(widths, size, direction);
    int wrong = 0;
    std::size_t at = 0;
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x, ++at) {
                const float expected = straightforward(widths, size, direction, {x, y, z});
                if (!is_within_one_rounding(values[at].real(), expected) || values[at].imag() != 0.0F) {
                    ++wrong;
                }
            }
        }
    }
    return wrong;
}

std::vector<SWidths> widths_to_try() {
    return {{0.0F, 0.0F}, {1.0F, 0.5F}, {5.0F, 2.0F}, {2.0F, 5.0F}, {-4.0F, 1.0F}, {40.0F, 3.0F}};
}

const std::array<Direction, 5> DIRECTIONS{{{0.0, 0.0, 1.0},
                                           {0.0, 1.0, 6.12323e-17},
                                           {1.0, 0.0, 6.12323e-17},
                                           {0.48, -0.6, 0.64},
                                           {-0.6, 0.64, 0.48}}};

/// One row, exactly as exp(-q / 2) pixel by pixel gives it.
std::vector<float> row_by_exponentials(const Impl::SGaussianRow& row, std::size_t count) {
    std::vector<float> values(count);
    for (std::size_t x = 0; x < count; ++x) {
        values[x] = static_cast<float>(std::exp(row.Exponent(static_cast<double>(x))));
    }
    return values;
}

/// The same bits; but all that is not a number is the same.
bool have_same_values(const std::vector<Complex>& left, const std::vector<Complex>& right) {
    const auto is_same = [](float a, float b) {
        return (std::isnan(a) && std::isnan(b)) ||
               std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
    };
    return std::ranges::equal(left, right, [&](const Complex& a, const Complex& b) {
        return is_same(a.real(), b.real()) && is_same(a.imag(), b.imag());
    });
}

} // namespace

TEST(GaussianRow, IsWithinOneRoundingOfSingleExponentials) {
    for (const std::size_t count : {1, 2, 3, 7, 17, 24, 47, 48, 49, 55, 57, 64, 65, 127, 513, 2000}) {
        for (const double a : {0.0, 1e-3, 1.0, 30.0, 2000.0, 1e6, 1e10}) {
            for (const double tilt : {-1.0, -0.3, 0.0, 0.7}) {
                const Impl::SGaussianRow row{a, 2.0 * a * tilt, a * tilt * tilt + 0.7,
                                             static_cast<double>(count / 2)};
                if (count < 2) {
                    continue; // the centre divides
                }
                std::vector<float> values(count);
                Impl::FillGaussianRow(row, values);
                const std::vector<float> expected = row_by_exponentials(row, count);
                for (std::size_t x = 0; x < count; ++x) {
                    ASSERT_TRUE(is_within_one_rounding(values[x], expected[x]))
                        << "count " << count << " a " << a << " tilt " << tilt << " x " << x << ": "
                        << values[x] << " for " << expected[x];
                }
            }
        }
    }
}

TEST(GaussianRow, TurnsNotANumberIntoTheLowestFloat) {
    std::vector<float> values(40, 7.0F);
    Impl::FillGaussianRow({std::nan(""), 0.0, 0.0, 20.0}, values);
    EXPECT_EQ(values, std::vector<float>(40, LOWEST));
}

TEST(MultiplyByGaussianRow, EqualsTheProductWithTheFilledRow) {
    constexpr float NO_NUMBER = std::numeric_limits<float>::quiet_NaN();
    constexpr Complex UNTOUCHED(7.0F, 7.0F);
    for (const std::size_t count : {0, 1, 2, 3, 7, 8, 9, 17, 47, 48, 49, 55, 64, 65, 200, 513, 2000}) {
        for (const double a :
             {0.0, 1.0, 30.0, 2000.0, 1e6, std::nan("")}) { // NaN, exponentials and zeros, too
            const Impl::SGaussianRow row{a, 0.6 * a, 0.7, 0.5 * static_cast<double>(count) + 1.0};
            std::vector<float> values(count);
            Impl::FillGaussianRow(row, values);
            std::vector<Complex> spectrum(count);
            std::vector<Complex> expected(count + 1, UNTOUCHED);
            for (std::size_t i = 0; i < count; ++i) {
                const auto number = static_cast<float>(i);
                spectrum[i] = {i % 11 == 5 ? INFINITE : 1.5F + number,
                               i % 13 == 6 ? NO_NUMBER : -0.25F * number};
                expected[i] = {spectrum[i].real() * values[i], spectrum[i].imag() * values[i]};
            }
            std::vector<Complex> product(count + 1, UNTOUCHED);
            Impl::MultiplyByGaussianRow(row, spectrum, {product.data(), count});
            EXPECT_TRUE(have_same_values(product, expected)) << count << " pixels, a " << a;
            Impl::MultiplyByGaussianRow(row, spectrum, spectrum);
            expected.resize(count);
            EXPECT_TRUE(have_same_values(spectrum, expected)) << "in place, " << count << " pixels, a " << a;
        }
    }
}

TEST(KeepMaximum, TakesLargerResponsesOnly) {
    constexpr float NO_NUMBER = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> cases{-INFINITE, -2.0F, -1.0F, -0.0F, 0.0F, 1e-45F, 1.0F, INFINITE, NO_NUMBER};
    std::vector<float> responses;
    std::vector<float> best;
    for (const float response : cases) {
        for (const float before : cases) {
            responses.push_back(response);
            best.push_back(before);
        }
    }
    for (std::size_t count = 0; count <= responses.size(); ++count) {
        std::vector<float> after = best;
        std::vector<unsigned char> numbers(best.size(), 3);
        Impl::KeepMaximum({responses.data(), count}, {after.data(), count}, {numbers.data(), count}, 200);
        for (std::size_t i = 0; i < best.size(); ++i) {
            const bool isTaken = i < count && responses[i] > best[i];
            EXPECT_EQ(numbers[i], isTaken ? 200 : 3);
            const float expected = isTaken ? responses[i] : best[i];
            EXPECT_EQ(std::memcmp(&after[i], &expected, sizeof expected), 0) << i << " of " << count;
        }
    }
}

TEST(FilterMask, IsWithinOneRoundingOfTheStraightforwardEvaluationInSpace) {
    for (const CSize& size : test::AwkwardSizes3D()) {
        for (const SWidths& widths : widths_to_try()) {
            EXPECT_EQ(count_wrong(widths, size, DIRECTIONS[3]), 0)
                << size.ToString() << " widths " << widths.major << ", " << widths.minor;
        }
    }
    for (const Direction& direction : DIRECTIONS) {
        EXPECT_EQ(count_wrong({5.0F, 2.0F}, CSize(31, 30, 29), direction), 0);
        EXPECT_EQ(count_wrong({70.0F, 20.0F}, CSize(64, 9, 8), direction), 0);
    }
}

TEST(FilterMask, IsWithinOneRoundingOfTheStraightforwardEvaluationInThePlane) {
    for (const CSize& size : test::AwkwardSizes2D()) {
        for (const SWidths& widths : widths_to_try()) {
            EXPECT_EQ(count_wrong(widths, size, {0.6, 0.8, 0.0}), 0)
                << size.ToString() << " widths " << widths.major << ", " << widths.minor;
        }
    }
}

TEST(FilterMask, IsOneAtTheCentrePixel) {
    EXPECT_EQ(mask({5.0F, 2.0F}, CSize(64, 64), {0.6, 0.8, 0.0})[32 * 64 + 32], Complex(1.0F, 0.0F));
    EXPECT_EQ(mask({5.0F, 2.0F}, CSize(9, 8, 7), DIRECTIONS[3])[(3 * 8 + 4) * 9 + 4], Complex(1.0F, 0.0F));
}

TEST(FilterMask, BeginsAtMinusOneAndEndsBeforeOne) {
    // Both frequencies are -1 at the first pixel of an even image: q = 2 width^2.
    const std::vector<Complex> values = mask({1.0F, 1.0F}, CSize(64, 64), {1.0, 0.0, 0.0});
    EXPECT_NEAR(values[0].real(), std::exp(-1.0), 1e-7);
    EXPECT_NEAR(values[64 * 64 - 1].real(), std::exp(-std::pow(31.0 / 32.0, 2)), 1e-7);
}

TEST(FilterMask, FallsOffFastestAlongTheDirection) {
    const std::vector<Complex> values = mask({4.0F, 1.0F}, CSize(32, 32), {1.0, 0.0, 0.0});
    EXPECT_NEAR(values[16 * 32 + 24].real(), std::exp(-0.5 * 16.0 * 0.25), 1e-7); // w = (1/2, 0)
    EXPECT_NEAR(values[24 * 32 + 16].real(), std::exp(-0.5 * 1.0 * 0.25), 1e-7);  // w = (0, 1/2)
}

TEST(FilterMask, IsTheSameForEveryDirectionIfTheWidthsAreEqual) {
    const CSize size(12, 11, 10);
    const std::vector<Complex> expected = mask({2.5F, 2.5F}, size, DIRECTIONS[0]);
    for (const Direction& direction : DIRECTIONS) {
        const std::vector<Complex> values = mask({2.5F, 2.5F}, size, direction);
        for (std::size_t i = 0; i < values.size(); ++i) {
            ASSERT_TRUE(is_within_one_rounding(values[i].real(), expected[i].real()));
        }
    }
}

TEST(FilterMask, HoldsTheLowestFloatOnAnAxisOfOnePixel) {
    for (const CSize& size : {CSize(1, 8, 8), CSize(8, 1, 8), CSize(8, 8, 1)}) {
        for (const Complex& value : mask({2.0F, 1.0F}, size, DIRECTIONS[3])) {
            EXPECT_EQ(value, Complex(LOWEST, 0.0F));
        }
    }
}

TEST(FilterMask, IsWrittenThroughStrides) {
    const CSize size(7, 6, 5);
    test::CStridedImage image(IMAGE_COMPLEX_F, size);
    CFilterOrientations filters = estimator({3.0F, 1.0F});
    CTestAccess::FillFilterMask(filters, image, DIRECTIONS[3].data(), 3);
    const std::vector<Complex> expected = mask({3.0F, 1.0F}, size, DIRECTIONS[3]);
    std::size_t at = 0;
    for (long long z = 0; z < 5; ++z) {
        for (long long y = 0; y < 6; ++y) {
            for (long long x = 0; x < 7; ++x) {
                EXPECT_EQ(image.At<Complex>(x, y, z), expected[at++]);
            }
        }
    }
    EXPECT_TRUE(image.GuardsIntact());
    EXPECT_EQ(image.OpenAccesses(), 0);
}

TEST(FilterMask, TakesEveryStoredDirection) {
    for (const int dimension : {2, 3}) {
        const CSize size = dimension == 2 ? CSize(4, 4) : CSize(4, 4, 4);
        for (const int resolution : {0, 1, 2}) {
            const std::unique_ptr<CMatrix<double>> points(
                Impl::StPointsOnSphere::GetPoints(resolution, dimension));
            for (std::size_t row = 0; row < points->Rows(); ++row) {
                Direction direction{};
                for (std::size_t k = 0; k < points->Cols(); ++k) {
                    direction[k] = (*points)(row, k);
                }
                EXPECT_NO_THROW(mask({2.0F, 1.0F}, size, direction));
            }
        }
    }
}

TEST(FilterMask, TakesDirectionsOfUnitLengthToOneMillionth) {
    EXPECT_NO_THROW(mask({2.0F, 1.0F}, CSize(4, 4), {1.0 + 5e-7, 0.0, 0.0}));
    for (const Direction& direction :
         {Direction{1.1, 0.0, 0.0}, Direction{1.0 + 2e-6, 0.0, 0.0}, Direction{0.0, 0.0, 0.0}}) {
        for (const CSize& size : {CSize(4, 4), CSize(4, 4, 4)}) {
            test::ExpectThrown(
                [&] {
                    mask({2.0F, 1.0F}, size, direction);
                },
                {"The vector describing the major axis of the Gaussian must be a unit vector.",
                 "`anonymous-namespace'::ConstructBase", "src/FilterOrientations/FilterOrientations"});
        }
    }
}

TEST(FilterMask, LooksAtTwoComponentsInThePlane) {
    EXPECT_NO_THROW(mask({2.0F, 1.0F}, CSize(4, 4), {0.6, 0.8, 5.0}));
}

TEST(FilterWidths, AreSquaredOnTheDiagonal) {
    CFilterOrientations filters = estimator({3.0F, -0.5F});
    for (const auto& [dimension, size] : {std::pair<int, std::size_t>{3, 3}, {2, 2}, {7, 2}}) {
        const IMatrix<double>& widths = CTestAccess::Widths(filters, dimension);
        ASSERT_EQ(widths.Rows(), size);
        ASSERT_EQ(widths.Cols(), size);
        for (std::size_t row = 0; row < size; ++row) {
            for (std::size_t col = 0; col < size; ++col) {
                const double expected = row == 0 ? 9.0 : 0.25;
                EXPECT_EQ(widths(row, col), row == col ? expected : 0.0);
            }
        }
    }
}

} // namespace TEVRA
