// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/YoungVanVliet.h"

#include "DirectGaussian.h"
#include "VexoFilter/RecursiveGaussian.h"
#include "support/AwkwardSizes.h"
#include "support/InstructionSets.h"
#include "support/MakeImage.h"
#include "support/RecordingMonitor.h"
#include "support/StridedImage.h"
#include "support/ThreadCount.h"
#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <ostream>
#include <random>
#include <thread>
#include <vector>

namespace TEVRA::test {
namespace {

using Pixels = std::vector<float>;

const CSize NO_BORDER(0, 0, 0);

/// Grey values of no pattern, the same for a place whatever the image.
float noise(long long x, long long y, long long z) {
    const auto mixed = static_cast<unsigned long long>(x * 73856093 + y * 19349663 + z * 83492791 + 12345);
    return static_cast<float>((mixed * 6364136223846793005ULL) >> 40U) / 65793.0F; // 0 to 255
}

std::unique_ptr<CImage> noise_image(const CSize& size) {
    return MakeImage<float>(IMAGE_GREY_F, size, noise);
}

Pixels smooth(const IImage& image, double sigmaPx) {
    CImage out(IMAGE_GREY_F, image.Size(), NO_BORDER);
    CYoungVanVliet(sigmaPx, nullptr, nullptr).gauss(out, image);
    return PixelsOf<float>(out);
}

void expect_near(const Pixels& found, const std::vector<double>& expected, double tolerance) {
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t k = 0; k < found.size(); ++k) {
        ASSERT_NEAR(found[k], expected[k], tolerance) << "pixel " << k;
    }
}

TEST(YoungVanVliet, HasTheGaussiansImpulseResponseWithinAThousandthOfItsPeak) {
    for (int quarters = 4; quarters <= 80; ++quarters) {
        const double sigmaPx = 0.25 * quarters;
        const auto center = static_cast<long long>(std::ceil(8.0 * sigmaPx));
        const auto image =
            MakeImage<float>(IMAGE_GREY_F, CSize(2 * center + 1, 1),
                             [&](long long x, long long, long long) { return x == center ? 1.0F : 0.0F; });
        const std::vector<double> weights = SampledGaussianWeights(sigmaPx, center);
        const Pixels found = smooth(*image, sigmaPx);
        for (long long x = 0; x <= 2 * center; ++x) {
            ASSERT_NEAR(found[static_cast<std::size_t>(x)],
                        weights[static_cast<std::size_t>(std::abs(x - center))], 1e-3 * weights[0])
                << "sigma " << sigmaPx << ", distance " << x - center;
        }
    }
}

TEST(YoungVanVliet, KeepsConstantImagesExactly) {
    for (const double sigmaPx : {0.7, 2.4, 2.5, 9.0, 400.0}) {
        for (const CSize& size :
             {CSize(1, 1), CSize(2, 3), CSize(40, 21), CSize(3, 1, 2), CSize(17, 16, 15)}) {
            const auto image = MakeImage<float>(IMAGE_GREY_F, size, [](auto, auto, auto) { return 100.1F; });
            EXPECT_EQ(smooth(*image, sigmaPx), Pixels(size.Elements(), 100.1F))
                << "sigma " << sigmaPx << ", size " << size.ToString();
        }
    }
}

TEST(YoungVanVliet, KeepsLinearRampsStraightAwayFromTheBorder) {
    for (const double sigmaPx : {1.0, 2.5, 3.0}) {
        const auto ramp = [](long long x, long long y, long long z) {
            return 0.5 * static_cast<double>(4 * x - 2 * y + z);
        };
        const CSize size(90, 88, 86);
        const Pixels found = smooth(*MakeImage<float>(IMAGE_GREY_F, size, ramp), sigmaPx);
        // Beyond 13 sigma the slowest pole has decayed to 2e-7 of the kink at the border.
        for (long long z = 40; z < 46; ++z) {
            for (long long y = 40; y < 48; ++y) {
                for (long long x = 40; x < 50; ++x) {
                    ASSERT_NEAR(found[static_cast<std::size_t>(x + size[0] * (y + size[1] * z))],
                                ramp(x, y, z), 1e-4)
                        << "sigma " << sigmaPx << " at " << CPos(x, y, z).ToString();
                }
            }
        }
    }
}

struct SAgainstDirect {
    double sigmaPx;
    double tolerancePerAxis; // as a share of the grey values' range
};

void PrintTo(const SAgainstDirect& one, std::ostream* out) {
    *out << "sigma " << one.sigmaPx << " px";
}

class AgainstDirectConvolution : public testing::TestWithParam<SAgainstDirect> {};

TEST_P(AgainstDirectConvolution, AgreesOnImagesOfAllSizesContinuedConstantly) {
    std::vector<CSize> sizes = AwkwardSizes2D();
    const std::vector<CSize> more = AwkwardSizes3D();
    sizes.insert(sizes.end(), more.begin(), more.end());
    sizes.emplace_back(CSize({50}));
    for (const CSize& size : sizes) {
        const auto image = noise_image(size);
        const Pixels pixels = PixelsOf<float>(*image);
        const std::vector<double> expected =
            SmoothDirectly(std::vector<double>(pixels.begin(), pixels.end()), size, GetParam().sigmaPx);
        SCOPED_TRACE("size " + size.ToString());
        expect_near(smooth(*image, GetParam().sigmaPx), expected,
                    255.0 * GetParam().tolerancePerAxis * size.Dim());
        if (HasFatalFailure()) {
            return;
        }
    }
}

// The sampled kernel differs by its cut only; the recursive one by the sum of its response's deviations.
INSTANTIATE_TEST_SUITE_P(
    Sigmas, AgainstDirectConvolution,
    testing::Values(SAgainstDirect{0.4, 1e-6}, SAgainstDirect{1.0, 1e-6}, SAgainstDirect{2.4, 1e-6},
                    SAgainstDirect{2.5, 1e-3}, SAgainstDirect{3.1, 1e-3}, SAgainstDirect{8.0, 1e-3},
                    SAgainstDirect{40.0, 1e-3}),
    [](const auto& testCase) {
        return "sigma" + std::to_string(static_cast<int>(std::lround(10.0 * testCase.param.sigmaPx))) +
               "tenths";
    });

TEST(YoungVanVliet, GivesAMirroredImageForAMirroredImage) {
    const CSize size(23, 19, 17);
    for (const double sigmaPx : {1.4, 3.0}) {
        const Pixels found = smooth(*noise_image(size), sigmaPx);
        for (int axis = 0; axis < 3; ++axis) {
            const auto mirror = [&](long long x, long long y, long long z) {
                return CPos(axis == 0 ? size[0] - 1 - x : x, axis == 1 ? size[1] - 1 - y : y,
                            axis == 2 ? size[2] - 1 - z : z);
            };
            const Pixels mirrored = smooth(*MakeImage<float>(IMAGE_GREY_F, size,
                                                             [&](long long x, long long y, long long z) {
                                                                 const CPos from = mirror(x, y, z);
                                                                 return noise(from[0], from[1], from[2]);
                                                             }),
                                           sigmaPx);
            for (long long at = 0; at < static_cast<long long>(found.size()); ++at) {
                const CPos from = mirror(at % size[0], at / size[0] % size[1], at / (size[0] * size[1]));
                const auto source =
                    static_cast<std::size_t>(from[0] + size[0] * (from[1] + size[1] * from[2]));
                // The sampled kernel is symmetric to the bit; the recursion rounds to float between its
                // passes.
                ASSERT_NEAR(mirrored[static_cast<std::size_t>(at)], found[source],
                            sigmaPx < 2.5 ? 0.0 : 6.0 * 255.0 * 6e-8)
                    << "sigma " << sigmaPx << ", axis " << axis << ", pixel " << at;
            }
        }
    }
}

TEST(YoungVanVliet, GivesATransposedImageForATransposedImage) {
    const CSize size(31, 18, 12);
    const CSize turned(18, 12, 31);
    for (const double sigmaPx : {1.4, 3.0}) {
        const Pixels found = smooth(*noise_image(size), sigmaPx);
        const Pixels transposed =
            smooth(*MakeImage<float>(IMAGE_GREY_F, turned,
                                     [](long long x, long long y, long long z) { return noise(z, x, y); }),
                   sigmaPx);
        for (long long z = 0; z < size[2]; ++z) {
            for (long long y = 0; y < size[1]; ++y) {
                for (long long x = 0; x < size[0]; ++x) {
                    // Axes are done in another order, so the intermediate floats round differently.
                    ASSERT_NEAR(transposed[static_cast<std::size_t>(y + turned[0] * (z + turned[1] * x))],
                                found[static_cast<std::size_t>(x + size[0] * (y + size[1] * z))],
                                6.0 * 255.0 * 6e-8);
                }
            }
        }
    }
}

TEST(YoungVanVliet, IsTheProductOfWhatItDoesAlongEachAxis) {
    const auto along = [](long long k) { return std::sin(0.3 * static_cast<double>(k)) + 2.0; };
    const CSize size(37, 29, 11);
    for (const double sigmaPx : {2.0, 4.0}) {
        std::vector<Pixels> lines;
        lines.reserve(3);
        for (int axis = 0; axis < 3; ++axis) {
            lines.push_back(smooth(*MakeImage<float>(IMAGE_GREY_F, CSize(size[axis], 1),
                                                     [&](long long x, auto, auto) { return along(x); }),
                                   sigmaPx));
        }
        const Pixels found = smooth(*MakeImage<float>(IMAGE_GREY_F, size,
                                                      [&](long long x, long long y, long long z) {
                                                          return along(x) * along(y) * along(z);
                                                      }),
                                    sigmaPx);
        for (std::size_t at = 0; at < found.size(); ++at) {
            const auto x = at % 37;
            const auto y = at / 37 % 29;
            const auto z = at / 37 / 29;
            ASSERT_NEAR(found[at], static_cast<double>(lines[0][x]) * lines[1][y] * lines[2][z], 27.0 * 1e-6)
                << "sigma " << sigmaPx << ", pixel " << at;
        }
    }
}

TEST(YoungVanVliet, GivesTheSameBitsWithAnyNumberOfThreads) {
    for (const CSize& size : {CSize(300, 270), CSize(70, 45, 33), CSize(5, 3, 200), CSize(1, 1)}) {
        for (const double sigmaPx : {1.2, 3.5}) {
            const auto image = noise_image(size);
            const Pixels alone = smooth(*image, sigmaPx);
            for (const int threads : {2, 3, 4, 5, 7}) {
                const CThreadCountScope scope(threads);
                EXPECT_TRUE(smooth(*image, sigmaPx) == alone)
                    << threads << " threads, sigma " << sigmaPx << ", size " << size.ToString();
            }
        }
    }
}

/// Every line of an image by itself, x first.
Pixels smooth_line_by_line(const IImage& image, Pixels pixels, double sigmaPx) {
    const auto filter = Impl::SRecursiveGaussian::FromSigma(sigmaPx);
    std::size_t stride = 1;
    for (int axis = 0; axis < image.Size().Dim(); ++axis) {
        const auto length = static_cast<std::size_t>(image.Size()[axis]);
        std::vector<float> line(length);
        for (std::size_t first = 0; first < pixels.size(); ++first) {
            if (first / stride % length != 0) {
                continue;
            }
            for (std::size_t k = 0; k < length; ++k) {
                line[k] = pixels[first + k * stride];
            }
            Impl::SmoothLine(filter, line);
            for (std::size_t k = 0; k < length; ++k) {
                pixels[first + k * stride] = line[k];
            }
        }
        stride *= length;
    }
    return pixels;
}

TEST(YoungVanVliet, SmoothsLineByLineToTheLastBitWithAnyInstructionSet) {
    std::vector<CSize> sizes = AwkwardSizes3D();
    sizes.emplace_back(150, 77);
    sizes.emplace_back(19, 1, 40);
    sizes.emplace_back(67, 35, 33);
    for (const Impl::EInstructionSet set : SupportedInstructionSets()) {
        const CInstructionSetScope scope(set);
        for (const CSize& size : sizes) {
            const auto image = noise_image(size);
            EXPECT_TRUE(smooth(*image, 3.5) == smooth_line_by_line(*image, PixelsOf<float>(*image), 3.5))
                << Impl::NameOf(set) << ", size " << size.ToString();
        }
    }
}

TEST(YoungVanVliet, GivesTheSameBitsForSmallSigmasWithAnyInstructionSet) {
    for (const CSize& size : {CSize(150, 77), CSize(67, 35, 33), CSize(3, 1, 9)}) {
        const auto image = noise_image(size);
        const CInstructionSetScope baseline(Impl::EInstructionSet::baseline);
        const Pixels expected = smooth(*image, 1.7);
        for (const Impl::EInstructionSet set : SupportedInstructionSets()) {
            const CInstructionSetScope scope(set);
            EXPECT_TRUE(smooth(*image, 1.7) == expected) << Impl::NameOf(set) << ", size " << size.ToString();
        }
    }
}

TEST(YoungVanVliet, GivesTheSameBitsFromSeveralThreadsOfTheCaller) {
    const CThreadCountScope scope(2);
    const auto image = noise_image(CSize(60, 50, 20));
    const Pixels expected = smooth(*image, 3.0);
    std::vector<Pixels> found(3);
    std::vector<std::thread> callers;
    callers.reserve(found.size());
    for (Pixels& result : found) {
        callers.emplace_back([&result, &image] { result = smooth(*image, 3.0); });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    for (const Pixels& result : found) {
        EXPECT_TRUE(result == expected);
    }
}

TEST(YoungVanVliet, GivesTheSameBitsInPlace) {
    for (const double sigmaPx : {1.2, 3.5}) {
        for (const CSize& size : {CSize(130, 41), CSize(41, 30, 19)}) {
            const auto image = noise_image(size);
            const Pixels apart = smooth(*image, sigmaPx);
            CYoungVanVliet(sigmaPx, nullptr, nullptr).gauss(*image, *image);
            EXPECT_TRUE(PixelsOf<float>(*image) == apart)
                << "sigma " << sigmaPx << ", size " << size.ToString();
        }
    }
}

TEST(YoungVanVliet, GivesTheSameBitsForImagesThatAreNotContiguous) {
    for (const double sigmaPx : {1.2, 3.5}) {
        for (const CSize& size : {CSize(37, 21), CSize(20, 9, 7), CSize(1, 4, 1)}) {
            CStridedImage in(IMAGE_GREY_F, size);
            in.Fill<float>(noise);
            CStridedImage out(IMAGE_GREY_F, size);
            CYoungVanVliet(sigmaPx, nullptr, nullptr).gauss(out, in);
            const Pixels expected = smooth(*noise_image(size), sigmaPx);
            std::size_t at = 0;
            for (long long z = 0; z < size[2]; ++z) {
                for (long long y = 0; y < size[1]; ++y) {
                    for (long long x = 0; x < size[0]; ++x) {
                        ASSERT_EQ(out.At<float>(x, y, z), expected[at++])
                            << "sigma " << sigmaPx << " at " << CPos(x, y, z).ToString();
                    }
                }
            }
            EXPECT_TRUE(out.GuardsIntact() && in.GuardsIntact());
            EXPECT_EQ(in.OpenAccesses() + out.OpenAccesses(), 0);
        }
    }
}

/// A view of a contiguous float image whose pixels lie two floats apart along x, in descending order of y.
class CSparseView : public IImage {
  public:
    CSparseView(CImage& image, const CSize& size) : m_image(image), m_size(size) {}
    const CSize& Size() const override { return m_size; }
    const CType& Type() const override { return IMAGE_GREY_F; }
    const CValueMap& Attributes() const override { return m_image.Attributes(); }
    CValueMap& Attributes() override { return m_image.Attributes(); }
    IAccess* CreateAccess(bool readOnly) override { return new CAccess(*this, readOnly); }
    IAccess* CreateAccess(bool) const override { return new CAccess(*this, true); }
    IImage& Resize(const CSize&, const CSize&) override { return *this; }

  private:
    class CAccess : public IAccess {
      public:
        CAccess(const CSparseView& view, bool readOnly)
            : m_width(view.m_image.Size()[0]),
              m_first(view.m_image.Pixels<float>() + m_width * (view.m_size[1] - 1)), m_readOnly(readOnly) {}
        void SetRegion(const CPos&, const CPos&) override {}
        void* Data() override { return m_first; }
        const void* ConstData() const override { return m_first; }
        std::ptrdiff_t Stride(int axis) const override {
            return static_cast<std::ptrdiff_t>(sizeof(float)) * (axis == 0 ? 2 : -m_width);
        }
        bool IsReadOnly() const noexcept override { return m_readOnly; }

      private:
        std::ptrdiff_t m_width;
        float* m_first;
        bool m_readOnly;
    };

    CImage& m_image;
    CSize m_size;
};

TEST(YoungVanVliet, WorksOnViewsWithGapsBetweenPixelsAndNegativeStrides) {
    const CSize size(21, 14);
    for (const double sigmaPx : {1.2, 3.5}) {
        CImage host(IMAGE_GREY_F, CSize(42, 14), NO_BORDER);
        std::fill_n(host.Pixels<float>(), host.Size().Elements(), -7.0F);
        for (long long y = 0; y < 14; ++y) {
            for (long long x = 0; x < 21; ++x) {
                host.Pixels<float>()[2 * x + 42 * (13 - y)] = noise(x, y, 0);
            }
        }
        CSparseView view(host, size);
        CYoungVanVliet(sigmaPx, nullptr, nullptr).gauss(view, view);
        const Pixels expected = smooth(*noise_image(size), sigmaPx);
        for (long long y = 0; y < 14; ++y) {
            for (long long x = 0; x < 21; ++x) {
                ASSERT_EQ(host.Pixels<float>()[2 * x + 42 * (13 - y)],
                          expected[static_cast<std::size_t>(x + 21 * y)]);
                ASSERT_EQ(host.Pixels<float>()[2 * x + 1 + 42 * (13 - y)], -7.0F) << "written into a gap";
            }
        }
    }
}

TEST(YoungVanVliet, TakesWholeNumberImagesAsTheirGreyValues) {
    const CSize size(25, 14, 6);
    const auto grey8 = [](long long x, long long y, long long z) {
        return (x * 37 + y * 101 + z * 59) % 256;
    };
    const auto grey16 = [](long long x, long long y, long long z) {
        return (x * 3701 + y * 10111 + z * 599) % 65536;
    };
    for (const double sigmaPx : {1.2, 3.5}) {
        EXPECT_TRUE(smooth(*MakeImage<unsigned char>(IMAGE_GREY_8, size, grey8), sigmaPx) ==
                    smooth(*MakeImage<float>(IMAGE_GREY_F, size, grey8), sigmaPx));
        EXPECT_TRUE(smooth(*MakeImage<unsigned short>(IMAGE_GREY_16, size, grey16), sigmaPx) ==
                    smooth(*MakeImage<float>(IMAGE_GREY_F, size, grey16), sigmaPx));
    }
}

TEST(YoungVanVliet, TakesBinaryImagesAsOneInTheForeground) {
    const CSize size(25, 14);
    const auto inside = [](long long x, long long y, long long) { return (x / 5 + y / 3) % 2 == 0; };
    const Pixels expected = smooth(*MakeImage<float>(IMAGE_GREY_F, size, inside), 2.0);
    EXPECT_TRUE(smooth(*MakeImage<bool>(IMAGE_BOOL, size, inside), 2.0) == expected);
    EXPECT_TRUE(
        smooth(*MakeImage<unsigned char>(IMAGE_BINARY_FG, size,
                                         [&](auto x, auto y, auto z) { return inside(x, y, z) ? 255 : 0; }),
               2.0) == expected);
    EXPECT_TRUE(
        smooth(*MakeImage<unsigned char>(IMAGE_BINARY_BG, size,
                                         [&](auto x, auto y, auto z) { return inside(x, y, z) ? 0 : 1; }),
               2.0) == expected);
}

TEST(YoungVanVliet, LeavesAnImageOfTinySigmaAsItIs) {
    const auto image = noise_image(CSize(9, 8, 7));
    EXPECT_TRUE(smooth(*image, 0.01) == PixelsOf<float>(*image));
}

TEST(YoungVanVliet, StaysFiniteForLargeSigmasOnSmallImages) {
    for (const double sigmaPx : {100.0, 1e4, 1e6}) {
        const Pixels found = smooth(*noise_image(CSize(9, 7, 5)), sigmaPx);
        for (const float pixel : found) {
            ASSERT_TRUE(pixel > -1.0F && pixel < 256.0F) << pixel << " at sigma " << sigmaPx;
        }
    }
}

TEST(YoungVanVliet, HasNothingToDoForAnEmptyImage) {
    CImage image(IMAGE_GREY_F, CSize(0, 4), NO_BORDER);
    CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    EXPECT_NO_THROW(CYoungVanVliet(3.0, nullptr, nullptr).gauss(image, image));
    EXPECT_TRUE(monitor.events.empty());
}

struct SRefusal {
    const char* name;
    double sigmaPx;
    IImage::CType outType;
    CSize outSize;
    IImage::CType inType;
    CSize inSize;
    const char* message;
};

void PrintTo(const SRefusal& refusal, std::ostream* out) {
    *out << refusal.name;
}

class GaussianRefusal : public testing::TestWithParam<SRefusal> {};

TEST_P(GaussianRefusal, SaysWhatIsWrongAndLeavesTheOutputAlone) {
    const SRefusal& c = GetParam();
    CImage out(c.outType, c.outSize, NO_BORDER);
    const CImage in(c.inType, c.inSize, NO_BORDER);
    std::fill_n(out.Pixels<unsigned char>(), out.Size().Elements() * c.outType.BytesPerPixel(), '\x5a');
    CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    ExpectThrown<CExBadParam>([&] { CYoungVanVliet(c.sigmaPx, nullptr, nullptr).gauss(out, in); },
                              {c.message, "TEVRA::CYoungVanVliet::gauss", "host/VexoFilter/YoungVanVliet"});
    for (std::size_t k = 0; k < out.Size().Elements() * c.outType.BytesPerPixel(); ++k) {
        ASSERT_EQ(out.Pixels<unsigned char>()[k], '\x5a');
    }
    EXPECT_TRUE(monitor.events.empty());
}

const CSize SIZE(4, 3);
constexpr IImage::CType RGB("RGB_8", 3, true);

INSTANTIATE_TEST_SUITE_P(
    Messages, GaussianRefusal,
    testing::Values(
        SRefusal{"zeroSigma", 0.0, IMAGE_GREY_F, SIZE, IMAGE_GREY_F, SIZE,
                 "The standard deviation must be above 0 and at most 1000000 pixels, not 0."},
        SRefusal{"negativeSigma", -1.5, IMAGE_GREY_F, SIZE, IMAGE_GREY_F, SIZE,
                 "The standard deviation must be above 0 and at most 1000000 pixels, not -1.5."},
        SRefusal{"sigmaNotANumber", std::numeric_limits<double>::quiet_NaN(), IMAGE_GREY_F, SIZE,
                 IMAGE_GREY_F, SIZE,
                 "The standard deviation must be above 0 and at most 1000000 pixels, not nan."},
        SRefusal{"infiniteSigma", std::numeric_limits<double>::infinity(), IMAGE_GREY_F, SIZE, IMAGE_GREY_F,
                 SIZE, "The standard deviation must be above 0 and at most 1000000 pixels, not inf."},
        SRefusal{"fourDimensions", 2.0, IMAGE_GREY_F, CSize({2, 2, 2, 2}), IMAGE_GREY_F, CSize({2, 2, 2, 2}),
                 "Only images of 1 to 3 dimensions can be smoothed, not of 4."},
        SRefusal{"complexInput", 2.0, IMAGE_GREY_F, SIZE, IMAGE_COMPLEX_F, SIZE,
                 "Images of type 'COMPLEX_F' cannot be smoothed; allowed are GREY_8, GREY_16, GREY_F, "
                 "BINARY_FG, BINARY_BG and BOOL."},
        SRefusal{"foreignInput", 2.0, IMAGE_GREY_F, SIZE, RGB, SIZE,
                 "Images of type 'RGB_8' cannot be smoothed; allowed are GREY_8, GREY_16, GREY_F, BINARY_FG, "
                 "BINARY_BG and BOOL."},
        SRefusal{"wholeNumberOutput", 2.0, IMAGE_GREY_8, SIZE, IMAGE_GREY_8, SIZE,
                 "The smoothed image must be of type 'GREY_F', not 'GREY_8'."},
        SRefusal{"otherSize", 2.0, IMAGE_GREY_F, SIZE, IMAGE_GREY_F, CSize(4, 3, 1),
                 "Input and output image sizes do not match: '(4,3,1)' vs '(4,3)'."}),
    [](const auto& testCase) { return testCase.param.name; });

TEST(YoungVanVliet, ReportsItsProgressInOneReport) {
    for (const int threads : {1, 2}) {
        const CThreadCountScope threadScope(threads);
        CRecordingMonitor monitor;
        const CProgressMonitorScope scope(monitor);
        smooth(*noise_image(CSize(80, 70, 60)), 3.0);
        ASSERT_GE(monitor.events.size(), 5U);
        EXPECT_EQ(monitor.events.front(), "begin " + std::to_string(monitor.steps) + " Smoothing...");
        EXPECT_EQ(monitor.events.back(), "end");
        EXPECT_EQ(monitor.openReports, 0);
        EXPECT_GE(monitor.steps, 3);
        EXPECT_EQ(monitor.polls, 0);
    }
}

TEST(YoungVanVliet, LetsAnExceptionOfTheMonitorThroughAndLeavesNothingBehind) {
    for (const int threads : {1, 2, 7}) {
        const CThreadCountScope threadScope(threads);
        const CSize size(60, 50, 40);
        CRecordingMonitor whole;
        {
            const CProgressMonitorScope scope(whole);
            smooth(*noise_image(size), 3.0);
        }
        for (int call = 1; call <= whole.Calls(); ++call) {
            CStridedImage in(IMAGE_GREY_F, size);
            CStridedImage out(IMAGE_GREY_F, size);
            CRecordingMonitor monitor;
            monitor.throwAtCall = call;
            {
                const CProgressMonitorScope scope(monitor);
                EXPECT_THROW(CYoungVanVliet(3.0, nullptr, nullptr).gauss(out, in), CInterrupted);
            }
            EXPECT_EQ(monitor.openReports, 0) << "call " << call;
            EXPECT_EQ(in.OpenAccesses() + out.OpenAccesses(), 0) << "call " << call;
        }
    }
}

} // namespace
} // namespace TEVRA::test
