// SPDX-License-Identifier: BSD-3-Clause
#include "volume/FileTesting.h"
#include "volume/TiffTesting.h"

#include <array>
#include <cstdint>

namespace TEVRA::volume {
namespace {

using test::CTemporaryFolder;
using testing::HasSubstr;

const CSize SIZE_2D(19, 11);
const CSize SIZE_3D(19, 11, 5);

template <typename PixelT>
int format_of() {
    if constexpr (std::is_floating_point_v<PixelT>) {
        return SAMPLEFORMAT_IEEEFP;
    } else {
        return std::is_signed_v<PixelT> ? SAMPLEFORMAT_INT : SAMPLEFORMAT_UINT;
    }
}

/// libtiff takes pixels in the machine's byte order and swaps them itself.
template <typename PixelT>
std::string native_bytes(const std::vector<PixelT>& pixels) {
    std::string bytes(pixels.size() * sizeof(PixelT), '\0');
    std::memcpy(bytes.data(), pixels.data(), bytes.size());
    return bytes;
}

template <typename PixelT>
STiffOptions options_for() {
    STiffOptions options;
    options.bits = static_cast<int>(8 * sizeof(PixelT));
    options.format = format_of<PixelT>();
    return options;
}

template <typename PixelT>
class TiffReader : public testing::Test {
  protected:
    void expect_round_trip(const STiffOptions& options) {
        for (const CSize& size : {SIZE_2D, SIZE_3D}) {
            const std::vector<PixelT> pixels = TestPixels<PixelT>(size);
            WriteTestTiff(m_path, size, native_bytes(pixels), options);
            ExpectImage<PixelT>(m_path, size, pixels);
        }
    }

    CTemporaryFolder m_folder;
    std::string m_path = (m_folder / "image.tif").string();
};

using PixelTypes = testing::Types<std::uint8_t, std::uint16_t, float>;
TYPED_TEST_SUITE(TiffReader, PixelTypes);

TYPED_TEST(TiffReader, ReadsEveryByteOrderAndFileKind) {
    for (const char* mode : {"wl", "wb", "wl8", "wb8"}) {
        SCOPED_TRACE(mode);
        STiffOptions options = options_for<TypeParam>();
        options.mode = mode;
        this->expect_round_trip(options);
    }
}

TYPED_TEST(TiffReader, ReadsEveryLosslessCompressionInStripsAndTiles) {
    for (const int compression :
         {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS}) {
        for (const long long tileWidth : {0, 16, 32}) {
            for (const char* mode : {"wl", "wb"}) {
                SCOPED_TRACE(testing::Message() << compression << " tiles " << tileWidth << " " << mode);
                STiffOptions options = options_for<TypeParam>();
                options.mode = mode;
                options.compression = compression;
                options.tileWidth = tileWidth;
                options.tileHeight = 16;
                this->expect_round_trip(options);
            }
        }
    }
}

TYPED_TEST(TiffReader, ReadsPredictedPixels) {
    STiffOptions options = options_for<TypeParam>();
    options.compression = COMPRESSION_LZW;
    options.tags = [](TIFF* file, long long) {
        TIFFSetField(file, TIFFTAG_PREDICTOR,
                     std::is_floating_point_v<TypeParam> ? PREDICTOR_FLOATINGPOINT : PREDICTOR_HORIZONTAL);
    };
    this->expect_round_trip(options);
}

TYPED_TEST(TiffReader, ReadsStripsOfAnyLength) {
    for (const std::uint32_t lines : {1U, 4U, 11U, 12U, 1000U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(lines);
        STiffOptions options = options_for<TypeParam>();
        options.linesPerStrip = lines;
        this->expect_round_trip(options);
    }
}

TYPED_TEST(TiffReader, ReadsPagesWhosePlanesAreCalledSeparate) {
    STiffOptions options = options_for<TypeParam>();
    options.tags = [](TIFF* file, long long) {
        TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE);
    };
    this->expect_round_trip(options);
}

TYPED_TEST(TiffReader, ReadsFlippedPages) {
    const std::vector<TypeParam> stored = TestPixels<TypeParam>(SIZE_3D);
    for (const int orientation : {ORIENTATION_TOPRIGHT, ORIENTATION_BOTRIGHT, ORIENTATION_BOTLEFT}) {
        SCOPED_TRACE(orientation);
        const bool mirrored = orientation != ORIENTATION_BOTLEFT;
        const bool turned = orientation != ORIENTATION_TOPRIGHT;
        std::vector<TypeParam> expected;
        for (long long z = 0; z < SIZE_3D[2]; ++z) {
            for (long long y = 0; y < SIZE_3D[1]; ++y) {
                for (long long x = 0; x < SIZE_3D[0]; ++x) {
                    const long long fromX = mirrored ? SIZE_3D[0] - 1 - x : x;
                    const long long fromY = turned ? SIZE_3D[1] - 1 - y : y;
                    expected.push_back(
                        stored[static_cast<std::size_t>((z * SIZE_3D[1] + fromY) * SIZE_3D[0] + fromX)]);
                }
            }
        }
        STiffOptions options = options_for<TypeParam>();
        options.tags = [orientation](TIFF* file, long long) {
            TIFFSetField(file, TIFFTAG_ORIENTATION, orientation);
        };
        WriteTestTiff(this->m_path, SIZE_3D, native_bytes(stored), options);
        ExpectImage<TypeParam>(this->m_path, SIZE_3D, expected);
    }
}

class TiffFileTest : public testing::Test {
  protected:
    /// An 8-bit stack with these options, which may lie about the pixels.
    void write(const STiffOptions& options, const CSize& size = SIZE_3D) {
        const std::size_t lineBytes =
            (static_cast<std::size_t>(size[0]) * static_cast<std::size_t>(options.bits) * options.channels +
             7) /
            8;
        const std::size_t bytes = lineBytes * static_cast<std::size_t>(size[1] * size[2]);
        WriteTestTiff(m_path, size, std::string(bytes, '\x12'), options);
    }

