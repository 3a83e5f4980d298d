// SPDX-License-Identifier: BSD-3-Clause
// Small files whose headers claim large images: refused when they are opened, before memory is taken for
// them.
#include "volume/FileTesting.h"
#include "volume/PngTesting.h"
#include "volume/TiffTesting.h"

#include <memory>

#include <tiffio.h>
#include <zlib.h>

namespace TEVRA::volume {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr std::uint32_t EXTENT = 100'000;

class Claim : public testing::Test {
  protected:
    std::string path(const std::string& name) const { return (m_folder / name).string(); }

    void expect_refused(const std::string& name, const std::string& content) {
        test::WriteFile(path(name), content);
        expect_refused(name);
    }
    void expect_refused(const std::string& name) {
        EXPECT_THAT(
            FailureOf([&] { OpenImage(path(name)); }),
            AllOf(HasSubstr(path(name) + ": the file is truncated or its header broken: the image takes "),
                  HasSubstr("can become no more than")))
            << name;
    }

    test::CTemporaryFolder m_folder;
};

std::string gzipped(const std::string& bytes) {
    z_stream stream{};
    deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 9, Z_DEFAULT_STRATEGY);
    std::string packed(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

TEST_F(Claim, OfTextHeadersBeforePackedPixels) {
    const std::string extents = std::to_string(EXTENT) + " " + std::to_string(EXTENT);
    const std::string pixels = gzipped(std::string(1000, '\0'));
    expect_refused("image.mha", "ObjectType = Image\nNDims = 2\nCompressedData = True\nDimSize = " + extents +
                                    "\nElementType = MET_UCHAR\nElementDataFile = LOCAL\n" + pixels);
    expect_refused("image.nrrd", "NRRD0004\ntype: uint8\ndimension: 2\nsizes: " + extents +
                                     "\nencoding: gzip\n\n" + pixels);
}

TEST_F(Claim, OfPackedNifti) {
    std::string header(352, '\0');
    header.replace(0, 4, BytesOf(std::int32_t{348}));
    for (const auto& [place, value] : {std::pair{40, 2}, {42, 30000}, {44, 30000}, {70, 2}, {72, 8}}) {
        header.replace(static_cast<std::size_t>(place), 2, BytesOf(static_cast<std::int16_t>(value)));
    }
    header.replace(108, 4, BytesOf(352.0F));
    header.replace(344, 3, "n+1");
    expect_refused("image.nii.gz", gzipped(header + std::string(1000, '\0')));
}

TEST_F(Claim, OfPng) {
    WriteTestPng(path("image.png"), CSize(8, 8), std::string(64, '\0'));
    std::string bytes = test::ReadFile(path("image.png"));
    constexpr std::size_t HEADER = 12; // its name, which the check sum begins with
    bytes.replace(HEADER + 4, 8, BytesOf(EXTENT, EByteOrder::big) + BytesOf(EXTENT, EByteOrder::big));
    const auto sum =
        static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(bytes.data() + HEADER), 17));
    bytes.replace(HEADER + 17, 4, BytesOf(sum, EByteOrder::big));
    expect_refused("image.png", bytes);
}

TEST_F(Claim, OfTiffInStripsAndTilesOfEachCompression) {
    for (const int compression :
         {COMPRESSION_NONE, COMPRESSION_PACKBITS, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE}) {
        for (const bool tiled : {false, true}) {
            SCOPED_TRACE(testing::Message() << compression << (tiled ? " tiles" : " strips"));
            const std::unique_ptr<TIFF, decltype(&TIFFClose)> file(TIFFOpen(path("image.tif").c_str(), "w"),
                                                                   TIFFClose);
            TIFFSetField(file.get(), TIFFTAG_IMAGEWIDTH, EXTENT / 10);
            TIFFSetField(file.get(), TIFFTAG_IMAGELENGTH, EXTENT);
            TIFFSetField(file.get(), TIFFTAG_BITSPERSAMPLE, 8);
            TIFFSetField(file.get(), TIFFTAG_SAMPLESPERPIXEL, 1);
            TIFFSetField(file.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
            TIFFSetField(file.get(), TIFFTAG_COMPRESSION, compression);
            if (tiled) {
                TIFFSetField(file.get(), TIFFTAG_TILEWIDTH, 10'000);
                TIFFSetField(file.get(), TIFFTAG_TILELENGTH, 100'000);
            } else {
                TIFFSetField(file.get(), TIFFTAG_ROWSPERSTRIP, EXTENT);
            }
            std::string packed(50, 'x');
            (tiled ? TIFFWriteRawTile : TIFFWriteRawStrip)(file.get(), 0, packed.data(), 50);
            TIFFFlush(file.get());
            expect_refused("image.tif");
        }
    }
}

/// The most that deflate can do, and so all that a sound file may claim.
TEST_F(Claim, OfAsMuchAsThePixelsBecomeIsBelieved) {
    const std::string zeros(4'000'000, '\0');
    const std::string packed = gzipped(zeros);
    EXPECT_LT(packed.size() * 1000, zeros.size());
    test::WriteFile(path("image.nrrd"),
                    "NRRD0004\ntype: uint8\ndimension: 2\nsizes: 2000 2000\nencoding: gzip\n\n" + packed);
    ExpectImage<std::uint8_t>(path("image.nrrd"), CSize(2000, 2000),
                              std::vector<std::uint8_t>(zeros.size(), 0));
    STiffOptions tiff;
    for (const int compression : {COMPRESSION_PACKBITS, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE}) {
        tiff.compression = compression;
        tiff.linesPerStrip = 2000;
        WriteTestTiff(path("image.tif"), CSize(2000, 2000), zeros, tiff);
        ExpectImage<std::uint8_t>(path("image.tif"), CSize(2000, 2000),
                                  std::vector<std::uint8_t>(zeros.size(), 0));
    }
    WriteTestPng(path("image.png"), CSize(2000, 2000), zeros);
    ExpectImage<std::uint8_t>(path("image.png"), CSize(2000, 2000),
                              std::vector<std::uint8_t>(zeros.size(), 0));
}

} // namespace
} // namespace TEVRA::volume
