// SPDX-License-Identifier: BSD-3-Clause
#include "VexoSpectral/FourierTransformation.h"

#include "DirectFourierSum.h"
#include "VexoSpectral/FftwPlan.h"
#include "support/AwkwardSizes.h"
#include "support/MakeImage.h"
#include "support/MemoryLimit.h"
#include "support/StridedImage.h"
#include "support/ThreadCount.h"
#include "support/ThrownException.h"
#include "support/TransposedView.h"
#include "zeklib2core/Exception.h"

#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <limits>
#include <random>
#include <thread>

namespace TEVRA::test {
namespace {

using ComplexF = std::complex<float>;

// A transform of N values makes about log2(N) roundings of each, and their errors add like a random walk:
// about 0.5 sqrt(log2 N) * 6e-8 of the RMS value, 1.2e-7 for the sizes below. Prime extents beyond FFTW's own
// small ones go through convolutions of about twice the length, forth and back, and lose some three times as
// much.
constexpr double RMS_TOLERANCE = 3e-7;
constexpr double PRIME_RMS_TOLERANCE = 8e-7;

double tolerance_for(const CSize& size) {
    for (int axis = 0; axis < size.Dim(); ++axis) {
        long long rest = size[axis];
        for (const long long factor : {2, 3, 5, 7, 11, 13}) {
            while (rest % factor == 0) {
                rest /= factor;
            }
        }
        if (rest > 1) {
            return PRIME_RMS_TOLERANCE;
        }
    }
    return RMS_TOLERANCE;
}

/// RMS of the differences over RMS of the expected values.
template <typename T, typename U>
double relative_rms_error(const std::vector<T>& actual, const std::vector<U>& expected) {
    double error = 0.0;
    double norm = 0.0;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        error += std::norm(std::complex<double>(actual[i]) - std::complex<double>(expected[i]));
        norm += std::norm(std::complex<double>(expected[i]));
    }
    return std::sqrt(error / norm);
}

std::unique_ptr<CImage> random_image(const IImage::CType& type, const CSize& size, unsigned seed) {
    std::mt19937 random(seed);
    const auto next = [&](long long, long long, long long) { return random() % 256; };
    if (type == IMAGE_GREY_8) {
        return MakeImage<std::uint8_t>(type, size, next);
    }
    if (type == IMAGE_GREY_16) {
        return MakeImage<std::uint16_t>(type, size,
                                        [&](long long, long long, long long) { return random() % 65536; });
    }
    return MakeImage<float>(type, size, [&](long long, long long, long long) {
        return static_cast<float>(random()) * 1e-9F - 2.0F;
    });
}

std::unique_ptr<CImage> random_spectrum(const CSize& size, unsigned seed) {
    std::mt19937 random(seed);
    const auto part = [&] { return static_cast<float>(random()) * 1e-9F - 2.0F; };
    return MakeImage<ComplexF>(IMAGE_COMPLEX_F, size, [&](long long, long long, long long) {
        const float real = part();
        return ComplexF(real, part());
    });
}

std::unique_ptr<CImage> empty_image(const IImage::CType& type, const CSize& size) {
    return std::make_unique<CImage>(type, size, CSize(0, 0, 0));
}

ComplexValues values_of(const CImage& image) {
    if (image.Type() == IMAGE_GREY_8) {
        const auto pixels = PixelsOf<std::uint8_t>(image);
        return {pixels.begin(), pixels.end()};
    }
    if (image.Type() == IMAGE_GREY_16) {
        const auto pixels = PixelsOf<std::uint16_t>(image);
        return {pixels.begin(), pixels.end()};
    }
    if (image.Type() == IMAGE_GREY_F) {
        const auto pixels = PixelsOf<float>(image);
        return {pixels.begin(), pixels.end()};
    }
    const auto pixels = PixelsOf<ComplexF>(image);
    return {pixels.begin(), pixels.end()};
}

std::vector<ComplexF> spectrum_of(const CImage& image) {
    const auto spectrum = empty_image(IMAGE_COMPLEX_F, image.Size());
    CFourierTransformation(nullptr, nullptr).Fft(*spectrum, image, nullptr);
    return PixelsOf<ComplexF>(*spectrum);
}

std::vector<float> inverse_of(const CImage& spectrum) {
    const auto image = empty_image(IMAGE_GREY_F, spectrum.Size());
    CFourierTransformation(nullptr, nullptr).InverseFft(*image, spectrum, nullptr);
    return PixelsOf<float>(*image);
}

void expect_direct_sum(const IImage::CType& type, const CSize& size) {
    const auto image = random_image(type, size, 11);
    const ComplexValues expected = Centred(DirectSum(values_of(*image), size, -1), size);
    EXPECT_LE(relative_rms_error(spectrum_of(*image), expected), tolerance_for(size)) << size.ToString();
}

/// Of a spectrum without any symmetry.
void expect_real_part_of_direct_sum(const CSize& size) {
    const auto spectrum = random_spectrum(size, 12);
    const ComplexValues sums = DirectSum(Uncentred(values_of(*spectrum), size), size, +1);
    std::vector<double> expected;
    for (const std::complex<double>& sum : sums) {
        expected.push_back(sum.real() / static_cast<double>(sums.size()));
    }
    EXPECT_LE(relative_rms_error(inverse_of(*spectrum), expected), tolerance_for(size)) << size.ToString();
}

const CSize size_1d(long long extent) {
    return CSize({extent});
}

TEST(FourierTransformation, ForwardEqualsTheDirectSumIn1D) {
    for (const long long extent : {1, 2, 3, 4, 5, 7, 8, 9, 16, 17, 31, 64, 97, 100, 146, 243, 257}) {
        expect_direct_sum(IMAGE_GREY_F, size_1d(extent));
    }
}

TEST(FourierTransformation, ForwardEqualsTheDirectSumIn2D) {
    for (const CSize& size : AwkwardSizes2D()) {
        expect_direct_sum(IMAGE_GREY_F, size);
    }
}

TEST(FourierTransformation, ForwardEqualsTheDirectSumIn3D) {
    for (const CSize& size : AwkwardSizes3D()) {
        expect_direct_sum(IMAGE_GREY_F, size);
    }
}

TEST(FourierTransformation, ForwardTakesWholeNumberImages) {
    for (const IImage::CType& type : {IMAGE_GREY_8, IMAGE_GREY_16}) {
        expect_direct_sum(type, CSize(12, 9));
        expect_direct_sum(type, CSize(5, 6, 7));
    }
}

TEST(FourierTransformation, InverseIsTheRealPartOfTheDirectSumIn1D) {
    for (const long long extent : {1, 2, 3, 4, 5, 7, 8, 9, 16, 17, 31, 64, 97, 100, 146, 243, 257}) {
        expect_real_part_of_direct_sum(size_1d(extent));
    }
}

TEST(FourierTransformation, InverseIsTheRealPartOfTheDirectSumIn2D) {
    for (const CSize& size : AwkwardSizes2D()) {
        expect_real_part_of_direct_sum(size);
    }
}

TEST(FourierTransformation, InverseIsTheRealPartOfTheDirectSumIn3D) {
    for (const CSize& size : AwkwardSizes3D()) {
        expect_real_part_of_direct_sum(size);
    }
}

TEST(FourierTransformation, InverseOfForwardGivesTheImageBack) {
    for (const CSize& size :
         {size_1d(1000), CSize(61, 64), CSize(50, 2100), CSize(33, 2101), CSize(32, 27, 20)}) {
        const auto image = random_image(IMAGE_GREY_F, size, 13);
        const auto spectrum = empty_image(IMAGE_COMPLEX_F, size);
        const auto back = empty_image(IMAGE_GREY_F, size);
        CFourierTransformation transformation(nullptr, nullptr);
        transformation.Fft(*spectrum, *image, nullptr);
        transformation.InverseFft(*back, *spectrum, nullptr);
        EXPECT_LE(relative_rms_error(PixelsOf<float>(*back), PixelsOf<float>(*image)),
                  2 * tolerance_for(size))
            << size.ToString();
    }
}

/// Columns so long that they are transformed strip by strip, against products of one-dimensional sums.
TEST(FourierTransformation, LongColumnsOfSeparableImagesGiveProductsOfSums) {
    for (const CSize& size :
         {CSize(61, 2500), CSize(64, 2500), CSize(50, 8200), CSize(49, 8200), CSize(35, 2500, 2)}) {
        std::array<ComplexValues, 3> factors;
        std::array<ComplexValues, 3> sums;
        std::mt19937 random(14);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            for (long long i = 0; i < size[static_cast<long long>(axis)]; ++i) {
                factors[axis].emplace_back(static_cast<float>(random()) * 1e-9F - 2.0F);
            }
            sums[axis] = DirectSum(factors[axis], -1);
        }
        const auto product = [](const std::array<ComplexValues, 3>& parts, std::size_t x, std::size_t y,
                                std::size_t z) { return parts[0][x] * parts[1][y] * parts[2][z]; };
        const auto image = MakeImage<float>(IMAGE_GREY_F, size, [&](long long x, long long y, long long z) {
            return product(factors, static_cast<std::size_t>(x), static_cast<std::size_t>(y),
                           static_cast<std::size_t>(z))
                .real();
        });
        ComplexValues expected;
        for (std::size_t z = 0; z < sums[2].size(); ++z) {
            for (std::size_t y = 0; y < sums[1].size(); ++y) {
                for (std::size_t x = 0; x < sums[0].size(); ++x) {
                    expected.push_back(product(sums, x, y, z));
                }
            }
        }
        EXPECT_LE(relative_rms_error(spectrum_of(*image), Centred(expected, size)), tolerance_for(size))
            << size.ToString();
    }
}