    void write_with_text(const std::string& text, const CSize& size = SIZE_3D) {
        STiffOptions options;
        options.tags = [&text](TIFF* file, long long page) {
            if (page == 0) {
                TIFFSetField(file, TIFFTAG_IMAGEDESCRIPTION, text.c_str());
            }
        };
        write(options, size);
    }

    CTemporaryFolder m_folder;
    std::string m_path = (m_folder / "image.tif").string();
};

TEST_F(TiffFileTest, SignedPixelsAreHandedOutAsFloats) {
    const std::vector<std::int16_t> wide = TestPixels<std::int16_t>(SIZE_3D);
    WriteTestTiff(m_path, SIZE_3D, native_bytes(wide), options_for<std::int16_t>());
    ExpectImage<float>(m_path, SIZE_3D, std::vector<float>(wide.begin(), wide.end()));
    EXPECT_EQ(OpenImage(m_path)->Info().storedType, "16-bit signed integer");

    const std::vector<std::int8_t> narrow = TestPixels<std::int8_t>(SIZE_3D);
    WriteTestTiff(m_path, SIZE_3D, native_bytes(narrow), options_for<std::int8_t>());
    ExpectImage<float>(m_path, SIZE_3D, std::vector<float>(narrow.begin(), narrow.end()));
}

TEST_F(TiffFileTest, OneBitPixelsAreHandedOutAsBlackAndWhite) {
    STiffOptions options;
    options.bits = 1;
    const CSize size(10, 2);
    const std::string packed{'\x80', '\x40', '\x01', '\x80'}; // two bytes per line
    std::vector<std::uint8_t> expected(20, 0);
    expected[0] = expected[9] = expected[17] = expected[18] = 255;
    WriteTestTiff(m_path, size, packed, options);
    ExpectImage<std::uint8_t>(m_path, size, expected);

    options.photometric = PHOTOMETRIC_MINISWHITE;
    WriteTestTiff(m_path, size, packed, options);
    for (std::uint8_t& pixel : expected) {
        pixel = static_cast<std::uint8_t>(255 - pixel);
    }
    ExpectImage<std::uint8_t>(m_path, size, expected);
}

TEST_F(TiffFileTest, PagesWithZeroForWhiteAreInverted) {
    STiffOptions options;
    options.photometric = PHOTOMETRIC_MINISWHITE;
    const CSize size(3, 1, 2);
    WriteTestTiff(m_path, size, native_bytes(std::vector<std::uint8_t>{0, 1, 255, 7, 8, 9}), options);
    ExpectImage<std::uint8_t>(m_path, size, {255, 254, 0, 248, 247, 246});

    options.bits = 16;
    WriteTestTiff(m_path, size, native_bytes(std::vector<std::uint16_t>{0, 1, 65535, 256, 8, 9}), options);
    ExpectImage<std::uint16_t>(m_path, size, {65535, 65534, 0, 65279, 65527, 65526});
}

TEST_F(TiffFileTest, ImageJFilesWithZeroForWhiteKeepTheirValues) {
    STiffOptions options;
    options.photometric = PHOTOMETRIC_MINISWHITE;
    options.tags = [](TIFF* file, long long page) {
        if (page == 0) {
            TIFFSetField(file, TIFFTAG_IMAGEDESCRIPTION, "ImageJ=1.53k\nimages=2\nslices=2\n");
        }
    };
    const CSize size(3, 1, 2);
    WriteTestTiff(m_path, size, native_bytes(std::vector<std::uint8_t>{0, 1, 255, 7, 8, 9}), options);
    ExpectImage<std::uint8_t>(m_path, size, {0, 1, 255, 7, 8, 9});
}

TEST_F(TiffFileTest, AnImageJStackUnderASinglePageIsReadWhole) {
    for (const char* mode : {"wl", "wb"}) {
        SCOPED_TRACE(mode);
        const std::vector<std::uint16_t> pixels = TestPixels<std::uint16_t>(SIZE_3D);
        const CSize page(SIZE_3D[0], SIZE_3D[1]);
        STiffOptions options = options_for<std::uint16_t>();
        options.mode = mode;
        options.linesPerStrip = 11;
        options.tags = [](TIFF* file, long long) {
            TIFFSetField(file, TIFFTAG_IMAGEDESCRIPTION, "ImageJ=1.53k\nimages=5\nslices=5\n");
        };
        const std::string first = native_bytes(pixels).substr(0, page.Elements() * 2);
        WriteTestTiff(m_path, page, first, options);
        // All pixels at the end of the file, and the strip's offset there.
        std::string file = test::ReadFile(m_path);
        const EByteOrder order = mode[1] == 'l' ? EByteOrder::little : EByteOrder::big;
        const std::string oldOffset = BytesOf<std::uint16_t>(TIFFTAG_STRIPOFFSETS, order);
        const std::size_t entry = file.rfind(oldOffset + BytesOf<std::uint16_t>(TIFF_LONG, order));
        ASSERT_NE(entry, std::string::npos);
        file.replace(entry + 8, 4, BytesOf(static_cast<std::uint32_t>(file.size()), order));
        test::WriteFile(m_path, file + BytesOf(pixels, order));
        ExpectImage<std::uint16_t>(m_path, SIZE_3D, pixels);

        test::WriteFile(m_path, file + BytesOf(pixels, order).substr(1));
        EXPECT_THAT(FailureOfReading(m_path), HasSubstr("image.tif: the file is truncated"));
    }
}

TEST_F(TiffFileTest, PixelsThatWereCompressedWithLossesAreReadAndSaidToBe) {
    if (TIFFIsCODECConfigured(COMPRESSION_JPEG) == 0) {
        GTEST_SKIP() << "libtiff was built without JPEG";
    }
    const CSize size(32, 16, 2);
    std::vector<std::uint8_t> pixels(size.Elements());
    for (std::size_t i = 0; i < pixels.size(); ++i) { // a slope, which JPEG changes by a few grey values
        pixels[i] = static_cast<std::uint8_t>(20 + 6 * (i % 32));
    }
    STiffOptions options;
    WriteTestTiff(m_path, size, native_bytes(pixels), options);
    EXPECT_EQ(OpenImage(m_path)->Info().lossyCompression, "");
    options.compression = COMPRESSION_JPEG;
    options.linesPerStrip = 8;
    WriteTestTiff(m_path, size, native_bytes(pixels), options);
    const std::unique_ptr<IImageReader> reader = OpenImage(m_path);
    EXPECT_EQ(reader->Info().lossyCompression, "JPEG");
    const std::vector<std::uint8_t> read = ReadPixels<std::uint8_t>(*reader, 0, 2);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        ASSERT_NEAR(static_cast<int>(read[i]), static_cast<int>(pixels[i]), 12) << i;
    }
}

TEST_F(TiffFileTest, ReducedCopiesOfPagesAreLeftOut) {
    STiffOptions options;
    options.tags = [](TIFF* file, long long page) {
        if (page % 2 == 1) {
            TIFFSetField(file, TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE);
        }
    };
    const std::vector<std::uint8_t> pixels{1, 2, 0, 0, 3, 4, 0, 0, 5, 6};
    WriteTestTiff(m_path, CSize(2, 1, 5), native_bytes(pixels), options);
    ExpectImage<std::uint8_t>(m_path, CSize(2, 1, 3), {1, 2, 3, 4, 5, 6});
}

TEST_F(TiffFileTest, ThousandsOfPagesAreReadInAnyOrder) {
    const CSize size(2, 1, 3000);
    std::vector<std::uint16_t> pixels(size.Elements());
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        pixels[i] = static_cast<std::uint16_t>(i);
    }
    WriteTestTiff(m_path, size, native_bytes(pixels), options_for<std::uint16_t>());
    const std::unique_ptr<IImageReader> reader = OpenImage(m_path);
    EXPECT_EQ(reader->Info().size, size);
    EXPECT_EQ(ReadPixels<std::uint16_t>(*reader, 0, 3000), pixels);
    for (const long long slice : {2999LL, 0LL, 1500LL, 17LL, 2998LL}) {
        EXPECT_EQ(ReadPixels<std::uint16_t>(*reader, slice, 1)[1], 2 * slice + 1);
    }
}

