// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/ImageExtraction.h"

#include "support/AwkwardSizes.h"
#include "support/MakeImage.h"
#include "zeklib2core/ValueLeaf.h"

#include <gtest/gtest.h>

#include <complex>
#include <memory>

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

} // namespace
} // namespace TEVRA
