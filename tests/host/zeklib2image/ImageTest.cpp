// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/Image.h"

#include "support/AwkwardSizes.h"
#include "support/MakeImage.h"
#include "support/ThrownException.h"
#include "zeklib2core/ValueLeaf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace TEVRA {
namespace {

const CSize NO_BORDER(0, 0, 0);

static_assert(std::has_virtual_destructor_v<IImage>);
static_assert(std::has_virtual_destructor_v<IImage::IAccess>);
static_assert(std::is_same_v<decltype(std::declval<const IImage&>().Size()), const CSize&>);
static_assert(std::is_same_v<decltype(std::declval<const IImage&>().Type()), const IImage::CType&>);
static_assert(std::is_same_v<decltype(std::declval<IImage&>().Resize(NO_BORDER, NO_BORDER)), IImage&>);

template <typename PixelT>
void expect_image_of_zeros(const IImage::CType& type, const CSize& size) {
    const CImage image(type, size, NO_BORDER);
    const IImage& interface = image;
    EXPECT_EQ(interface.Size(), size);
    EXPECT_TRUE(interface.Type() == type);
    EXPECT_TRUE(interface.Attributes().IsEmpty());
    const PixelT* pixels = image.Pixels<PixelT>();
    EXPECT_TRUE(std::all_of(pixels, pixels + size.Elements(), [](PixelT p) { return p == PixelT(); }))
        << type.ToString() << size.ToString();
}

TEST(Image, BeginsWithZerosInEveryTypeAndSize) {
    std::vector<CSize> sizes = test::AwkwardSizes3D();
    for (const CSize& size : test::AwkwardSizes2D()) {
        sizes.push_back(size);
    }
    sizes.push_back(CSize{7});
    sizes.push_back(CSize{2, 3, 4, 5});
    for (const CSize& size : sizes) {
        expect_image_of_zeros<unsigned char>(IMAGE_GREY_8, size);
        expect_image_of_zeros<unsigned short>(IMAGE_GREY_16, size);
        expect_image_of_zeros<float>(IMAGE_GREY_F, size);
        expect_image_of_zeros<std::complex<float>>(IMAGE_COMPLEX_F, size);
        expect_image_of_zeros<unsigned char>(IMAGE_BINARY_FG, size);
        expect_image_of_zeros<unsigned char>(IMAGE_BINARY_BG, size);
        expect_image_of_zeros<bool>(IMAGE_BOOL, size);
        expect_image_of_zeros<std::uint32_t>(IImage::CType("LABEL_32", 4), size);
    }
}

TEST(Image, KeepsItsAttributes) {
    CImage image(IMAGE_GREY_8, CSize(2, 2), NO_BORDER);
    image.Attributes().SetEntry("a", new CValueLong(1));
    EXPECT_EQ(std::as_const(image).Attributes().Entry("a")->Long(), 1);
    image.Resize(CSize(3, 3), NO_BORDER);
    EXPECT_TRUE(image.Attributes().HasEntry("a"));
}

TEST(Image, MayHaveNoPixels) {
    const CImage image(IMAGE_GREY_F, CSize(5, 0, 5), NO_BORDER);
    EXPECT_EQ(image.Size().Elements(), 0U);
    const long long huge = std::numeric_limits<long long>::max();
    EXPECT_NO_THROW(CImage(IMAGE_GREY_F, CSize(huge, huge, 0), NO_BORDER));
}

TEST(Image, RefusesSizesThatAreNone) {
    const test::CPixelLeakCheck leaks;
    test::ExpectThrown<CExBadParam>(
        [] { CImage(IMAGE_GREY_8, CSize(5, -1), NO_BORDER); },
        {"An image cannot have the size (5,-1).", "TEVRA::CImage::CImage", "host/zeklib2image/Image"});
    test::ExpectThrown<CExBadParam>(
        [] { CImage(IMAGE_GREY_8, CSize(), NO_BORDER); },
        {"An image needs at least one dimension.", "TEVRA::CImage::CImage", "host/zeklib2image/Image"});
    const long long huge = std::numeric_limits<long long>::max();
    EXPECT_THROW(CImage(IMAGE_GREY_8, CSize(huge, huge, -1), NO_BORDER), CExBadParam);
}

TEST(Image, RefusesABorder) {
    test::ExpectThrown<CExBadParam>(
        [] { CImage(IMAGE_GREY_8, CSize(5, 5), CSize(0, 1, 0)); },
        {"Images have no border.", "TEVRA::CImage::CImage", "host/zeklib2image/Image"});
}

TEST(Image, FailsWithoutTheMemory) {
    const test::CPixelLeakCheck leaks;
    const long long huge = std::numeric_limits<long long>::max();
    EXPECT_THROW(CImage(IMAGE_GREY_8, CSize(huge, huge, huge), NO_BORDER), std::bad_alloc);
    EXPECT_THROW(CImage(IMAGE_COMPLEX_F, CSize(huge, 1), NO_BORDER), std::bad_alloc);
    const test::CPixelMemoryLimitScope limit(399);
    EXPECT_THROW(CImage(IMAGE_GREY_F, CSize(10, 10), NO_BORDER), std::bad_alloc);
}

TEST(ImageResize, GivesTheImageBackWithZerosOnly) {
    const auto image = test::MakeImage<float>(IMAGE_GREY_F, CSize(3, 3), [](auto...) { return 1.0F; });
    IImage& interface = *image;
    EXPECT_EQ(&interface.Resize(CSize(2, 3, 4), NO_BORDER), image.get());
    EXPECT_EQ(image->Size(), CSize(2, 3, 4));
    EXPECT_TRUE(image->Type() == IMAGE_GREY_F);
    EXPECT_EQ(test::PixelsOf<float>(*image), std::vector<float>(24, 0.0F));
}

TEST(ImageResize, ToTheSameSizeZeroesToo) {
    const auto image = test::MakeImage<float>(IMAGE_GREY_F, CSize(3, 3), [](auto...) { return 1.0F; });
    image->Resize(CSize(3, 3), NO_BORDER);
    EXPECT_EQ(test::PixelsOf<float>(*image), std::vector<float>(9, 0.0F));
}

TEST(ImageResize, LeavesTheImageAloneWhenItFails) {
    const auto image = test::MakeImage<float>(IMAGE_GREY_F, CSize(2, 2), [](auto...) { return 1.0F; });
    const auto expect_unchanged = [&] {
        EXPECT_EQ(image->Size(), CSize(2, 2));
        EXPECT_EQ(test::PixelsOf<float>(*image), std::vector<float>(4, 1.0F));
    };
    {
        const test::CPixelMemoryLimitScope limit(100);
        EXPECT_THROW(image->Resize(CSize(10, 10), NO_BORDER), std::bad_alloc);
        expect_unchanged();
    }
    test::ExpectThrown<CExBadParam>(
        [&] { image->Resize(CSize(1, -1), NO_BORDER); },
        {"An image cannot have the size (1,-1).", "TEVRA::CImage::Resize", "host/zeklib2image/Image"});
    expect_unchanged();
    EXPECT_THROW(image->Resize(CSize(1, 1), CSize(1, 0, 0)), CExBadParam);
    expect_unchanged();
}

TEST(Image, PixelsBeginAtACacheLine) {
    for (int i = 0; i < 20; ++i) {
        const CImage image(IMAGE_GREY_8, CSize(i + 1, 3), NO_BORDER);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image.Pixels<unsigned char>()) % 64, 0U);
    }
}

} // namespace
} // namespace TEVRA
