// SPDX-License-Identifier: BSD-3-Clause
#include "volume/FileTesting.h"
#include "volume/PngTesting.h"
#include "volume/TiffTesting.h"

#include <filesystem>

namespace TEVRA::volume {
namespace {

using testing::HasSubstr;

const CSize SLICE(7, 5);

class PngReader : public testing::Test {
  protected:
    test::CTemporaryFolder m_folder;
    std::string m_path = (m_folder / "image.png").string();
};

TEST_F(PngReader, ReadsEightAndSixteenBitPlainAndInterlaced) {
    for (const int interlace : {PNG_INTERLACE_NONE, PNG_INTERLACE_ADAM7}) {
        const auto narrow = TestPixels<std::uint8_t>(SLICE);
        WriteTestPng(m_path, SLICE, BytesOf(narrow), {.bits = 8, .interlace = interlace});
        ExpectImage<std::uint8_t>(m_path, SLICE, narrow);
        const auto wide = TestPixels<std::uint16_t>(SLICE);
        WriteTestPng(m_path, SLICE, BytesOf(wide, EByteOrder::big), {.bits = 16, .interlace = interlace});
        ExpectImage<std::uint16_t>(m_path, SLICE, wide);
    }
}

TEST_F(PngReader, SpreadsFewerBitsOverTheGreyRange) {
    WriteTestPng(m_path, CSize(4, 1), "\x1B", {.bits = 2}); // 0 1 2 3
    ExpectImage<std::uint8_t>(m_path, CSize(4, 1), {0, 85, 170, 255});
    WriteTestPng(m_path, CSize(4, 1), "\x50", {.bits = 1}); // 0 1 0 1
    ExpectImage<std::uint8_t>(m_path, CSize(4, 1), {0, 255, 0, 255});
}

TEST_F(PngReader, NamesColors) {
    WriteTestPng(m_path, CSize(2, 1), std::string(6, 'x'), {.color = PNG_COLOR_TYPE_RGB});
    EXPECT_EQ(FailureOfReading(m_path),
              m_path + ": the pixels are RGB colors, which cannot be read; convert the image "
                       "to 8- or 16-bit integer or 32-bit float grey values");
    WriteTestPng(m_path, CSize(2, 1), std::string(8, 'x'), {.color = PNG_COLOR_TYPE_RGB_ALPHA});
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("RGB colors"));
    WriteTestPng(m_path, CSize(2, 1), std::string(4, 'x'), {.color = PNG_COLOR_TYPE_GRAY_ALPHA});
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("grey values with transparency"));
    WriteTestPng(m_path, CSize(2, 1), std::string(2, '\0'), {.color = PNG_COLOR_TYPE_PALETTE});
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("palette colors"));
}

TEST_F(PngReader, APrintResolutionIsNoSpacingAMicroscopesIs) {
    WriteTestPng(m_path, SLICE, BytesOf(TestPixels<std::uint8_t>(SLICE)),
                 {.pixelsPerMetre = 11811}); // 300 dpi
    ExpectSpacing(m_path, std::nullopt);
    WriteTestPng(m_path, SLICE, BytesOf(TestPixels<std::uint8_t>(SLICE)), {.pixelsPerMetre = 2'000'000});
    ExpectSpacing(m_path, SExpectedSpacing{{0.0005, 0.0005, 1.0}, "mm"});
}

class SliceFolder : public testing::Test {
  protected:
    std::string file(const std::string& name) const { return (m_folder / name).string(); }
    void write_tiff(const std::string& name, std::uint8_t first, const CSize& size = SLICE) {
        std::string pixels(size.Elements(), '\x07');
        pixels[0] = static_cast<char>(first);
        WriteTestTiff(file(name), size, pixels);
    }
    void write_png(const std::string& name, std::uint8_t first) {
        std::string pixels(SLICE.Elements(), '\x07');
        pixels[0] = static_cast<char>(first);
        WriteTestPng(file(name), SLICE, pixels);
    }
    /// The first pixel of every slice.
    std::vector<int> first_pixels() const {
        const std::unique_ptr<IImageReader> reader = OpenImage(m_folder.Path().string());
        std::vector<int> firsts;
        for (long long z = 0; z < reader->SliceCount(); ++z) {
            firsts.push_back(ReadPixels<std::uint8_t>(*reader, z, 1)[0]);
        }
        return firsts;
    }

    test::CTemporaryFolder m_folder;
    std::string m_path = m_folder.Path().string();
};

TEST_F(SliceFolder, OneSliceThatWasCompressedWithLossesMakesTheImageLossy) {
    if (TIFFIsCODECConfigured(COMPRESSION_JPEG) == 0) {
        GTEST_SKIP() << "libtiff was built without JPEG";
    }
    write_tiff("a1.tif", 1);
    write_tiff("a2.tif", 2);
    EXPECT_EQ(OpenImage(m_folder.Path().string())->Info().lossyCompression, "");
    STiffOptions options;
    options.compression = COMPRESSION_JPEG;
    options.linesPerStrip = 8;
    WriteTestTiff(file("a2.tif"), SLICE, std::string(SLICE.Elements(), '\x07'), options);
    EXPECT_EQ(OpenImage(m_folder.Path().string())->Info().lossyCompression, "JPEG");
}