TEST(FourierTransformation, AConstantHasOnlyItsSumAtTheCentrePixel) {
    for (const CSize& size : {CSize(8, 6), CSize(7, 5), CSize(4, 6, 8), CSize(5, 3, 7)}) {
        const auto image = MakeImage<std::uint8_t>(IMAGE_GREY_8, size, [](auto, auto, auto) { return 3; });
        const std::vector<ComplexF> spectrum = spectrum_of(*image);
        const auto centre =
            static_cast<std::size_t>(((size[2] / 2) * size[1] + size[1] / 2) * size[0] + size[0] / 2);
        const auto sum = 3.0F * static_cast<float>(size.Elements());
        for (std::size_t i = 0; i < spectrum.size(); ++i) {
            EXPECT_NEAR(std::abs(spectrum[i] - (i == centre ? sum : 0.0F)), 0.0F, 1e-6F * sum)
                << size.ToString() << i;
        }
    }
}

TEST(FourierTransformation, AShiftedPointHasUnitMagnitudeAndLinearPhase) {
    const CSize size(12, 9, 10);
    const std::array<long long, 3> point{3, 7, 4};
    const auto image = MakeImage<float>(IMAGE_GREY_F, size, [&](long long x, long long y, long long z) {
        return std::array<long long, 3>{x, y, z} == point ? 1 : 0;
    });
    const std::vector<ComplexF> spectrum = spectrum_of(*image);
    std::size_t i = 0;
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x) {
                const double turns = static_cast<double>((x - 6) * point[0]) / 12.0 +
                                     static_cast<double>((y - 4) * point[1]) / 9.0 +
                                     static_cast<double>((z - 5) * point[2]) / 10.0;
                const std::complex<double> expected = std::polar(1.0, -2.0 * std::numbers::pi * turns);
                EXPECT_NEAR(std::abs(std::complex<double>(spectrum[i++]) - expected), 0.0, 1e-6)
                    << x << ' ' << y << ' ' << z;
            }
        }
    }
}