TEST_F(TiffFileTest, WideNumbersAreHandedOutAsFloats) {
    const auto expect = [this](const auto& pixels) {
        using StoredT = typename std::decay_t<decltype(pixels)>::value_type;
        for (const int compression : {COMPRESSION_NONE, COMPRESSION_LZW}) {
            STiffOptions options = options_for<StoredT>();
            options.compression = compression;
            options.mode = "wb";
            WriteTestTiff(m_path, SIZE_3D, native_bytes(pixels), options);
            ExpectImage<float>(m_path, SIZE_3D, std::vector<float>(pixels.begin(), pixels.end()));
            EXPECT_TRUE(OpenImage(m_path)->Info().isRounded);
        }
    };
    expect(TestPixels<std::uint32_t>(SIZE_3D));
    expect(TestPixels<std::int32_t>(SIZE_3D));
    expect(TestPixels<std::uint64_t>(SIZE_3D));
    expect(TestPixels<std::int64_t>(SIZE_3D));
    expect(TestPixels<double>(SIZE_3D));
}

TEST_F(TiffFileTest, PixelsThatAreNoGreyValuesOfAKnownTypeAreNamed) {
    struct SCase {
        int bits;
        int format;
        int photometric;
        int channels;
        const char* named;
    };
    const std::array cases{
        SCase{8, SAMPLEFORMAT_UINT, PHOTOMETRIC_RGB, 3, "RGB colors"},
        SCase{8, SAMPLEFORMAT_UINT, PHOTOMETRIC_SEPARATED, 4, "CMYK colors"},
        SCase{8, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISBLACK, 2, "of 2 channels"},
        SCase{32, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISWHITE, 1, "32-bit unsigned integer with 0 for white"},
        SCase{16, SAMPLEFORMAT_IEEEFP, PHOTOMETRIC_MINISBLACK, 1, "16-bit float"},
        SCase{4, SAMPLEFORMAT_UINT, PHOTOMETRIC_MINISBLACK, 1, "4-bit unsigned integer"},
        SCase{64, SAMPLEFORMAT_COMPLEXIEEEFP, PHOTOMETRIC_MINISBLACK, 1, "complex numbers"},
        SCase{32, SAMPLEFORMAT_IEEEFP, PHOTOMETRIC_MINISWHITE, 1, "32-bit float with 0 for white"},
    };
    for (const SCase& c : cases) {
        STiffOptions options;
        options.bits = c.bits;
        options.format = c.format;
        options.photometric = c.photometric;
        options.channels = c.channels;
        write(options);
        EXPECT_EQ(FailureOfReading(m_path), m_path + ": the pixels are " + c.named +
                                                ", which cannot be read; convert the image to 8- or 16-bit "
                                                "integer or 32-bit float grey values");
    }
}

