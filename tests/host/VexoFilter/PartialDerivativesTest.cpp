// SPDX-License-Identifier: BSD-3-Clause
#include "VexoFilter/PartialDerivatives.h"

#include "support/AwkwardSizes.h"
#include "support/InstructionSets.h"
#include "support/MakeImage.h"
#include "support/RecordingMonitor.h"
#include "support/StridedImage.h"
#include "support/ThreadCount.h"
#include "support/ThrownException.h"
#include "zeklib2image/ImageExtraction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

namespace TEVRA::test {
namespace {

using Pixels = std::vector<float>;
using Orders = std::array<int, 3>;

const CSize NO_BORDER(0, 0, 0);
const std::array<Orders, 6> HESSIAN{{{2, 0, 0}, {0, 2, 0}, {0, 0, 2}, {1, 1, 0}, {1, 0, 1}, {0, 1, 1}}};

std::string name_of(const Orders& orders) {
    return "(" + std::to_string(orders[0]) + "," + std::to_string(orders[1]) + "," +
           std::to_string(orders[2]) + ")";
}

float texture(long long x, long long y, long long z) {
    return static_cast<float>(std::sin(0.7 * static_cast<double>(x)) * 90.0 +
                              std::cos(1.3 * static_cast<double>(y)) * 20.0 + static_cast<double>(x * y % 7) +
                              0.3 * static_cast<double>(z * z % 11));
}

void differentiate(IImage& image, const Orders& orders) {
    CPartialDerivatives().Derivative(image, orders[0], orders[1], orders[2]);
}

Pixels derivative_of(CImage& image, const Orders& orders) {
    differentiate(image, orders);
    return PixelsOf<float>(image);
}

/// The stencils one axis after the other by the plainest loop, rounded to float after each.
Pixels plain_derivative(Pixels pixels, const CSize& size, const Orders& orders) {
    for (int axis = 0; axis < 3; ++axis) {
        const int order = orders[static_cast<std::size_t>(axis)];
        const Pixels before = pixels;
        for (long long at = 0; order > 0 && at < static_cast<long long>(pixels.size()); ++at) {
            const std::array<long long, 3> place{at % size[0], at / size[0] % size[1],
                                                 at / (size[0] * size[1])};
            const auto value = [&](long long shift) {
                std::array<long long, 3> other = place;
                auto& moved = other[static_cast<std::size_t>(axis)];
                moved = std::clamp(moved + shift, 0LL, size[axis] - 1);
                return static_cast<double>(
                    before[static_cast<std::size_t>(other[0] + size[0] * (other[1] + size[1] * other[2]))]);
            };
            pixels[static_cast<std::size_t>(at)] = static_cast<float>(
                order == 2 ? value(-1) - 2.0 * value(0) + value(1) : 0.5 * (value(1) - value(-1)));
        }
    }
    return pixels;
}

TEST(PartialDerivatives, AreExactOnQuadraticsInTheInterior) {
    const auto quadratic = [](long long x, long long y, long long z) {
        // Twice the quadratic, in whole numbers.
        return 0.5 * static_cast<double>(3 * x * x - 4 * y * y + z * z + 6 * x * y - 2 * x * z + 5 * y * z +
                                         14 * x - 22 * y + 26 * z + 10);
    };
    const std::array<double, 6> expected{3.0, -4.0, 1.0, 3.0, -1.0, 2.5};
    const CSize size(19, 17, 15);
    for (std::size_t k = 0; k < HESSIAN.size(); ++k) {
        const auto image = MakeImage<float>(IMAGE_GREY_F, size, quadratic);
        const Pixels found = derivative_of(*image, HESSIAN[k]);
        for (long long z = 1; z + 1 < size[2]; ++z) {
            for (long long y = 1; y + 1 < size[1]; ++y) {
                for (long long x = 1; x + 1 < size[0]; ++x) {
                    ASSERT_EQ(found[static_cast<std::size_t>(x + size[0] * (y + size[1] * z))], expected[k])
                        << name_of(HESSIAN[k]) << " at " << CPos(x, y, z).ToString();
                }
            }
        }
    }
}

TEST(PartialDerivatives, OfFirstOrderAreExactOnQuadraticsInTheInterior) {
    const auto image =
        MakeImage<float>(IMAGE_GREY_F, CSize(20, 20), [](auto x, auto y, auto) { return x * x - 3 * x * y; });
    const Pixels found = derivative_of(*image, {1, 0, 0});
    for (long long y = 0; y < 20; ++y) {
        for (long long x = 1; x < 19; ++x) {
            ASSERT_EQ(found[static_cast<std::size_t>(x + 20 * y)], static_cast<float>(2 * x - 3 * y));
        }
    }
}

TEST(PartialDerivatives, TakeTheBorderPixelAgainBeyondTheBorder) {
    const auto line = [](long long x, auto, auto) { return x * x; };
    EXPECT_EQ(derivative_of(*MakeImage<float>(IMAGE_GREY_F, CSize(5, 1), line), {2, 0, 0}),
              (Pixels{1.0F, 2.0F, 2.0F, 2.0F, -7.0F}));
    EXPECT_EQ(derivative_of(*MakeImage<float>(IMAGE_GREY_F, CSize(5, 1), line), {1, 0, 0}),
              (Pixels{0.5F, 2.0F, 4.0F, 6.0F, 3.5F}));
    EXPECT_EQ(derivative_of(*MakeImage<float>(IMAGE_GREY_F, CSize(2, 1), line), {2, 0, 0}),
              (Pixels{1.0F, -1.0F}));
    EXPECT_EQ(derivative_of(*MakeImage<float>(IMAGE_GREY_F, CSize(1, 1), line), {2, 0, 0}), (Pixels{0.0F}));
}

TEST(PartialDerivatives, AgreeWithThePlainestLoopOnImagesOfAllSizes) {
    std::vector<CSize> sizes = AwkwardSizes2D();
    const std::vector<CSize> more = AwkwardSizes3D();
    sizes.insert(sizes.end(), more.begin(), more.end());
    sizes.emplace_back(CSize(2100, 3, 2));
    for (const CSize& size : sizes) {
        for (const Orders& orders : HESSIAN) {
            if (size.Dim() == 2 && orders[2] > 0) {
                continue;
            }
            const auto image = MakeImage<float>(IMAGE_GREY_F, size, texture);
            const Pixels expected = plain_derivative(PixelsOf<float>(*image), size, orders);
            const Pixels found = derivative_of(*image, orders);
            for (std::size_t at = 0; at < found.size(); ++at) {
                // Differences of neighbours far apart round in float; at most 120 each.
                ASSERT_NEAR(found[at], expected[at], 4.0 * 120.0 * 6e-8)
                    << name_of(orders) << ", size " << size.ToString() << ", pixel " << at;
            }
        }
    }
}

TEST(PartialDerivatives, TakeAllOrdersAtOnceAxisAfterAxis) {
    const CSize size(12, 9, 8);
    for (const Orders& orders : {Orders{1, 1, 1}, Orders{2, 2, 2}, Orders{2, 1, 0}, Orders{0, 2, 1}}) {
        const auto atOnce = MakeImage<float>(IMAGE_GREY_F, size, texture);
        const auto oneByOne = MakeImage<float>(IMAGE_GREY_F, size, texture);
        differentiate(*oneByOne, {orders[0], 0, 0});
        differentiate(*oneByOne, {0, orders[1], 0});
        differentiate(*oneByOne, {0, 0, orders[2]});
        EXPECT_TRUE(derivative_of(*atOnce, orders) == PixelsOf<float>(*oneByOne)) << name_of(orders);
    }
}

TEST(PartialDerivatives, OfOrderZeroLeaveTheImageAsItIs) {
    const auto image = MakeImage<float>(IMAGE_GREY_F, CSize(6, 5), texture);
    const Pixels before = PixelsOf<float>(*image);
    EXPECT_EQ(derivative_of(*image, {0, 0, 0}), before);
}

TEST(PartialDerivatives, OfAMirroredImageAreMirroredExactly) {
    const CSize size(14, 11, 9);
    for (const Orders& orders : HESSIAN) {
        const auto image = MakeImage<float>(IMAGE_GREY_F, size, texture);
        const auto mirrored = MakeImage<float>(
            IMAGE_GREY_F, size, [&](auto x, auto y, auto z) { return texture(size[0] - 1 - x, y, z); });
        const Pixels found = derivative_of(*image, orders);
        const Pixels other = derivative_of(*mirrored, orders);
        const float sign = orders[0] == 1 ? -1.0F : 1.0F;
        for (std::size_t at = 0; at < found.size(); ++at) {
            ASSERT_EQ(other[at], sign * found[at - at % 14 + 13 - at % 14])
                << name_of(orders) << ", pixel " << at;
        }
    }
}

TEST(PartialDerivatives, GiveTheSameBitsWithAnyNumberOfThreads) {
    for (const CSize& size : {CSize(300, 170), CSize(45, 70, 33), CSize(2, 3, 90)}) {
        for (const Orders& orders : HESSIAN) {
            if (size.Dim() == 2 && orders[2] > 0) {
                continue;
            }
            const Pixels alone = derivative_of(*MakeImage<float>(IMAGE_GREY_F, size, texture), orders);
            for (const int threads : {2, 3, 4, 5, 7}) {
                const CThreadCountScope scope(threads);
                EXPECT_TRUE(derivative_of(*MakeImage<float>(IMAGE_GREY_F, size, texture), orders) == alone)
                    << threads << " threads, " << name_of(orders) << ", size " << size.ToString();
            }
        }
    }
}

TEST(PartialDerivatives, GiveTheSameBitsForImagesThatAreNotContiguous) {
    const CSize size(13, 9, 7);
    for (const Orders& orders : HESSIAN) {
        CStridedImage image(IMAGE_GREY_F, size);
        image.Fill<float>(texture);
        differentiate(image, orders);
        const Pixels expected = derivative_of(*MakeImage<float>(IMAGE_GREY_F, size, texture), orders);
        std::size_t at = 0;
        for (long long z = 0; z < size[2]; ++z) {
            for (long long y = 0; y < size[1]; ++y) {
                for (long long x = 0; x < size[0]; ++x) {
                    ASSERT_EQ(image.At<float>(x, y, z), expected[at++]) << name_of(orders);
                }
            }
        }
        EXPECT_TRUE(image.GuardsIntact());
        EXPECT_EQ(image.OpenAccesses(), 0);
    }
}

/// Large enough for clones whose pixels have not been copied when they are differentiated.
std::unique_ptr<CImage> closed_image(const CSize& size) {
    auto image = std::make_unique<CImage>(IMAGE_GREY_F, size, NO_BORDER);
    const std::unique_ptr<IImage::IAccess> access(image->CreateAccess(false));
    const Pixels pixels = PixelsOf<float>(*MakeImage<float>(IMAGE_GREY_F, size, texture));
    std::copy(pixels.begin(), pixels.end(), static_cast<float*>(access->Data()));
    return image;
}

TEST(PartialDerivatives, OfLargeClonesAreThoseOfTheirOriginalsToTheLastBit) {
    std::vector<Orders> all(HESSIAN.begin(), HESSIAN.end());
    all.insert(all.end(), {{0, 0, 0}, {1, 0, 0}, {1, 2, 1}, {2, 2, 2}, {2, 0, 1}});
    for (const CSize& size :
         {CSize(90, 75, 41), CSize(701, 389), CSize(3, 300, 301), CSize(290000, 1, 1), CSize(1, 2, 140000)}) {
        for (const Orders& orders : all) {
            if (size.Dim() == 2 && orders[2] > 0) {
                continue;
            }
            const Pixels expected = derivative_of(*MakeImage<float>(IMAGE_GREY_F, size, texture), orders);
            const auto image = closed_image(size);
            const std::unique_ptr<CImage> clone(CImageExtraction::Clone(*image));
            EXPECT_TRUE(derivative_of(*clone, orders) == expected)
                << name_of(orders) << ", size " << size.ToString();
        }
    }
}

TEST(PartialDerivatives, OfLargeClonesHaveTheSameBitsWithAnyNumberOfThreadsAndInstructionSet) {
    const CSize size(65, 70, 90);
    const auto image = closed_image(size);
    for (const Orders& orders : HESSIAN) {
        const Pixels expected = derivative_of(*MakeImage<float>(IMAGE_GREY_F, size, texture), orders);
        for (const Impl::EInstructionSet set : SupportedInstructionSets()) {
            for (const int threads : {1, 2, 3, 4, 5}) {
                const CInstructionSetScope setScope(set);
                const CThreadCountScope threadScope(threads);
                const std::unique_ptr<CImage> clone(CImageExtraction::Clone(*image));
                EXPECT_TRUE(derivative_of(*clone, orders) == expected)
                    << name_of(orders) << ", " << threads << " threads, " << Impl::NameOf(set);
                EXPECT_TRUE(derivative_of(*MakeImage<float>(IMAGE_GREY_F, size, texture), orders) == expected)
                    << name_of(orders) << ", " << threads << " threads, " << Impl::NameOf(set);
            }
        }
    }
    EXPECT_TRUE(PixelsOf<float>(*image) == PixelsOf<float>(*closed_image(size))) << "the original changed";
}

TEST(PartialDerivatives, OfLargeClonesLeaveThemAsTheyWereWhenTheMonitorThrows) {
    const CSize size(130, 200, 260);
    const auto image = closed_image(size);
    for (const int call : {1, 2, 3}) {
        const std::unique_ptr<CImage> clone(CImageExtraction::Clone(*image));
        CRecordingMonitor monitor;
        monitor.throwAtCall = call;
        {
            const CProgressMonitorScope scope(monitor);
            EXPECT_THROW(differentiate(*clone, {0, 1, 1}), CInterrupted);
        }
        EXPECT_EQ(monitor.openReports, 0);
        EXPECT_TRUE(PixelsOf<float>(*clone) == PixelsOf<float>(*image)) << "at call " << call;
    }
}

TEST(PartialDerivatives, HaveNothingToDoForAnEmptyImage) {
    CImage image(IMAGE_GREY_F, CSize(4, 0), NO_BORDER);
    EXPECT_NO_THROW(CPartialDerivatives().Derivative(image, 2, 0, 0));
}

struct SRefusal {
    const char* name;
    IImage::CType type;
    CSize size;
    Orders orders;
    const char* message;
};

void PrintTo(const SRefusal& refusal, std::ostream* out) {
    *out << refusal.name;
}

class DerivativeRefusal : public testing::TestWithParam<SRefusal> {};

TEST_P(DerivativeRefusal, SaysWhatIsWrongAndLeavesTheImageAlone) {
    const SRefusal& c = GetParam();
    CImage image(c.type, c.size, NO_BORDER);
    const std::size_t bytes = image.Size().Elements() * c.type.BytesPerPixel();
    for (std::size_t k = 0; k < bytes; ++k) {
        image.Pixels<unsigned char>()[k] = static_cast<unsigned char>(k % 64);
    }
    ExpectThrown<CExBadParam>(
        [&] { differentiate(image, c.orders); },
        {c.message, "TEVRA::CPartialDerivatives::Derivative", "host/VexoFilter/PartialDerivatives"});
    for (std::size_t k = 0; k < bytes; ++k) {
        ASSERT_EQ(image.Pixels<unsigned char>()[k], k % 64);
    }
}

const CSize SIZE(4, 3);

INSTANTIATE_TEST_SUITE_P(
    Messages, DerivativeRefusal,
    testing::Values(SRefusal{"fourDimensions",
                             IMAGE_GREY_F,
                             CSize({2, 2, 2, 2}),
                             {2, 0, 0},
                             "Only images of 1 to 3 dimensions can be differentiated, not of 4."},
                    SRefusal{"wholeNumbers",
                             IMAGE_GREY_8,
                             SIZE,
                             {2, 0, 0},
                             "The image to be differentiated must be of type 'GREY_F', not 'GREY_8'."},
                    SRefusal{"thirdOrder",
                             IMAGE_GREY_F,
                             SIZE,
                             {1, 3, 0},
                             "The order of the derivative along y must be 0, 1 or 2, not 3."},
                    SRefusal{"negativeOrder",
                             IMAGE_GREY_F,
                             SIZE,
                             {-1, 0, 0},
                             "The order of the derivative along x must be 0, 1 or 2, not -1."},
                    SRefusal{"beyondTheDimensions",
                             IMAGE_GREY_F,
                             SIZE,
                             {1, 0, 1},
                             "An image of 2 dimensions has no derivative along z."}),
    [](const auto& testCase) { return testCase.param.name; });

TEST(PartialDerivatives, ReportTheirProgressInOneReport) {
    CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    derivative_of(*MakeImage<float>(IMAGE_GREY_F, CSize(40, 70, 60), texture), {1, 0, 1});
    EXPECT_EQ(monitor.events.front(), "begin " + std::to_string(monitor.steps) + " Computing derivatives...");
    EXPECT_EQ(monitor.events.back(), "end");
    EXPECT_EQ(monitor.openReports, 0);
    EXPECT_GE(monitor.steps, 2);
}

TEST(PartialDerivatives, LetAnExceptionOfTheMonitorThroughAndLeaveNothingBehind) {
    for (const int threads : {1, 2, 7}) {
        const CThreadCountScope threadScope(threads);
        for (const int call : {1, 2, 5}) {
            CStridedImage image(IMAGE_GREY_F, CSize(60, 50, 40));
            CRecordingMonitor monitor;
            monitor.throwAtCall = call;
            const CProgressMonitorScope scope(monitor);
            EXPECT_THROW(differentiate(image, {0, 1, 1}), CInterrupted);
            EXPECT_EQ(monitor.openReports, 0);
            EXPECT_EQ(image.OpenAccesses(), 0);
        }
    }
}

} // namespace
} // namespace TEVRA::test
