// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/ImageExtraction.h"

#include "support/AwkwardSizes.h"
#include "support/MakeImage.h"
#include "zeklib2core/ValueLeaf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

template <typename PixelT>
void expect_equal_clone(const IImage::CType& type, const CSize& size) {
    const auto image = test::MakeImage<PixelT>(type, size, [](auto x, auto y, auto z) {
        return static_cast<PixelT>(static_cast<float>((x + 3 * y + 5 * z) % 2));
    });
    const std::unique_ptr<CImage> clone(CImageExtraction::Clone(*image));
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->Size(), size);
    EXPECT_TRUE(clone->Type() == type);
    EXPECT_EQ(test::PixelsOf<PixelT>(*clone), test::PixelsOf<PixelT>(*image)) << size.ToString();
}

TEST(ImageClone, EqualsItsOriginalInEveryTypeAndSize) {
    for (const CSize& size : test::AwkwardSizes3D()) {
        expect_equal_clone<unsigned char>(IMAGE_GREY_8, size);
        expect_equal_clone<unsigned short>(IMAGE_GREY_16, size);
        expect_equal_clone<float>(IMAGE_GREY_F, size);
        expect_equal_clone<std::complex<float>>(IMAGE_COMPLEX_F, size);
        expect_equal_clone<unsigned char>(IMAGE_BINARY_FG, size);
        expect_equal_clone<unsigned char>(IMAGE_BINARY_BG, size);
        expect_equal_clone<unsigned char>(IMAGE_BOOL, size);
    }
    expect_equal_clone<float>(IMAGE_GREY_F, CSize(0, 3));
}

TEST(ImageClone, IsIndependentOfItsOriginal) {
    const auto image = test::MakeImage<float>(IMAGE_GREY_F, CSize(3, 3), [](auto...) { return 1.0F; });
    image->Attributes().SetEntry("a/b", new CValueLong(1));
    const std::unique_ptr<CImage> clone(CImageExtraction::Clone(*image));
    image->Pixels<float>()[4] = 7.0F;
    image->Attributes().Entry("a/b")->Long() = 7;
    EXPECT_EQ(clone->Pixels<float>()[4], 1.0F);
    EXPECT_EQ(clone->Attributes().Entry("a/b")->Long(), 1);
}

TEST(ImageClone, IsNullWhenTheMemoryRunsOut) {
    const CImage image(IMAGE_GREY_F, CSize(10, 10), CSize(0, 0, 0));
    const test::CPixelLeakCheck leaks;
    {
        const test::CPixelMemoryLimitScope limit(399);
        EXPECT_EQ(CImageExtraction::Clone(image), nullptr);
    }
    const test::CPixelMemoryLimitScope limit(400);
    EXPECT_NE(std::unique_ptr<CImage>(CImageExtraction::Clone(image)), nullptr);
}

/// So large that its pixels are copied only when somebody looks.
const CSize LARGE(100, 67, 51);

/// Written through an access only, which is closed again.
std::unique_ptr<CImage> large_image() {
    auto image = std::make_unique<CImage>(IMAGE_GREY_F, LARGE, CSize(0, 0, 0));
    const std::unique_ptr<IImage::IAccess> access(image->CreateAccess(false));
    auto* const pixels = static_cast<float*>(access->Data());
    for (std::size_t k = 0; k < LARGE.Elements(); ++k) {
        pixels[k] = static_cast<float>(k % 1009);
    }
    return image;
}

std::vector<float> large_pixels() {
    return test::PixelsOf<float>(*large_image());
}

void set_all(CImage& image, float value) {
    const std::unique_ptr<IImage::IAccess> access(image.CreateAccess(false));
    std::fill_n(static_cast<float*>(access->Data()), image.Size().Elements(), value);
}

TEST(LargeImageClone, EqualsItsOriginal) {
    const auto image = large_image();
    const std::unique_ptr<CImage> clone(CImageExtraction::Clone(*image));
    EXPECT_TRUE(test::PixelsOf<float>(*clone) == large_pixels());
    EXPECT_NE(std::as_const(*clone).Pixels<float>(), std::as_const(*image).Pixels<float>());
    const std::unique_ptr<IImage::IAccess> access(clone->CreateAccess(true));
    EXPECT_EQ(access->ConstData(), std::as_const(*clone).Pixels<float>());
}

TEST(LargeImageClone, KeepsThePixelsWhenTheOriginalChanges) {
    const auto image = large_image();
    const std::unique_ptr<CImage> clone(CImageExtraction::Clone(*image));
    set_all(*image, -1.0F);
    EXPECT_TRUE(test::PixelsOf<float>(*clone) == large_pixels());
}

TEST(LargeImageClone, KeepsThePixelsWhenTheOriginalIsResizedOrGoesAway) {
    auto image = large_image();
    const std::unique_ptr<CImage> first(CImageExtraction::Clone(*image));
    image->Resize(CSize(3, 3), CSize(0, 0, 0));
    EXPECT_TRUE(test::PixelsOf<float>(*first) == large_pixels());
    image = large_image();
    const std::unique_ptr<CImage> second(CImageExtraction::Clone(*image));
    image.reset();
    EXPECT_TRUE(test::PixelsOf<float>(*second) == large_pixels());
}