TEST_F(TiffFileTest, PaletteColorsAreRefused) {
    STiffOptions options;
    options.photometric = PHOTOMETRIC_PALETTE;
    std::vector<std::uint16_t> map(256);
    options.tags = [&map](TIFF* file, long long) {
        TIFFSetField(file, TIFFTAG_COLORMAP, map.data(), map.data(), map.data());
    };
    write(options);
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("the pixels are palette colors"));
}

TEST_F(TiffFileTest, RotatedPagesAreRefused) {
    STiffOptions options;
    options.tags = [](TIFF* file, long long) {
        TIFFSetField(file, TIFFTAG_ORIENTATION, ORIENTATION_RIGHTTOP);
    };
    write(options);
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("the orientation tag is 6, but only 1 to 4 can be read"));
}

TEST_F(TiffFileTest, APageOfAnotherSizeIsNamed) {
    STiffOptions options;
    write(options, CSize(19, 11, 2));
    options.mode = "a";
    write(options, CSize(19, 12));
    EXPECT_EQ(FailureOfReading(m_path),
              m_path + ", page 3: the page has 19 x 12 pixels, but the first has 19 x 11; "
                       "all slices must have the same size");
}

TEST_F(TiffFileTest, APageOfAnotherTypeIsNamed) {
    STiffOptions options;
    write(options, CSize(19, 11));
    options.mode = "a";
    options.bits = 16;
    write(options, CSize(19, 11));
    EXPECT_EQ(FailureOfReading(m_path),
              m_path +
                  ", page 2: the page's pixels are 16-bit unsigned integer, but those of the first are 8-bit "
                  "unsigned integer; all slices must have the same pixel type");
}