TEST_F(SliceFolder, ComesInNaturalOrder) {
    for (const int number : {10, 2, 1, 9, 100, 11}) {
        write_tiff("slice" + std::to_string(number) + ".tif", static_cast<std::uint8_t>(number));
    }
    EXPECT_EQ(first_pixels(), (std::vector<int>{1, 2, 9, 10, 11, 100}));
    EXPECT_EQ(OpenImage(m_path)->Info().size, CSize(7, 5, 6));
    EXPECT_EQ(OpenImage(m_path)->Info().format, "folder of TIFF slices");
}

TEST_F(SliceFolder, ReadsPngSlicesWithUpperCaseEndings) {
    write_png("a 2.png", 2);
    write_png("a 10.PNG", 10);
    write_png("a \xC3\xA9.png", 200);
    EXPECT_EQ(first_pixels(), (std::vector<int>{2, 10, 200}));
    EXPECT_EQ(OpenImage(m_path)->Info().format, "folder of PNG slices");
}

TEST_F(SliceFolder, RangesEqualTheWhole) {
    const CSize size(7, 5, 4);
    const auto pixels = TestPixels<std::uint16_t>(size);
    const std::size_t perSlice = SLICE.Elements();
    for (std::size_t z = 0; z < 4; ++z) {
        const std::vector<std::uint16_t> slice(pixels.begin() + static_cast<std::ptrdiff_t>(z * perSlice),
                                               pixels.begin() +
                                                   static_cast<std::ptrdiff_t>((z + 1) * perSlice));
        WriteTestPng(file(std::to_string(z) + ".png"), SLICE, BytesOf(slice, EByteOrder::big), {.bits = 16});
    }
    ExpectImage<std::uint16_t>(m_path, size, pixels);
    ExpectImage<std::uint16_t>(m_path + "/", size, pixels);
}

TEST_F(SliceFolder, LeavesOtherAndHiddenFilesAndFoldersAlone) {
    write_tiff("1.tiff", 1);
    write_tiff("2.tiff", 2);
    test::WriteFile(file("scan.log"), "a log");
    test::WriteFile(file("._1.tiff"), "metadata of a Mac");
    std::filesystem::create_directory(m_folder / "3.tiff");
    EXPECT_EQ(first_pixels(), (std::vector<int>{1, 2}));
}

TEST_F(SliceFolder, ASingleSliceIsA2DImage) {
    write_tiff("1.tif", 1);
    EXPECT_EQ(OpenImage(m_path)->Info().size, SLICE);
}

TEST_F(SliceFolder, WithoutSlicesIsRefused) {
    test::WriteFile(file("scan.log"), "a log");
    EXPECT_EQ(FailureOfReading(m_path),
              m_path + ": the folder holds no TIFF or PNG files; give a folder with one file per slice");
}

TEST_F(SliceFolder, MixedFormatsAreRefused) {
    write_tiff("1.tif", 1);
    write_png("preview.png", 2);
    EXPECT_EQ(FailureOfReading(m_path), m_path +
                                            ": the folder holds both TIFF files (1.tif ...) and PNG files "
                                            "(preview.png ...); keep the slices of one image only");
}

TEST_F(SliceFolder, ASliceOfAnotherSizeIsNamed) {
    write_tiff("1.tif", 1);
    write_tiff("2.tif", 2, CSize(7, 6));
    EXPECT_EQ(FailureOfReading(m_path), file("2.tif") + ": the slice has (7,6) pixels, but the first, " +
                                            file("1.tif") +
                                            ", has (7,5); all slices must have the same size");
}

TEST_F(SliceFolder, ASliceOfAnotherTypeIsNamed) {
    write_png("1.png", 1);
    WriteTestPng(file("2.png"), SLICE, BytesOf(TestPixels<std::uint16_t>(SLICE)), {.bits = 16});
    EXPECT_EQ(FailureOfReading(m_path),
              file("2.png") +
                  ": the slice's pixels are 16-bit unsigned integer, but those of "
                  "the first, " +
                  file("1.png") + ", are 8-bit unsigned integer; all slices must have the same pixel type");
}

TEST_F(SliceFolder, AStackAmongTheSlicesIsNamed) {
    write_tiff("1.tif", 1);
    write_tiff("2.tif", 2, CSize(7, 5, 3));
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr(file("2.tif") + ": holds 3 pages"));
}

TEST_F(SliceFolder, ABrokenSliceIsNamed) {
    write_tiff("1.tif", 1);
    test::WriteFile(file("2.tif"), "not a TIFF file");
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr(file("2.tif") + ": not an image file of a known format"));
}

TEST_F(SliceFolder, SlicesDoNotKnowTheirDistance) {
    WriteTestPng(file("1.png"), SLICE, std::string(35, 'x'), {.pixelsPerMetre = 2'000'000});
    ExpectSpacing(m_path, SExpectedSpacing{{0.0005, 0.0005, 1.0}, "mm"});
    WriteTestPng(file("2.png"), SLICE, std::string(35, 'x'), {.pixelsPerMetre = 2'000'000});
    ExpectSpacing(m_path, std::nullopt);
}

} // namespace
} // namespace TEVRA::volume
