// SPDX-License-Identifier: BSD-3-Clause
// What tests lean on must itself hold.
#include "support/AwkwardSizes.h"
#include "support/MakeImage.h"
#include "support/MemoryLimit.h"
#include "support/StridedImage.h"
#include "support/ThrownException.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace TEVRA::test {
namespace {

TEST(PixelMemoryLimitScope, LimitsWhatIsAddedAndRestoresTheLimitBefore) {
    const std::size_t before = CPixelMemory::Limit();
    {
        const CPixelMemoryLimitScope outer(1000);
        const CPixelMemory first(600);
        EXPECT_THROW(CPixelMemory(401), std::bad_alloc);
        {
            const CPixelMemoryLimitScope inner(100);
            EXPECT_THROW(CPixelMemory(101), std::bad_alloc);
            EXPECT_NO_THROW(CPixelMemory(100));
        }
        EXPECT_NO_THROW(CPixelMemory(400));
    }
    EXPECT_EQ(CPixelMemory::Limit(), before);
}

TEST(CountMemoryFailures, FailsOncePerAllocation) {
    const int failures = CountMemoryFailures(100, [] {
        const CPixelMemory first(100);
        const CPixelMemory second(100);
        const CPixelMemory third(100);
    });
    EXPECT_EQ(failures, 3);
}

TEST(PixelLeakCheck, SeesMemoryThatIsStillHeld) {
    std::unique_ptr<CPixelMemory> leak;
    EXPECT_NONFATAL_FAILURE(
        {
            const CPixelLeakCheck check;
            leak = std::make_unique<CPixelMemory>(64);
        },
        "pixel memory leaked");
}

TEST(StridedImage, HoldsEveryPixelBetweenIntactGuards) {
    for (const CSize& size : AwkwardSizes3D()) {
        CStridedImage image(IMAGE_GREY_16, size);
        image.Fill<unsigned short>([](auto x, auto y, auto z) { return 1 + x + 100 * y + 10000 * z; });
        EXPECT_TRUE(image.GuardsIntact()) << size.ToString();
        const std::unique_ptr<IImage::IAccess> access(image.CreateAccess(true));
        const CPos last(size[0] - 1, size[1] - 1, size[2] - 1);
        const auto* first = static_cast<const std::byte*>(access->ConstData());
        access->SetRegion(last, last);
        const auto* corner = static_cast<const std::byte*>(access->ConstData());
        EXPECT_EQ(corner - first,
                  last[0] * access->Stride(0) + last[1] * access->Stride(1) + last[2] * access->Stride(2));
        EXPECT_EQ(*reinterpret_cast<const unsigned short*>(corner),
                  static_cast<unsigned short>(1 + last[0] + 100 * last[1] + 10000 * last[2]));
    }
}

TEST(StridedImage, StartsWithZerosBetweenGuardsThatAreNaN) {
    CStridedImage image(IMAGE_GREY_F, CSize(3, 2));
    EXPECT_EQ(image.At<float>(2, 1), 0.0F);
    EXPECT_TRUE(std::isnan(image.At<float>(3, 0)));
    EXPECT_TRUE(std::isnan(image.At<float>(0, 2)));
    EXPECT_TRUE(std::isnan(image.At<float>(-1, 0)));
}

TEST(StridedImage, NoticesWritesOutside) {
    for (const long long x : {-1, 3}) {
        CStridedImage image(IMAGE_GREY_8, CSize(3, 2, 2));
        image.At<unsigned char>(x, 1, 1) = 7;
        EXPECT_FALSE(image.GuardsIntact()) << x;
    }
}

TEST(StridedImage, CountsOpenAccesses) {
    CStridedImage image(IMAGE_GREY_8, CSize(3, 2));
    const std::unique_ptr<IImage::IAccess> first(image.CreateAccess(false));
    std::unique_ptr<IImage::IAccess> second(std::as_const(image).CreateAccess(true));
    EXPECT_EQ(image.OpenAccesses(), 2);
    second.reset();
    EXPECT_EQ(image.OpenAccesses(), 1);
}

TEST(StridedImage, ResizesToZeros) {
    CStridedImage image(IMAGE_GREY_8, CSize(3, 2));
    image.Fill<unsigned char>([](auto, auto, auto) { return 9; });
    image.Resize(CSize(5, 4, 3), CSize(0, 0, 0));
    EXPECT_EQ(image.At<unsigned char>(0), 0);
    EXPECT_EQ(image.At<unsigned char>(4, 3, 2), 0);
    EXPECT_TRUE(image.GuardsIntact());
}

TEST(AwkwardSizes, HoldEveryExtentOnEveryAxis) {
    const std::vector<CSize> sizes = AwkwardSizes3D();
    for (const long long extent : AWKWARD_EXTENTS) {
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_TRUE(std::any_of(sizes.begin(), sizes.end(),
                                    [&](const CSize& size) {
                                        return size[axis] == extent &&
                                               size.Elements() > static_cast<std::size_t>(extent);
                                    }))
                << extent << " along axis " << axis;
        }
    }
}

TEST(ExpectThrown, AcceptsExactlyWhatWasThrown) {
    const auto fail = [] { throw CException({"", "source", "function", 12, nullptr}, "text"); };
    ExpectThrown(fail, {"text", "function", "source", 12});
    ExpectThrown(fail, {"text", "function", "source"});
    EXPECT_NONFATAL_FAILURE(ExpectThrown(fail, {"text", "function", "source", 13}), "13");
    EXPECT_NONFATAL_FAILURE(ExpectThrown(fail, {"other", "function", "source", 12}), "other");
    EXPECT_NONFATAL_FAILURE(ExpectThrown(fail, {"text", "other", "source", 12}), "other");
    EXPECT_NONFATAL_FAILURE(ExpectThrown(fail, {"text", "function", "other", 12}), "other");
}

TEST(ExpectThrown, FailsWithoutExceptionAndOnAnotherClass) {
    EXPECT_NONFATAL_FAILURE(CaptureException([] {}), "nothing was thrown");
    EXPECT_NONFATAL_FAILURE(CaptureException([] { throw std::runtime_error("boom"); }), "boom");
    EXPECT_NONFATAL_FAILURE(CaptureException([] {
                                throw CExBadParam({"", "source", "function", 1, nullptr}, "text");
                            }),
                            "CExBadParam");
}

TEST(MakeImage, FillsPixelsXFastest) {
    const auto image = MakeImage<unsigned char>(IMAGE_GREY_8, CSize(2, 2, 2),
                                                [](auto x, auto y, auto z) { return x + 10 * y + 100 * z; });
    EXPECT_EQ(PixelsOf<unsigned char>(*image),
              (std::vector<unsigned char>{0, 1, 10, 11, 100, 101, 110, 111}));
}

} // namespace
} // namespace TEVRA::test
