// SPDX-License-Identifier: BSD-3-Clause
#include "support/AwkwardSizes.h"
#include "support/MakeImage.h"
#include "support/ThrownException.h"

#include <gtest/gtest.h>

#include <complex>
#include <memory>
#include <utility>

namespace TEVRA {
namespace {

const CSize NO_BORDER(0, 0, 0);

std::unique_ptr<IImage::IAccess> open(IImage& image, bool readOnly) {
    return std::unique_ptr<IImage::IAccess>(image.CreateAccess(readOnly));
}

int place(long long x, long long y, long long z) {
    return static_cast<int>(x + 100 * y + 10000 * z);
}

TEST(ImageAccess, ReachesEveryPixelByItsStrides) {
    for (const CSize& size : test::AwkwardSizes3D()) {
        const auto image = test::MakeImage<float>(IMAGE_GREY_F, size, place);
        const auto access = open(*image, true);
        const auto* first = static_cast<const std::byte*>(access->ConstData());
        for (long long z = 0; z < size[2]; ++z) {
            for (long long y = 0; y < size[1]; ++y) {
                for (long long x = 0; x < size[0]; ++x) {
                    const std::byte* at =
                        first + x * access->Stride(0) + y * access->Stride(1) + z * access->Stride(2);
                    ASSERT_EQ(*reinterpret_cast<const float*>(at), static_cast<float>(place(x, y, z)))
                        << CPos(x, y, z).ToString() << " in " << size.ToString();
                }
            }
        }
    }
}

template <typename PixelT>
void expect_written_pixel_is_read_back(const IImage::CType& type, PixelT value) {
    CImage image(type, CSize(5, 4, 3), NO_BORDER);
    const auto writing = open(image, false);
    writing->SetRegion(CPos(2, 3, 1), CPos(2, 3, 1));
    *static_cast<PixelT*>(writing->Data()) = value;
    const std::unique_ptr<IImage::IAccess> reading(std::as_const(image).CreateAccess(true));
    reading->SetRegion(CPos(2, 3, 1), CPos(4, 3, 2));
    EXPECT_EQ(*static_cast<const PixelT*>(reading->ConstData()), value) << type.ToString();
    EXPECT_EQ(image.Pixels<PixelT>()[2 + 5 * (3 + 4 * 1)], value) << type.ToString();
    EXPECT_EQ(reading->Stride(0), static_cast<std::ptrdiff_t>(sizeof(PixelT)));
    EXPECT_EQ(reading->Stride(1), static_cast<std::ptrdiff_t>(5 * sizeof(PixelT)));
    EXPECT_EQ(reading->Stride(2), static_cast<std::ptrdiff_t>(20 * sizeof(PixelT)));
}

TEST(ImageAccess, ReadsBackWhatWasWrittenInEveryType) {
    expect_written_pixel_is_read_back<unsigned char>(IMAGE_GREY_8, 200);
    expect_written_pixel_is_read_back<unsigned short>(IMAGE_GREY_16, 60000);
    expect_written_pixel_is_read_back<float>(IMAGE_GREY_F, -1.5F);
    expect_written_pixel_is_read_back<std::complex<float>>(IMAGE_COMPLEX_F, {1.5F, -2.5F});
    expect_written_pixel_is_read_back<unsigned char>(IMAGE_BINARY_FG, 1);
    expect_written_pixel_is_read_back<unsigned char>(IMAGE_BINARY_BG, 255);
    expect_written_pixel_is_read_back<bool>(IMAGE_BOOL, true);
}

TEST(ImageAccess, BeginsAtTheRegionsFirstPixelWithTheImagesStrides) {
    const auto image = test::MakeImage<unsigned short>(IMAGE_GREY_16, CSize(7, 6, 5), place);
    const auto access = open(*image, true);
    access->SetRegion(CPos(1, 2, 3), CPos(6, 5, 4));
    EXPECT_EQ(*static_cast<const unsigned short*>(access->ConstData()), place(1, 2, 3));
    EXPECT_EQ(access->Stride(1), 14);
    EXPECT_EQ(access->Stride(2), 84);
    access->SetRegion(CPos(0, 0, 0), CPos(6, 5, 4));
    EXPECT_EQ(access->ConstData(), image->Pixels<unsigned short>()) << "regions do not add up";
}

TEST(ImageAccess, HasNoStrideBeyondTheDimensions) {
    CImage image(IMAGE_GREY_F, CSize(5, 4), NO_BORDER);
    const auto access = open(image, true);
    EXPECT_EQ(access->Stride(1), 20);
    EXPECT_EQ(access->Stride(2), 0);
    EXPECT_EQ(access->Stride(-1), 0);
}

TEST(ImageAccess, ReachesFourDimensions) {
    CImage image(IMAGE_GREY_8, CSize{2, 3, 4, 5}, NO_BORDER);
    const auto access = open(image, false);
    EXPECT_EQ(access->Stride(3), 24);
    access->SetRegion(CPos{1, 2, 3, 4}, CPos{1, 2, 3, 4});
    *static_cast<unsigned char*>(access->Data()) = 9;
    EXPECT_EQ(image.Pixels<unsigned char>()[119], 9);
}

TEST(ImageAccess, RefusesRegionsOutsideTheImage) {
    CImage image(IMAGE_GREY_8, CSize(5, 4), NO_BORDER);
    const auto access = open(image, false);
    access->SetRegion(CPos(1, 1), CPos(2, 2));
    const void* before = access->ConstData();
    test::ExpectThrown<CExBadParam>([&] { access->SetRegion(CPos(0, 0), CPos(5, 3)); },
                                    {"The region from (0,0) to (5,3) does not lie in an image of size (5,4).",
                                     "TEVRA::IImage::IAccess::SetRegion", "host/zeklib2image/PackedAccess"});
    EXPECT_THROW(access->SetRegion(CPos(-1, 0), CPos(2, 2)), CExBadParam);
    EXPECT_THROW(access->SetRegion(CPos(2, 2), CPos(1, 2)), CExBadParam) << "corners the wrong way round";
    EXPECT_THROW(access->SetRegion(CPos(0, 0, 0), CPos(1, 1, 0)), CExBadParam) << "another dimension";
    EXPECT_THROW(access->SetRegion(CPos(0, 0), CPos(1, 1, 0)), CExBadParam);
    EXPECT_EQ(access->ConstData(), before) << "the region set before stays";
}

TEST(ImageAccess, HasNoRegionInAnImageWithoutPixels) {
    CImage image(IMAGE_GREY_8, CSize(0, 4), NO_BORDER);
    const auto access = open(image, true);
    EXPECT_THROW(access->SetRegion(CPos(0, 0), CPos(-1, 3)), CExBadParam);
}

TEST(ImageAccess, ForReadingHandsOutNoPointerToWriteThrough) {
    CImage image(IMAGE_GREY_8, CSize(5, 4), NO_BORDER);
    const auto access = open(image, true);
    EXPECT_TRUE(access->IsReadOnly());
    EXPECT_NE(access->ConstData(), nullptr);
    test::ExpectThrown(
        [&] { access->Data(); },
        {"The image access is read-only.", "TEVRA::IImage::IAccess::Data", "host/zeklib2image/PackedAccess"});
}

TEST(ImageAccess, ForWritingReadsToo) {
    CImage image(IMAGE_GREY_8, CSize(5, 4), NO_BORDER);
    const auto access = open(image, false);
    EXPECT_FALSE(access->IsReadOnly());
    EXPECT_EQ(access->Data(), access->ConstData());
}

TEST(ImageAccess, OfAConstantImageIsForReadingOnly) {
    const CImage image(IMAGE_GREY_8, CSize(5, 4), NO_BORDER);
    const std::unique_ptr<IImage::IAccess> access(image.CreateAccess(true));
    EXPECT_TRUE(access->IsReadOnly());
    test::ExpectThrown<CExBadParam>(
        [&] { const std::unique_ptr<IImage::IAccess> none(image.CreateAccess(false)); },
        {"A constant image gives read-only access only.", "TEVRA::CImage::CreateAccess",
         "host/zeklib2image/Image"});
}

} // namespace
} // namespace TEVRA