TEST(FourierTransformation, ACosineHasTwoPeaksAtItsFrequency) {
    const CSize size(32, 20);
    const auto image = MakeImage<float>(IMAGE_GREY_F, size, [](long long x, long long y, long long) {
        const double turns = 3.0 * static_cast<double>(x) / 32.0 - 2.0 * static_cast<double>(y) / 20.0;
        return static_cast<float>(std::cos(2.0 * std::numbers::pi * turns + 0.5));
    });
    const std::vector<ComplexF> spectrum = spectrum_of(*image);
    const std::complex<double> peak =
        std::polar(320.0, 0.5); // half the number of pixels, at the cosine's phase
    for (std::size_t i = 0; i < spectrum.size(); ++i) {
        const std::size_t x = i % 32;
        const std::size_t y = i / 32;
        std::complex<double> expected = 0.0;
        if (x == 16 + 3 && y == 10 - 2) {
            expected = peak;
        } else if (x == 16 - 3 && y == 10 + 2) {
            expected = std::conj(peak);
        }
        EXPECT_NEAR(std::abs(std::complex<double>(spectrum[i]) - expected), 0.0, 1e-4) << x << ' ' << y;
    }
}

TEST(FourierTransformation, ForwardIsExactlyHermitian) {
    for (const CSize& size : {size_1d(12), size_1d(17), CSize(8, 6), CSize(9, 7), CSize(1, 37), CSize(2, 31),
                              CSize(8, 5, 6), CSize(17, 6, 31), CSize(6, 23, 7), CSize(40, 2111)}) {
        const auto image = random_image(IMAGE_GREY_F, size, 15);
        const std::vector<ComplexF> spectrum = spectrum_of(*image);
        const auto opposite = [&](long long pixel, int axis) {
            const long long n = size[axis];
            return (2 * (n / 2) - pixel + n) % n;
        };
        std::size_t i = 0;
        for (long long z = 0; z < size[2]; ++z) {
            for (long long y = 0; y < size[1]; ++y) {
                for (long long x = 0; x < size[0]; ++x, ++i) {
                    const long long j =
                        (opposite(z, 2) * size[1] + opposite(y, 1)) * size[0] + opposite(x, 0);
                    ASSERT_EQ(spectrum[i], std::conj(spectrum[static_cast<std::size_t>(j)]))
                        << size.ToString() << ' ' << x << ' ' << y << ' ' << z;
                }
            }
        }
    }
}

