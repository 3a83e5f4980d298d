// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/ImageFactory.h"

#include "support/MakeImage.h"
#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <memory>

namespace TEVRA {
namespace {

TEST(ImageFactory, IsOneForAll) {
    EXPECT_EQ(&CZekImageFactory::Obj(), &CZekImageFactory::Obj());
}

TEST(ImageFactory, MakesImagesOfZeros) {
    const std::unique_ptr<IImage> image(CZekImageFactory::Obj().CreateImage(IMAGE_GREY_F, CSize(3, 2)));
    EXPECT_TRUE(image->Type() == IMAGE_GREY_F);
    EXPECT_EQ(image->Size(), CSize(3, 2));
    EXPECT_EQ(test::PixelsOf<float>(dynamic_cast<const CImage&>(*image)), std::vector<float>(6, 0.0F));
    EXPECT_THROW(CZekImageFactory::Obj().CreateImage(IMAGE_GREY_F, CSize(3, -2)), CExBadParam);
}

TEST(ImageFactory, MakesBinaryImagesOfOneValue) {
    for (const IImage::CType& type : {IMAGE_BINARY_FG, IMAGE_BINARY_BG, IMAGE_BOOL}) {
        for (const bool value : {false, true}) {
            const std::unique_ptr<IImage> image(
                CZekImageFactory::Obj().CreateImage(type, CSize(3, 2, 2), CPixel(value)));
            EXPECT_TRUE(image->Type() == type);
            EXPECT_EQ(test::PixelsOf<unsigned char>(dynamic_cast<const CImage&>(*image)),
                      std::vector<unsigned char>(12, value ? 1 : 0));
        }
    }
}

TEST(ImageFactory, FillsNoOtherImagesWithABinaryValue) {
    const test::CPixelLeakCheck leaks;
    test::ExpectThrown<CExBadParam>(
        [] { CZekImageFactory::Obj().CreateImage(IMAGE_GREY_F, CSize(3, 2), CPixel(true)); },
        {"An image of type GREY_F cannot be filled with a binary value.",
         "TEVRA::CZekImageFactory::CreateImage", "host/zeklib2image/ImageFactory"});
}

} // namespace
} // namespace TEVRA