TEST(LargeImageClone, KeepsThePixelsWhenTheOriginalIsWrittenThroughWhatWasOpenBefore) {
    const auto image = large_image();
    const std::unique_ptr<IImage::IAccess> access(image->CreateAccess(false));
    const std::unique_ptr<CImage> first(CImageExtraction::Clone(*image));
    static_cast<float*>(access->Data())[5] = -1.0F;
    EXPECT_TRUE(test::PixelsOf<float>(*first) == large_pixels());
    auto* const pixels = image->Pixels<float>();
    pixels[5] = 5.0F;
    const std::unique_ptr<CImage> second(CImageExtraction::Clone(*image));
    pixels[5] = -1.0F;
    EXPECT_TRUE(test::PixelsOf<float>(*second) == large_pixels());
}

TEST(LargeImageClone, LeavesItsOriginalAndItsSiblingsAloneWhenItChanges) {
    const auto image = large_image();
    const std::unique_ptr<CImage> clone(CImageExtraction::Clone(*image));
    const std::unique_ptr<CImage> sibling(CImageExtraction::Clone(*image));
    const std::unique_ptr<CImage> child(CImageExtraction::Clone(*clone));
    set_all(*clone, 2.0F);
    EXPECT_TRUE(test::PixelsOf<float>(*image) == large_pixels());
    EXPECT_TRUE(test::PixelsOf<float>(*sibling) == large_pixels());
    EXPECT_TRUE(test::PixelsOf<float>(*child) == large_pixels());
    EXPECT_EQ(test::PixelsOf<float>(*clone), std::vector<float>(LARGE.Elements(), 2.0F));
}

TEST(LargeImageClone, GoesAwayBeforeItWasLookedAt) {
    const test::CPixelLeakCheck leaks;
    const auto image = large_image();
    delete CImageExtraction::Clone(*image);
    const std::unique_ptr<CImage> resized(CImageExtraction::Clone(*image));
    resized->Resize(CSize(2, 2), CSize(0, 0, 0));
    set_all(*image, 3.0F);
    EXPECT_EQ(test::PixelsOf<float>(*resized), std::vector<float>(4, 0.0F));
}

TEST(LargeImageClone, MayBeSetFromItsOriginalOnceAndBeforeAnybodyLooks) {
    const auto image = large_image();
    const std::unique_ptr<CImage> clone(CImageExtraction::Clone(*image));
    const auto negate = [](const std::byte* original, std::byte* pixels) {
        std::vector<float> values(LARGE.Elements());
        std::memcpy(values.data(), original, values.size() * sizeof(float));
        for (float& value : values) {
            value = -value;
        }
        std::memcpy(pixels, values.data(), values.size() * sizeof(float));
    };
    const auto fail = [](const std::byte*, std::byte* pixels) {
        pixels[0] = std::byte{0x7F};
        throw std::runtime_error("half-way");
    };
    EXPECT_THROW(clone->SetFromOriginal(fail), std::runtime_error);
    EXPECT_TRUE(clone->SetFromOriginal(negate));
    EXPECT_FALSE(clone->SetFromOriginal(fail)) << "it has pixels of its own now";
    std::vector<float> expected = large_pixels();
    for (float& value : expected) {
        value = -value;
    }
    set_all(*image, 1.0F);
    EXPECT_TRUE(test::PixelsOf<float>(*clone) == expected);
    EXPECT_FALSE(image->SetFromOriginal(fail)) << "no clone";

    const std::unique_ptr<CImage> failed(CImageExtraction::Clone(*image));
    EXPECT_THROW(failed->SetFromOriginal(fail), std::runtime_error);
    EXPECT_EQ(test::PixelsOf<float>(*failed), std::vector<float>(LARGE.Elements(), 1.0F));
}

TEST(LargeImageClone, IsLookedAtByManyThreadsWhileTheOriginalChanges) {
    const std::vector<float> expected = large_pixels();
    for (int round = 0; round < 5; ++round) {
        auto image = large_image();
        const std::unique_ptr<CImage> first(CImageExtraction::Clone(*image));
        const std::unique_ptr<CImage> second(CImageExtraction::Clone(*image));
        std::vector<int> equal(4);
        {
            std::vector<std::jthread> threads;
            for (std::size_t k = 0; k < equal.size(); ++k) {
                const CImage& clone = k % 2 == 0 ? *first : *second;
                threads.emplace_back([&equal, &expected, &clone, k] {
                    equal[k] = test::PixelsOf<float>(clone) == expected ? 1 : 0;
                });
            }
            set_all(*image, 7.0F);
            image.reset();
        }
        EXPECT_EQ(equal, std::vector<int>(4, 1));
    }
}

} // namespace
} // namespace TEVRA