TEST(FourierTransformation, ForwardIsLinear) {
    const CSize size(20, 15, 9);
    const auto a = random_image(IMAGE_GREY_F, size, 16);
    const auto b = random_image(IMAGE_GREY_F, size, 17);
    const auto sum = empty_image(IMAGE_GREY_F, size);
    for (std::size_t i = 0; i < size.Elements(); ++i) {
        sum->Pixels<float>()[i] = 2.0F * a->Pixels<float>()[i] - 0.5F * b->Pixels<float>()[i];
    }
    const std::vector<ComplexF> ofA = spectrum_of(*a);
    const std::vector<ComplexF> ofB = spectrum_of(*b);
    ComplexValues expected;
    for (std::size_t i = 0; i < ofA.size(); ++i) {
        expected.push_back(2.0 * std::complex<double>(ofA[i]) - 0.5 * std::complex<double>(ofB[i]));
    }
    EXPECT_LE(relative_rms_error(spectrum_of(*sum), expected), 2 * RMS_TOLERANCE);
}

TEST(FourierTransformation, InverseIgnoresTheAntiHermitianPart) {
    const CSize size(10, 7, 6);
    const auto spectrum = empty_image(IMAGE_COMPLEX_F, size);
    CFourierTransformation transformation(nullptr, nullptr);
    transformation.Fft(*spectrum, *random_image(IMAGE_GREY_F, size, 18), nullptr);
    for (std::size_t i = 0; i < size.Elements(); ++i) {
        spectrum->Pixels<ComplexF>()[i] *= ComplexF(0.0F, 1.0F); // the inverse is purely imaginary now
    }
    for (const float pixel : inverse_of(*spectrum)) {
        EXPECT_EQ(pixel, 0.0F);
    }
}

TEST(FourierTransformation, TinyValuesSurviveTheScaling) {
    const CSize size(32, 32, 32);
    const auto spectrum =
        MakeImage<ComplexF>(IMAGE_COMPLEX_F, size, [](long long x, long long y, long long z) {
            return x == 16 && y == 16 && z == 16 ? ComplexF(1e-36F, 0.0F) : ComplexF();
        });
    for (const float pixel : inverse_of(*spectrum)) { // subnormal: exact within the spacing of such numbers
        ASSERT_NEAR(pixel, 1e-36F / 32768.0F, std::numeric_limits<float>::denorm_min());
    }
}

