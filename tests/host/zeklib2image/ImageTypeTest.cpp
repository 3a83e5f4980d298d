// SPDX-License-Identifier: BSD-3-Clause
#include "zeklib2image/ImageInterface.h"
#include "zeklib2image/Pixel.h"

#include <gtest/gtest.h>

#include <array>
#include <complex>
#include <string>

namespace TEVRA {
namespace {

const std::array<IImage::CType, 7> ALL_TYPES{IMAGE_GREY_8,    IMAGE_GREY_16,   IMAGE_GREY_F, IMAGE_COMPLEX_F,
                                             IMAGE_BINARY_FG, IMAGE_BINARY_BG, IMAGE_BOOL};

TEST(ImageType, EqualsOnlyItself) {
    for (std::size_t i = 0; i < ALL_TYPES.size(); ++i) {
        for (std::size_t j = 0; j < ALL_TYPES.size(); ++j) {
            EXPECT_EQ(ALL_TYPES[i] == ALL_TYPES[j], i == j) << i << " and " << j;
            EXPECT_EQ(ALL_TYPES[i] != ALL_TYPES[j], i != j) << i << " and " << j;
        }
    }
}

TEST(ImageType, HasTheSizeOfOnePixel) {
    EXPECT_EQ(IMAGE_GREY_8.BytesPerPixel(), sizeof(unsigned char));
    EXPECT_EQ(IMAGE_GREY_16.BytesPerPixel(), sizeof(unsigned short));
    EXPECT_EQ(IMAGE_GREY_F.BytesPerPixel(), sizeof(float));
    EXPECT_EQ(IMAGE_COMPLEX_F.BytesPerPixel(), sizeof(std::complex<float>));
    EXPECT_EQ(IMAGE_BINARY_FG.BytesPerPixel(), 1U);
    EXPECT_EQ(IMAGE_BINARY_BG.BytesPerPixel(), 1U);
    EXPECT_EQ(IMAGE_BOOL.BytesPerPixel(), sizeof(bool));
}

TEST(ImageType, PrintsDifferentNames) {
    for (const IImage::CType& type : ALL_TYPES) {
        for (const IImage::CType& other : ALL_TYPES) {
            EXPECT_EQ(std::string(type.ToString()) == other.ToString(), type == other);
        }
    }
    EXPECT_STREQ(IMAGE_GREY_F.ToString(), "GREY_F");
}

TEST(ImageType, IsNotInterleavedUnlessSaidSo) {
    for (const IImage::CType& type : ALL_TYPES) {
        EXPECT_FALSE(type.IsInterleaved()) << type.ToString();
    }
    EXPECT_TRUE(IImage::CType("RGB_8", 3, true).IsInterleaved());
}

TEST(ImageType, OfAnApplicationIsTakenButNotRead) {
    const IImage::CType own("LABEL_32", 4);
    EXPECT_EQ(own.Kind(), IImage::CType::EKind::unregistered);
    EXPECT_EQ(own.BytesPerPixel(), 4U);
    EXPECT_TRUE(own == IImage::CType(std::string("LABEL_32").c_str(), 4)) << "equal by name";
    EXPECT_FALSE(own == IImage::CType("LABEL_16", 4));
    EXPECT_FALSE(IImage::CType("GREY_F", 4) == IMAGE_GREY_F) << "a borrowed name does not make it the host's";
}

TEST(Pixel, HoldsABinaryValue) {
    EXPECT_TRUE(CPixel(true).Bool());
    EXPECT_FALSE(CPixel(false).Bool());
}

} // namespace
} // namespace TEVRA