TEST_F(TiffFileTest, ChannelsAndTimePointsAreRefused) {
    write_with_text("ImageJ=1.53k\nimages=5\nchannels=5\n");
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("the image has 5 channels, 1 slices and 1 time points"));
    write_with_text("ImageJ=1.53k\nimages=4\nslices=2\nframes=2\n", CSize(19, 11, 4));
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("the image has 1 channels, 2 slices and 2 time points"));
    write_with_text("<OME><Image><Pixels SizeC=\"1\" SizeT=\"3\" SizeZ=\"2\"/></Image></OME>",
                    CSize(19, 11, 6));
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("the image has 1 channels, 2 slices and 3 time points"));
}

TEST_F(TiffFileTest, ATimeSeriesCountsAsAStack) {
    write_with_text("ImageJ=1.53k\nimages=5\nframes=5\n");
    EXPECT_EQ(OpenImage(m_path)->Info().size, SIZE_3D);
}

TEST_F(TiffFileTest, TheFormatIsNamed) {
    STiffOptions options;
    write(options);
    EXPECT_EQ(OpenImage(m_path)->Info().format, "TIFF");
    options.mode = "w8";
    write(options);
    EXPECT_EQ(OpenImage(m_path)->Info().format, "BigTIFF");
}

TEST_F(TiffFileTest, TruncatedPixelsAreAnErrorThatNamesThePage) {
    for (const int compression : {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE}) {
        SCOPED_TRACE(compression);
        // Bytes of the last strip beyond the end of the file.
        const std::vector<std::uint8_t> pixels = TestPixels<std::uint8_t>(SIZE_2D);
        STiffOptions options;
        options.compression = compression;
        options.linesPerStrip = 11;
        WriteTestTiff(m_path, SIZE_2D, native_bytes(pixels), options);
        std::string file = test::ReadFile(m_path);
        const std::size_t entry = file.rfind(BytesOf<std::uint16_t>(TIFFTAG_STRIPOFFSETS));
        ASSERT_NE(entry, std::string::npos);
        file.replace(entry + 8, 4, BytesOf(static_cast<std::uint32_t>(file.size() - 20)));
        test::WriteFile(m_path, file);
        EXPECT_THAT(FailureOfReading(m_path), HasSubstr("image.tif: the TIFF file is broken or truncated: "));
    }
}

} // namespace
} // namespace TEVRA::volume