TEST(FourierTransformation, HonoursStridesAndLeavesInputsAlone) {
    for (const CSize& size : {CSize(9, 6), CSize(8, 5, 7), CSize(7, 4, 6), CSize(1, 5, 3)}) {
        CStridedImage image(IMAGE_GREY_16, size);
        image.Fill<std::uint16_t>(
            [](long long x, long long y, long long z) { return 7 * x + 31 * y * y + 13 * z; });
        const auto plain =
            MakeImage<std::uint16_t>(IMAGE_GREY_16, size, [&](long long x, long long y, long long z) {
                return image.At<std::uint16_t>(x, y, z);
            });
        CStridedImage spectrum(IMAGE_COMPLEX_F, size);
        CStridedImage back(IMAGE_GREY_F, size);
        CFourierTransformation transformation(nullptr, nullptr);
        transformation.Fft(spectrum, image, nullptr);
        const auto copy =
            MakeImage<ComplexF>(IMAGE_COMPLEX_F, size, [&](long long x, long long y, long long z) {
                return spectrum.At<ComplexF>(x, y, z);
            });
        EXPECT_EQ(PixelsOf<ComplexF>(*copy), spectrum_of(*plain)) << size.ToString();
        transformation.InverseFft(back, spectrum, nullptr);
        const std::vector<float> expected = inverse_of(*copy);
        std::size_t i = 0;
        for (long long z = 0; z < size[2]; ++z) {
            for (long long y = 0; y < size[1]; ++y) {
                for (long long x = 0; x < size[0]; ++x, ++i) {
                    EXPECT_EQ(back.At<float>(x, y, z), expected[i]);
                    EXPECT_EQ(image.At<std::uint16_t>(x, y, z), plain->Pixels<std::uint16_t>()[i]);
                    EXPECT_EQ(spectrum.At<ComplexF>(x, y, z), copy->Pixels<ComplexF>()[i]);
                }
            }
        }
        EXPECT_TRUE(image.GuardsIntact() && spectrum.GuardsIntact() && back.GuardsIntact());
        EXPECT_EQ(image.OpenAccesses() + spectrum.OpenAccesses() + back.OpenAccesses(), 0);
    }
}

TEST(FourierTransformation, TransformsImagesWhosePixelsAlongXAreFarApart) {
    for (const CSize& size : {CSize(9, 6), CSize(8, 5), CSize(8, 5, 7), CSize(7, 4, 6)}) {
        const auto image = random_image(IMAGE_GREY_8, size, 19);
        const auto spectrum = random_spectrum(size, 20);
        const auto transposedSpectrum = empty_image(IMAGE_COMPLEX_F, size);
        const auto transposedImage = empty_image(IMAGE_GREY_F, size);
        CTransposedView imageView(*image);
        CTransposedView spectrumView(*spectrum);
        CTransposedView transposedSpectrumView(*transposedSpectrum);
        CTransposedView transposedImageView(*transposedImage);
        CFourierTransformation transformation(nullptr, nullptr);
        transformation.Fft(transposedSpectrumView, imageView, nullptr);
        transformation.InverseFft(transposedImageView, spectrumView, nullptr);
        // Transposing commutes with the transform.
        EXPECT_LE(relative_rms_error(PixelsOf<ComplexF>(*transposedSpectrum), spectrum_of(*image)),
                  RMS_TOLERANCE);
        EXPECT_LE(relative_rms_error(PixelsOf<float>(*transposedImage), inverse_of(*spectrum)),
                  RMS_TOLERANCE);
    }
}

TEST(FourierTransformation, GivesTheSameBitsForEveryObjectAndWhenPlansAreReused) {
    CFourierTransformation transformation(nullptr, nullptr);
    std::vector<std::vector<ComplexF>> first;
    for (int round = 0; round < 2; ++round) {
        for (long long extent = 10; extent < 18; ++extent) { // more sizes than are kept
            const CSize size(extent, 12);
            const auto image = random_image(IMAGE_GREY_F, size, 21);
            const auto spectrum = empty_image(IMAGE_COMPLEX_F, size);
            transformation.Fft(*spectrum, *image, nullptr);
            EXPECT_EQ(PixelsOf<ComplexF>(*spectrum), spectrum_of(*image));
        }
    }
}

TEST(FourierTransformation, MakesThePlansOfASizeOnce) {
    CFourierTransformation transformation(nullptr, nullptr);
    const CSize size(12, 10, 8);
    const auto image = random_image(IMAGE_GREY_F, size, 34);
    const auto spectrum = empty_image(IMAGE_COMPLEX_F, size);
    const auto there_and_back = [&] {
        transformation.Fft(*spectrum, *image, nullptr);
        transformation.InverseFft(*image, *spectrum, nullptr);
    };
    const long long before = Impl::FftwPlansMade();
    there_and_back();
    const long long after = Impl::FftwPlansMade();
    EXPECT_GT(after, before);
    there_and_back();
    EXPECT_EQ(Impl::FftwPlansMade(), after);
}

TEST(FourierTransformation, ACopyWorksOnAfterItsOriginalIsGone) {
    const CSize size(11, 8);
    const auto image = random_image(IMAGE_GREY_F, size, 22);
    const auto spectrum = empty_image(IMAGE_COMPLEX_F, size);
    auto original = std::make_unique<CFourierTransformation>("name", nullptr);
    original->Fft(*spectrum, *image, nullptr);
    CFourierTransformation copy(*original);
    original.reset();
    copy.Fft(*spectrum, *image, nullptr);
    EXPECT_EQ(PixelsOf<ComplexF>(*spectrum), spectrum_of(*image));
    EXPECT_EQ(copy.Instance(), "name");
}

TEST(FourierTransformation, ObjectsWorkSideBySideInThreads) {
    const CSize size(24, 20, 6);
    const auto image = random_image(IMAGE_GREY_F, size, 23);
    const std::vector<ComplexF> expected = spectrum_of(*image);
    std::vector<std::vector<ComplexF>> results(4);
    std::vector<std::thread> threads;
    threads.reserve(results.size());
    for (std::vector<ComplexF>& result : results) {
        threads.emplace_back([&result, &image] {
            for (int round = 0; round < 20; ++round) {
                result = spectrum_of(*image);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::vector<ComplexF>& result : results) {
        EXPECT_EQ(result, expected);
    }
}

TEST(FourierTransformation, TheInverseHasTheSameBitsForEveryNumberOfThreads) {
    for (const CSize& size : {size_1d(31), CSize(33, 20), CSize(20, 33), CSize(18, 17, 16), CSize(17, 12, 1),
                              CSize(13, 1, 30), CSize(40, 9, 2)}) {
        const auto spectrum = random_spectrum(size, 33);
        const std::vector<float> expected = inverse_of(*spectrum);
        CFourierTransformation transformation(nullptr, nullptr);
        for (const int threads : {2, 5, 1, 3}) {
            const CThreadCountScope scope(threads);
            const auto image = empty_image(IMAGE_GREY_F, size);
            transformation.InverseFft(*image, *spectrum, nullptr);
            EXPECT_EQ(PixelsOf<float>(*image), expected) << size.ToString() << ", threads " << threads;
        }
    }
}

TEST(FourierTransformation, NeedsLittleMemoryBesideTheImages) {
    const CSize size(64, 64, 64);
    const auto image = random_image(IMAGE_GREY_8, size, 24);
    const auto spectrum = empty_image(IMAGE_COMPLEX_F, size);
    const auto back = empty_image(IMAGE_GREY_F, size);
    CFourierTransformation transformation(nullptr, nullptr);
    const CPixelMemoryLimitScope limit(size.Elements() * sizeof(ComplexF) / 10);
    transformation.Fft(*spectrum, *image, nullptr);
    transformation.InverseFft(*back, *spectrum, nullptr);
    EXPECT_LE(relative_rms_error(PixelsOf<float>(*back), PixelsOf<std::uint8_t>(*image)), 2 * RMS_TOLERANCE);
}

TEST(FourierTransformation, RunsOutOfMemoryWithoutLeaks) {
    const CSize size(30, 20, 10);
    const auto image = random_image(IMAGE_GREY_8, size, 25);
    const auto spectrum = empty_image(IMAGE_COMPLEX_F, size);
    const auto back = empty_image(IMAGE_GREY_F, size);
    EXPECT_GT(CountMemoryFailures(128,
                                  [&] {
                                      CFourierTransformation transformation(nullptr, nullptr);
                                      transformation.Fft(*spectrum, *image, nullptr);
                                      transformation.InverseFft(*back, *spectrum, nullptr);
                                  }),
              5);
}

TEST(FourierTransformation, AnImageWithoutPixelsIsDoneAtOnce) {
    const auto image = empty_image(IMAGE_GREY_F, CSize(0, 4));
    const auto spectrum = empty_image(IMAGE_COMPLEX_F, CSize(0, 4));
    CFourierTransformation transformation(nullptr, nullptr);
    EXPECT_NO_THROW(transformation.Fft(*spectrum, *image, nullptr));
    EXPECT_NO_THROW(transformation.InverseFft(*image, *spectrum, nullptr));
}

TEST(FourierTransformation, AcceptsAnEmptyWindow) {
    const CSize size(6, 5);
    const auto image = random_image(IMAGE_GREY_F, size, 26);
    const auto spectrum = empty_image(IMAGE_COMPLEX_F, size);
    std::vector<float> window;
    CFourierTransformation(nullptr, nullptr).Fft(*spectrum, *image, &window);
    EXPECT_EQ(PixelsOf<ComplexF>(*spectrum), spectrum_of(*image));
}

TEST(FourierTransformation, RefusesWrongTypesSizesDimensionsAndWindows) {
    const CSize size(6, 5);
    const auto grey = empty_image(IMAGE_GREY_F, size);
    const auto spectrum = empty_image(IMAGE_COMPLEX_F, size);
    const auto binary = empty_image(IMAGE_BINARY_FG, size);
    const auto wide = empty_image(IMAGE_COMPLEX_F, CSize(7, 5));
    const auto wideGrey = empty_image(IMAGE_GREY_F, CSize(7, 5));
    const auto deep = empty_image(IMAGE_COMPLEX_F, CSize(6, 5, 1));
    const auto grey4D = empty_image(IMAGE_GREY_F, CSize({2, 2, 2, 2}));
    const auto spectrum4D = empty_image(IMAGE_COMPLEX_F, CSize({2, 2, 2, 2}));
    std::vector<float> window(6, 1.0F);
    CFourierTransformation transformation(nullptr, nullptr);
    const auto expect = [](const auto& operation, const char* function, const char* text) {
        ExpectThrown<CExBadParam>(operation, {text, function, "host/VexoSpectral/FourierTransformation", 0});
    };
    const char* forward = "TEVRA::CFourierTransformation::Fft";
    const char* inverse = "TEVRA::CFourierTransformation::InverseFft";
    expect(
        [&] { transformation.Fft(*spectrum, *binary, nullptr); }, forward,
        "The Fourier transform expects an input image of type GREY_8, GREY_16 or GREY_F, but got image type "
        "'BINARY_FG'.");
    expect([&] { transformation.Fft(*grey, *grey, nullptr); }, forward,
           "The Fourier transform expects an output image of type COMPLEX_F, but got image type 'GREY_F'.");
    expect([&] { transformation.Fft(*wide, *grey, nullptr); }, forward,
           "Input and output image sizes of the Fourier transform do not match: '(6,5)' vs '(7,5)'.");
    expect([&] { transformation.Fft(*deep, *grey, nullptr); }, forward,
           "Input and output image sizes of the Fourier transform do not match: '(6,5)' vs '(6,5,1)'.");
    expect([&] { transformation.Fft(*spectrum4D, *grey4D, nullptr); }, forward,
           "The Fourier transform takes images of 1 to 3 dimensions, but got 4.");
    expect([&] { transformation.Fft(*spectrum, *grey, &window); }, forward,
           "The Fourier transform has no windows: pass none or an empty one.");
    expect([&] { transformation.InverseFft(*grey, *grey, nullptr); }, inverse,
           "The Fourier transform expects an input image of type COMPLEX_F, but got image type 'GREY_F'.");
    expect([&] { transformation.InverseFft(*spectrum, *spectrum, nullptr); }, inverse,
           "The Fourier transform expects an output image of type GREY_F, but got image type 'COMPLEX_F'.");
    expect([&] { transformation.InverseFft(*wideGrey, *spectrum, nullptr); }, inverse,
           "Input and output image sizes of the Fourier transform do not match: '(6,5)' vs '(7,5)'.");
    expect([&] { transformation.InverseFft(*grey4D, *spectrum4D, nullptr); }, inverse,
           "The Fourier transform takes images of 1 to 3 dimensions, but got 4.");
    expect([&] { transformation.InverseFft(*grey, *spectrum, &window); }, inverse,
           "The Fourier transform has no windows: pass none or an empty one.");
}

} // namespace
} // namespace TEVRA::test
