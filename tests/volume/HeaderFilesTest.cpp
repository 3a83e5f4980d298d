// SPDX-License-Identifier: BSD-3-Clause
// Formats with a header of text or a few numbers before the pixels: raw, MetaImage, NRRD, NIfTI. Files are
// put together byte by byte as their formats define them.
#include "volume/FileTesting.h"

#include <zlib.h>

namespace TEVRA::volume {
namespace {

using test::WriteFile;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

const CSize SIZE(6, 5, 4);
const CSize SIZE_2D(6, 5);

std::string zlib_packed(const std::string& bytes, int windowBits) {
    z_stream stream{};
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
    std::string packed(deflateBound(&stream, bytes.size()) + 100, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

std::string gzipped(const std::string& bytes) {
    return zlib_packed(bytes, 15 + 16);
}

class FileWithHeader : public testing::Test {
  protected:
    std::string path(const std::string& name) const { return (m_folder / name).string(); }

    test::CTemporaryFolder m_folder;
};

// Raw

class RawFile : public FileWithHeader {
  protected:
    template <typename PixelT, typename StoredT = PixelT>
    void expect_round_trip(const std::string& layout, const CSize& size, EByteOrder order) {
        const auto stored = TestPixels<StoredT>(size);
        WriteFile(path("image.raw"), BytesOf(stored, order));
        ExpectImage<PixelT>(path("image.raw"), size, std::vector<PixelT>(stored.begin(), stored.end()),
                            {ParseRawLayout(layout)});
    }
};

TEST_F(RawFile, IsReadInEveryTypeAndByteOrder) {
    expect_round_trip<std::uint8_t>("6,5,4,u8", SIZE, EByteOrder::little);
    expect_round_trip<std::uint16_t>("6,5,4,u16", SIZE, EByteOrder::little);
    expect_round_trip<float>("6,5,4,f32", SIZE, EByteOrder::little);
    expect_round_trip<std::uint16_t>("6,5,4,u16be", SIZE, EByteOrder::big);
    expect_round_trip<float>("6,5,4,f32be", SIZE, EByteOrder::big);
    expect_round_trip<float>("6,5,f32", SIZE_2D, EByteOrder::little);
    expect_round_trip<float>("6,5,1,f32", SIZE_2D, EByteOrder::little);
    expect_round_trip<float, std::int8_t>("6,5,4,i8", SIZE, EByteOrder::little);
    expect_round_trip<float, std::int16_t>("6,5,4,i16be", SIZE, EByteOrder::big);
    expect_round_trip<float, std::uint32_t>("6,5,4,u32", SIZE, EByteOrder::little);
    expect_round_trip<float, std::int32_t>("6,5,4,i32be", SIZE, EByteOrder::big);
    expect_round_trip<float, std::uint64_t>("6,5,4,u64be", SIZE, EByteOrder::big);
    expect_round_trip<float, std::int64_t>("6,5,4,i64", SIZE, EByteOrder::little);
    expect_round_trip<float, double>("6,5,4,f64be", SIZE, EByteOrder::big);
}

TEST_F(RawFile, OfAnotherLengthNamesBothLengths) {
    for (const int off : {-1, 1}) {
        const std::string bytes(static_cast<std::size_t>(240 + off), 'x');
        WriteFile(path("image.raw"), bytes);
        EXPECT_EQ(FailureOfReading(path("image.raw"), {ParseRawLayout("6,5,4,u16")}),
                  path("image.raw") +
                      ": the raw layout (6,5,4) of 16-bit unsigned integer pixels takes 240 bytes, but "
                      "the file has " +
                      std::to_string(240 + off) + "; check the extents and the pixel type");
    }
}

TEST_F(RawFile, LayoutsThatMakeNoSenseAreRefused) {
    const auto why = [](const std::string& text) { return FailureOf([&] { ParseRawLayout(text); }); };
    EXPECT_THAT(why(""), HasSubstr("raw layout '': it has 1 parts; give X,Y,Z,TYPE"));
    EXPECT_THAT(why("5,u8"), HasSubstr("it has 2 parts"));
    EXPECT_THAT(why("5,5,5,5,u8"), HasSubstr("it has 5 parts"));
    EXPECT_THAT(why("5,5,0,u8"), HasSubstr("'0' is not an extent"));
    EXPECT_THAT(why("5,-5,5,u8"), HasSubstr("'-5' is not an extent"));
    EXPECT_THAT(why("5,5.5,5,u8"), HasSubstr("'5.5' is not an extent"));
    EXPECT_THAT(why("5,,5,u8"), HasSubstr("'' is not an extent"));
    EXPECT_THAT(why("5,5,99999999999999999999,u8"), HasSubstr("is not an extent"));
    EXPECT_THAT(why("5,5,5,f16"), HasSubstr("'f16' is not a pixel type"));
    EXPECT_THAT(why("5,5,5,u8be"), HasSubstr("'u8be' is not a pixel type"));
}

// What floats cannot hold

class RoundedFile : public FileWithHeader {
  protected:
    template <typename StoredT>
    std::unique_ptr<IImageReader> open(const std::vector<StoredT>& stored, const std::string& type) {
        WriteFile(path("image.raw"), BytesOf(stored));
        return OpenImage(path("image.raw"), {ParseRawLayout(std::to_string(stored.size()) + ",1," + type)});
    }
    /// The rounding that the reader states before and after reading.
    template <typename StoredT>
    std::pair<double, double> rounding(const std::vector<StoredT>& stored, const std::string& type) {
        const auto reader = open(stored, type);
        const double before = reader->LargestRounding();
        ReadPixels<float>(*reader, 0, 1);
        return {before, reader->LargestRounding()};
    }
};

TEST_F(RoundedFile, SaysByHowMuch) {
    using Pair = std::pair<double, double>;
    EXPECT_EQ(rounding<std::uint32_t>({1, 1U << 24U, 4294967040U}, "u32"), Pair(0.0, 0.0));
    EXPECT_EQ(rounding<std::uint32_t>({1, (1U << 24U) + 1U}, "u32"), Pair(0.0, 1.0));
    EXPECT_EQ(rounding<std::int32_t>({-2147483647, 5}, "i32"), Pair(0.0, 1.0));
    EXPECT_EQ(rounding<std::uint64_t>({(std::uint64_t{1} << 63U) + 1U}, "u64"), Pair(0.0, 1.0));
    EXPECT_EQ(rounding<std::int64_t>({-(std::int64_t{1} << 62U) - 3}, "i64"), Pair(0.0, 3.0));
    EXPECT_EQ(rounding<double>({0.5, -3.25, 1e30 - 1e30}, "f64"), Pair(0.0, 0.0));
    EXPECT_EQ(rounding<double>({1.0 + 1e-9}, "f64").second, (1.0 + 1e-9) - 1.0);
    EXPECT_EQ(rounding<double>({std::nan(""), std::numeric_limits<double>::infinity()}, "f64"),
              Pair(0.0, 0.0));
    EXPECT_EQ(rounding<std::int16_t>({-32768, 32767}, "i16"), Pair(0.0, 0.0));
}

TEST_F(RoundedFile, SaysBeforehandWhetherItMay) {
    for (const std::string type : {"u64", "i64", "f64"}) {
        EXPECT_TRUE(open<double>({1.0}, type)->Info().isRounded) << type;
    }
    for (const std::string type : {"u32", "i32"}) {
        EXPECT_TRUE(open<std::uint32_t>({1}, type)->Info().isRounded) << type;
    }
    EXPECT_FALSE(open<std::int16_t>({1}, "i16")->Info().isRounded);
    EXPECT_FALSE(open<float>({1}, "f32")->Info().isRounded);
}

TEST_F(RoundedFile, ValuesBeyondTheRangeOfFloatsAreRefused) {
    const auto reader = open<double>({1.0, 3.5e38}, "f64");
    std::vector<float> pixels(2);
    EXPECT_EQ(FailureOf([&] { reader->ReadSlices(0, 1, pixels.data()); }),
              path("image.raw") +
                  ": a pixel's value is 3.5e+38, but images are read in 32-bit floats, which end at "
                  "3.4e38; divide the values by a constant");
}

// NumPy

class NpyFile : public FileWithHeader {
  protected:
    std::string header(const std::string& dictionary, int version = 1) const {
        const std::string text = dictionary + "\n";
        const std::string length = version == 1 ? BytesOf(static_cast<std::uint16_t>(text.size()))
                                                : BytesOf(static_cast<std::uint32_t>(text.size()));
        return "\x93NUMPY" + std::string{static_cast<char>(version), '\0'} + length + text;
    }
    std::string dictionary(const std::string& descr, const std::string& shape = "(4, 5, 6)") const {
        return "{'descr': '" + descr + "', 'fortran_order': False, 'shape': " + shape + ", }";
    }
    template <typename StoredT, typename PixelT>
    void expect_read(const std::string& descr) {
        const auto stored = TestPixels<StoredT>(SIZE);
        const std::vector<PixelT> pixels(stored.begin(), stored.end());
        for (const int version : {1, 2, 3}) {
            WriteFile(m_path, header(dictionary("<" + descr), version) + BytesOf(stored));
            ExpectImage<PixelT>(m_path, SIZE, pixels);
            WriteFile(m_path, header(dictionary(">" + descr), version) + BytesOf(stored, EByteOrder::big));
            ExpectImage<PixelT>(m_path, SIZE, pixels);
        }
    }
    std::string failure(const std::string& dictionary, std::size_t bytes = 120) {
        WriteFile(m_path, header(dictionary) + std::string(bytes, 'x'));
        return FailureOfReading(m_path);
    }

    std::string m_path = path("image.npy");
};

TEST_F(NpyFile, IsReadInEveryTypeVersionAndByteOrder) {
    expect_read<std::uint8_t, std::uint8_t>("u1");
    expect_read<std::uint16_t, std::uint16_t>("u2");
    expect_read<float, float>("f4");
    expect_read<std::int8_t, float>("i1");
    expect_read<std::int16_t, float>("i2");
    expect_read<std::uint32_t, float>("u4");
    expect_read<std::int32_t, float>("i4");
    expect_read<std::uint64_t, float>("u8");
    expect_read<std::int64_t, float>("i8");
    expect_read<double, float>("f8");
}

TEST_F(NpyFile, TruthValuesAndTwoDimensionsAreRead) {
    WriteFile(m_path, header(dictionary("|b1", "(5, 6)")) + std::string(29, '\1') + std::string(1, '\0'));
    std::vector<std::uint8_t> pixels(30, 1);
    pixels.back() = 0;
    ExpectImage<std::uint8_t>(m_path, SIZE_2D, pixels);
    ExpectSpacing(m_path, std::nullopt);
}

TEST_F(NpyFile, ThatCannotBeReadSaysWhy) {
    EXPECT_THAT(failure("{'descr': '|u1', 'fortran_order': True, 'shape': (4, 5, 6), }"),
                AllOf(HasSubstr("the array is in Fortran order"), HasSubstr("numpy.ascontiguousarray")));
    EXPECT_THAT(failure(dictionary("<c8")), HasSubstr("complex numbers"));
    EXPECT_THAT(failure(dictionary("<f2")), HasSubstr("the pixels are 16-bit float"));
    EXPECT_THAT(failure(dictionary("|S5")), HasSubstr("of NumPy type '|S5'"));
    EXPECT_THAT(failure(dictionary("|O")), HasSubstr("of NumPy type '|O'"));
    EXPECT_THAT(failure("{'descr': [('r', '|u1'), ('g', '|u1')], 'fortran_order': False, 'shape': (5, 6), }"),
                HasSubstr("of NumPy type"));
    EXPECT_THAT(failure(dictionary("|u1", "(120,)")), HasSubstr("the image has 1 dimensions"));
    EXPECT_THAT(failure(dictionary("|u1", "()")), HasSubstr("the image has 0 dimensions"));
    EXPECT_THAT(failure(dictionary("|u1", "(2, 2, 5, 6)")), HasSubstr("the image has 4 dimensions"));
    EXPECT_THAT(failure(dictionary("|u1", "(a, b)")), HasSubstr("the header is broken: shape is"));
    EXPECT_THAT(failure("{'descr': '|u1'}"), HasSubstr("it has no 'fortran_order'"));
    EXPECT_THAT(failure(dictionary("|u1"), 119), HasSubstr("the file is truncated"));
    WriteFile(m_path, "\x93NUMPY");
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("the header is broken"));
    WriteFile(m_path, header(dictionary("|u1")).substr(0, 40));
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("the header is broken: its length is"));
}

// MetaImage

struct SMetaFile {
    std::string type = "MET_UCHAR";
    std::string extra{};
    std::string size = "6 5 4";
    std::string dims = "3";
    std::string dataFile = "LOCAL";
};

std::string meta_header(const SMetaFile& file) {
    return "ObjectType = Image\nNDims = " + file.dims + "\nBinaryData = True\n" + file.extra +
           "DimSize = " + file.size + "\nElementType = " + file.type +
           "\nElementDataFile = " + file.dataFile + "\n";
}

class MetaImageFile : public FileWithHeader {
  protected:
    template <typename StoredT, typename PixelT>
    void expect_read(const std::string& type) {
        const auto stored = TestPixels<StoredT>(SIZE);
        const std::vector<PixelT> pixels(stored.begin(), stored.end());
        for (const EByteOrder order : {EByteOrder::little, EByteOrder::big}) {
            const std::string orderLine = order == EByteOrder::big ? "BinaryDataByteOrderMSB = True\n"
                                                                   : "ElementByteOrderMSB = False\n";
            const std::string bytes = BytesOf(stored, order);
            WriteFile(m_path, meta_header({type, orderLine}) + bytes);
            ExpectImage<PixelT>(m_path, SIZE, pixels);

            const std::string packed = zlib_packed(bytes, 15);
            const std::string compressed =
                orderLine + "CompressedData = True\nCompressedDataSize = " + std::to_string(packed.size()) +
                "\n";
            WriteFile(m_path, meta_header({type, compressed}) + packed);
            ExpectImage<PixelT>(m_path, SIZE, pixels);
        }
    }
    std::string failure(const SMetaFile& file, std::size_t bytes = 120) {
        WriteFile(m_path, meta_header(file) + std::string(bytes, 'x'));
        return FailureOfReading(m_path);
    }

    std::string m_path = path("image.mha");
};

TEST_F(MetaImageFile, IsReadInEveryTypeByteOrderAndCompression) {
    expect_read<std::uint8_t, std::uint8_t>("MET_UCHAR");
    expect_read<std::uint16_t, std::uint16_t>("MET_USHORT");
    expect_read<float, float>("MET_FLOAT");
    expect_read<std::int8_t, float>("MET_CHAR");
    expect_read<std::int16_t, float>("MET_SHORT");
    expect_read<std::uint32_t, float>("MET_UINT");
    expect_read<std::int32_t, float>("MET_INT");
    expect_read<std::uint64_t, float>("MET_ULONG_LONG");
    expect_read<std::int64_t, float>("MET_LONG_LONG");
    expect_read<double, float>("MET_DOUBLE");
}

TEST_F(MetaImageFile, MayHaveItsPixelsInAnotherFile) {
    const auto pixels = TestPixels<std::uint16_t>(SIZE);
    WriteFile(path("pixels of it.raw"), BytesOf(pixels));
    WriteFile(path("image.mhd"), meta_header({.type = "MET_USHORT", .dataFile = "pixels of it.raw"}));
    ExpectImage<std::uint16_t>(path("image.mhd"), SIZE, pixels);

    WriteFile(path("image.zraw"), zlib_packed(BytesOf(pixels), 15));
    WriteFile(
        path("image.mhd"),
        meta_header({.type = "MET_USHORT", .extra = "CompressedData = True\n", .dataFile = "image.zraw"}));
    ExpectImage<std::uint16_t>(path("image.mhd"), SIZE, pixels);

    EXPECT_THAT(OpenImage(path("image.mhd"))->Files(), ElementsAre(path("image.mhd"), path("image.zraw")));

    WriteFile(path("image.mhd"), meta_header({.dataFile = "missing.raw"}));
    EXPECT_EQ(FailureOfReading(path("image.mhd")), path("missing.raw") + ": there is no such file");
}

TEST_F(MetaImageFile, MaySkipAHeaderOfThePixelFile) {
    const auto pixels = TestPixels<std::uint8_t>(SIZE);
    WriteFile(path("image.raw"), "foreign header" + BytesOf(pixels));
    for (const char* size : {"14", "-1"}) {
        WriteFile(path("image.mhd"), meta_header({.extra = std::string("HeaderSize = ") + size + "\n",
                                                  .dataFile = "image.raw"}));
        ExpectImage<std::uint8_t>(path("image.mhd"), SIZE, pixels);
    }
}

TEST_F(MetaImageFile, TakesSpacingAsStated) {
    const auto expect = [this](const std::string& lines, const std::optional<SExpectedSpacing>& expected) {
        WriteFile(m_path, meta_header({.extra = lines}) + std::string(120, 'x'));
        ExpectSpacing(m_path, expected);
    };
    expect("", std::nullopt);
    expect("ElementSpacing = 1 1 1\n", SExpectedSpacing{{1.0, 1.0, 1.0}, ""});
    expect("ElementSpacing = 0.5 0.25 2\n", SExpectedSpacing{{0.5, 0.25, 2.0}, ""});
    expect("ElementSize = 0.5 0.25 2\n", SExpectedSpacing{{0.5, 0.25, 2.0}, ""});
    expect("ElementSize = 9 9 9\nElementSpacing = 0.5 0.25 2\n", SExpectedSpacing{{0.5, 0.25, 2.0}, ""});
    expect("DistanceUnits = um\nElementSpacing = 0.5 0.25 2\n", SExpectedSpacing{{0.5, 0.25, 2.0}, "um"});
    expect("DistanceUnits = cm\nElementSpacing = 0.5 0.25 2\n", SExpectedSpacing{{5.0, 2.5, 20.0}, "mm"});
    expect("DistanceUnits = ?\nElementSpacing = 0.5 0.25 2\n", SExpectedSpacing{{0.5, 0.25, 2.0}, ""});
    expect("ElementSpacing = 0.5 0 2\n", std::nullopt);
    expect("ElementSpacing = 0.5 nan 2\n", std::nullopt);
    expect("ElementSpacing = 0.5 0.5\n", std::nullopt);
}

TEST_F(MetaImageFile, OfOneSliceIs2D) {
    WriteFile(m_path, meta_header({.size = "6 5 1"}) + std::string(30, 'x'));
    EXPECT_EQ(OpenImage(m_path)->Info().size, SIZE_2D);
    WriteFile(m_path, meta_header({.size = "6 5 4 1", .dims = "4"}) + std::string(120, 'x'));
    EXPECT_EQ(OpenImage(m_path)->Info().size, SIZE);
}

TEST_F(MetaImageFile, ThatCannotBeReadSaysWhy) {
    EXPECT_THAT(failure({.type = "MET_UCHAR_ARRAY"}), HasSubstr("of type MET_UCHAR_ARRAY"));
    EXPECT_THAT(failure({.extra = "ElementNumberOfChannels = 3\n"}), HasSubstr("of 3 channels"));
    EXPECT_THAT(failure({.size = "120", .dims = "1"}),
                HasSubstr("the image has 1 dimensions (120), but 2 or 3"));
    EXPECT_THAT(failure({.size = "2 3 4 5", .dims = "4"}),
                HasSubstr("the image has 4 dimensions (2 x 3 x 4 x 5)"));
    EXPECT_THAT(failure({.dims = "2"}), HasSubstr("NDims is 2, but DimSize is 6 5 4"));
    EXPECT_THAT(failure({.size = "6 five 4"}), HasSubstr("DimSize is '6 five 4'"));
    EXPECT_THAT(failure({.size = "6 0 4"}), HasSubstr("an extent of the image is 0"));
    EXPECT_THAT(failure({.size = "6 -5 4"}), HasSubstr("an extent of the image is -5"));
    EXPECT_THAT(failure({.size = "6 99999999999 4"}), HasSubstr("an extent of the image is 99999999999"));
    EXPECT_THAT(failure({.dataFile = "LIST"}), HasSubstr("spread over several files"));
    EXPECT_THAT(failure({.dataFile = "slice%03d.raw 1 4 1"}), HasSubstr("spread over several files"));
    EXPECT_THAT(failure({}, 119), HasSubstr("image.mha: the file is truncated: the image takes 120 bytes"));
    WriteFile(m_path, "ObjectType = Scene\nNDims = 3\nElementDataFile = LOCAL\n");
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("holds a Scene, not an image"));
    WriteFile(m_path, "NDims = 3\nBinaryData = False\nElementDataFile = LOCAL\n");
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("the pixels are written as text"));
    WriteFile(m_path, "no header\n");
    EXPECT_THAT(FailureOfReading(m_path), HasSubstr("the header is broken: it has no line ElementDataFile"));
}

TEST_F(MetaImageFile, CompressedAndTruncatedOrBrokenIsRefused) {
    const std::string packed = zlib_packed(BytesOf(TestPixels<std::uint16_t>(SIZE)), 15);
    const std::string header = meta_header({.type = "MET_USHORT", .extra = "CompressedData = True\n"});
    for (std::size_t bytes = 0; bytes + 5 < packed.size(); bytes += 7) {
        WriteFile(m_path, header + packed.substr(0, bytes));
        EXPECT_THAT(FailureOfReading(m_path), HasSubstr("image.mha: the file is truncated"));
    }
    for (std::size_t at = 0; at < packed.size(); at += 3) { // also where only the check sum can tell
        std::string broken = packed;
        broken[at] = static_cast<char>(broken[at] ^ '\x11');
        WriteFile(m_path, header + broken);
        EXPECT_THAT(FailureOfReading(m_path), HasSubstr("image.mha: the ")) << at;
    }
}

// NRRD

class NrrdFile : public FileWithHeader {
  protected:
    template <typename StoredT, typename PixelT>
    void expect_read(const std::string& type) {
        const auto stored = TestPixels<StoredT>(SIZE);
        const std::vector<PixelT> pixels(stored.begin(), stored.end());
        for (const EByteOrder order : {EByteOrder::little, EByteOrder::big}) {
            const std::string bytes = BytesOf(stored, order);
            const std::string lines =
                std::string("endian: ") + (order == EByteOrder::big ? "big" : "little") + "\n";
            WriteFile(m_path, header(lines + "encoding: raw\n", type) + "\n" + bytes);
            ExpectImage<PixelT>(m_path, SIZE, pixels);
            WriteFile(m_path, header(lines + "encoding: gzip\n", type) + "\n" + gzipped(bytes));
            ExpectImage<PixelT>(m_path, SIZE, pixels);
        }
    }
    static std::string header(const std::string& lines, const std::string& type = "uint8",
                              const std::string& sizes = "3\nsizes: 6 5 4") {
        return "NRRD0004\n# a comment: none\nkey:=value: 3\ntype: " + type + "\ndimension: " + sizes + "\n" +
               lines;
    }
    std::string failure(const std::string& lines, const std::string& type = "uint8",
                        const std::string& sizes = "3\nsizes: 6 5 4") {
        WriteFile(m_path, header(lines, type, sizes) + "\n" + std::string(960, 'x'));
        return FailureOfReading(m_path);
    }

    std::string m_path = path("image.nrrd");
};

TEST_F(NrrdFile, IsReadInEveryTypeByteOrderAndEncoding) {
    expect_read<std::uint8_t, std::uint8_t>("unsigned char");
    expect_read<std::uint16_t, std::uint16_t>("uint16");
    expect_read<float, float>("float");
    expect_read<std::int8_t, float>("int8_t");
    expect_read<std::int16_t, float>("short");
    expect_read<std::uint32_t, float>("unsigned int");
    expect_read<std::int32_t, float>("int32");
    expect_read<std::uint64_t, float>("uint64_t");
    expect_read<std::int64_t, float>("longlong");
    expect_read<double, float>("double");
}

TEST_F(NrrdFile, MayHaveItsPixelsInAnotherFile) {
    const auto pixels = TestPixels<std::uint8_t>(SIZE);
    WriteFile(path("image.raw"), "skipped" + BytesOf(pixels));
    for (const char* skip : {"7", "-1"}) {
        WriteFile(path("image.nhdr"),
                  header(std::string("encoding: raw\nbyte skip: ") + skip + "\ndata file: image.raw\n"));
        ExpectImage<std::uint8_t>(path("image.nhdr"), SIZE, pixels);
        EXPECT_THAT(OpenImage(path("image.nhdr"))->Files(), SizeIs(2));
    }
}

TEST_F(NrrdFile, TakesSpacingAsStated) {
    const auto expect = [this](const std::string& lines, const std::optional<SExpectedSpacing>& expected) {
        WriteFile(m_path, header("encoding: raw\n" + lines) + "\n" + std::string(120, 'x'));
        ExpectSpacing(m_path, expected);
    };
    expect("", std::nullopt);
    expect("spacings: 1 1 1\n", SExpectedSpacing{{1.0, 1.0, 1.0}, ""});
    expect("spacings: 0.5 0.25 2\nunits: \"um\" \"um\" \"um\"\n", SExpectedSpacing{{0.5, 0.25, 2.0}, "um"});
    expect("spacings: 0.5 0.25 2\nunits: \"mm\" \"mm\" \"um\"\n", std::nullopt);
    expect("spacings: nan nan nan\n", std::nullopt);
    EXPECT_FALSE(OpenImage(m_path)->Info().isSpacingBroken); // it is not stated
    expect("spacings: 1 nan 1\n", std::nullopt);
    EXPECT_TRUE(OpenImage(m_path)->Info().isSpacingBroken);
    expect("space dimension: 3\nspace directions: (0.5,0,0) (0,-0.25,0) (0, 0, 2)\nspace units: \"mm\" "
           "\"mm\" \"mm\"\n",
           SExpectedSpacing{{0.5, 0.25, 2.0}, "mm"});
    expect("space: left-posterior-superior\nspace directions: (3,4,0)(-4,3,0)(0,0,1)\n",
           SExpectedSpacing{{5.0, 5.0, 1.0}, ""});
}

TEST_F(NrrdFile, ThatCannotBeReadSaysWhy) {
    const std::string raw = "encoding: raw\n";
    EXPECT_THAT(failure(raw, "block"), HasSubstr("the pixels are of type block"));
    EXPECT_THAT(failure(raw + "kinds: RGB-color domain domain\n"), HasSubstr("an axis of kind RGB-color"));
    EXPECT_THAT(failure(raw, "uint8", "4\nsizes: 3 6 5 4"),
                HasSubstr("the image has 4 dimensions (3 x 6 x 5 x 4)"));
    EXPECT_THAT(failure(raw, "uint8", "1\nsizes: 30"), HasSubstr("the image has 1 dimensions (30)"));
    EXPECT_THAT(failure(raw, "uint8", "2\nsizes: 6 5 4"), HasSubstr("dimension is 2, but sizes is 6 5 4"));
    EXPECT_THAT(failure("encoding: bzip2\n"), HasSubstr("the pixels are encoded as bzip2"));
    EXPECT_THAT(failure(raw, "uint16"), HasSubstr("it has no field 'endian'"));
    EXPECT_THAT(failure(raw + "data file: LIST\n"), HasSubstr("spread over several files"));
    EXPECT_THAT(failure(raw + "line skip: 2\n"), HasSubstr("line skip"));
    EXPECT_THAT(failure(""), HasSubstr("it has no field 'encoding'"));
    WriteFile(m_path, header(raw) + "\n" + std::string(119, 'x'));
    EXPECT_THAT(FailureOfReading(m_path),
                HasSubstr("image.nrrd: the file is truncated: the image takes 120 bytes"));
}

// NIfTI

struct SNiftiFile {
    std::vector<int> extents{6, 5, 4};
    int dataType = 2;
    std::array<double, 3> distances{1.0, 1.0, 1.0};
    int units = 0;
    double slope = 0.0;
    double intercept = 0.0;
    EByteOrder order = EByteOrder::little;
};

void put(std::string& bytes, std::size_t offset, const std::string& value) {
    bytes.replace(offset, value.size(), value);
}

std::string nifti1(const SNiftiFile& file) {
    std::string h(352, '\0');
    put(h, 0, BytesOf<std::int32_t>(348, file.order));
    put(h, 40, BytesOf(static_cast<std::int16_t>(file.extents.size()), file.order));
    for (std::size_t i = 0; i < file.extents.size(); ++i) {
        put(h, 42 + 2 * i, BytesOf(static_cast<std::int16_t>(file.extents[i]), file.order));
    }
    put(h, 70, BytesOf(static_cast<std::int16_t>(file.dataType), file.order));
    for (std::size_t i = 0; i < 3; ++i) {
        put(h, 80 + 4 * i, BytesOf(static_cast<float>(file.distances[i]), file.order));
    }
    put(h, 108, BytesOf(352.0F, file.order));
    put(h, 112, BytesOf(static_cast<float>(file.slope), file.order));
    put(h, 116, BytesOf(static_cast<float>(file.intercept), file.order));
    h[123] = static_cast<char>(file.units);
    put(h, 344, "n+1");
    return h;
}

std::string nifti2(const SNiftiFile& file) {
    std::string h(544, '\0');
    put(h, 0, BytesOf<std::int32_t>(540, file.order));
    put(h, 4, "n+2");
    put(h, 12, BytesOf(static_cast<std::int16_t>(file.dataType), file.order));
    put(h, 16, BytesOf(static_cast<std::int64_t>(file.extents.size()), file.order));
    for (std::size_t i = 0; i < file.extents.size(); ++i) {
        put(h, 24 + 8 * i, BytesOf(static_cast<std::int64_t>(file.extents[i]), file.order));
    }
    for (std::size_t i = 0; i < 3; ++i) {
        put(h, 112 + 8 * i, BytesOf(file.distances[i], file.order));
    }
    put(h, 168, BytesOf<std::int64_t>(544, file.order));
    put(h, 176, BytesOf(file.slope, file.order));
    put(h, 184, BytesOf(file.intercept, file.order));
    put(h, 500, BytesOf<std::int32_t>(file.units, file.order));
    return h;
}

class NiftiFile : public FileWithHeader {
  protected:
    template <typename StoredT, typename PixelT>
    void expect_read(int dataType) {
        const auto stored = TestPixels<StoredT>(SIZE);
        const std::vector<PixelT> pixels(stored.begin(), stored.end());
        for (const EByteOrder order : {EByteOrder::little, EByteOrder::big}) {
            for (const auto& header : {nifti1, nifti2}) {
                SNiftiFile file;
                file.dataType = dataType;
                file.order = order;
                const std::string bytes = header(file) + BytesOf(stored, order);
                WriteFile(path("image.nii"), bytes);
                ExpectImage<PixelT>(path("image.nii"), SIZE, pixels);
                WriteFile(path("image.nii.gz"), gzipped(bytes));
                ExpectImage<PixelT>(path("image.nii.gz"), SIZE, pixels);
            }
        }
    }
    std::string failure(const SNiftiFile& file) {
        WriteFile(path("image.nii"), nifti1(file) + std::string(960, 'x'));
        return FailureOfReading(path("image.nii"));
    }
};

TEST_F(NiftiFile, IsReadInEveryTypeVersionByteOrderAndCompression) {
    expect_read<std::uint8_t, std::uint8_t>(2);
    expect_read<std::uint16_t, std::uint16_t>(512);
    expect_read<float, float>(16);
    expect_read<std::int8_t, float>(256);
    expect_read<std::int16_t, float>(4);
    expect_read<std::uint32_t, float>(768);
    expect_read<std::int32_t, float>(8);
    expect_read<std::uint64_t, float>(1280);
    expect_read<std::int64_t, float>(1024);
    expect_read<double, float>(64);
}

TEST_F(NiftiFile, WithScaleHandsOutScaledFloats) {
    const auto stored = TestPixels<std::uint16_t>(SIZE);
    std::vector<float> scaled;
    for (const std::uint16_t value : stored) {
        scaled.push_back(static_cast<float>(0.5 * value - 1024.0));
    }
    const SNiftiFile file{.dataType = 512, .slope = 0.5, .intercept = -1024.0};
    WriteFile(path("image.nii"), nifti1(file) + BytesOf(stored));
    ExpectImage<float>(path("image.nii"), SIZE, scaled);
    EXPECT_EQ(OpenImage(path("image.nii"))->Info().storedType, "16-bit unsigned integer");

    const auto floats = TestPixels<float>(SIZE);
    std::vector<float> doubled;
    for (const float value : floats) {
        doubled.push_back(2.0F * value);
    }
    WriteFile(path("image.nii"), nifti1({.dataType = 16, .slope = 2.0}) + BytesOf(floats));
    ExpectImage<float>(path("image.nii"), SIZE, doubled);
}

TEST_F(NiftiFile, TakesSpacingAsStated) {
    const auto expect = [this](const SNiftiFile& file, const std::optional<SExpectedSpacing>& expected) {
        WriteFile(path("image.nii"), nifti1(file) + std::string(120, 'x'));
        ExpectSpacing(path("image.nii"), expected);
        WriteFile(path("image.nii.gz"), gzipped(nifti2(file) + std::string(120, 'x')));
        ExpectSpacing(path("image.nii.gz"), expected);
    };
    expect({.distances = {0.0, 0.0, 0.0}}, std::nullopt);
    expect({.distances = {1.0, 1.0, 1.0}}, SExpectedSpacing{{1.0, 1.0, 1.0}, ""});
    expect({.distances = {0.1, 0.2, 0.3}, .units = 2}, SExpectedSpacing{{0.1, 0.2, 0.3}, "mm"});
    expect({.distances = {0.1, 0.2, 0.3}, .units = 3}, SExpectedSpacing{{0.1, 0.2, 0.3}, "um"});
    expect({.distances = {0.001, 0.002, 0.003}, .units = 1}, SExpectedSpacing{{1.0, 2.0, 3.0}, "mm"});
    expect({.distances = {0.1, 0.2, 0.3}, .units = 2 + 8},
           SExpectedSpacing{{0.1, 0.2, 0.3}, "mm"}); // and seconds
    expect({.distances = {-0.1, 0.2, 0.3}, .units = 2}, SExpectedSpacing{{0.1, 0.2, 0.3}, "mm"});
    expect({.distances = {0.1, 0.0, 0.3}, .units = 2}, std::nullopt);
}

TEST_F(NiftiFile, OfOneSliceOrTimePointLosesThatAxis) {
    WriteFile(path("image.nii"), nifti1({.extents = {6, 5, 1}}) + std::string(30, 'x'));
    EXPECT_EQ(OpenImage(path("image.nii"))->Info().size, SIZE_2D);
    WriteFile(path("image.nii"), nifti1({.extents = {6, 5, 4, 1, 1}}) + std::string(120, 'x'));
    EXPECT_EQ(OpenImage(path("image.nii"))->Info().size, SIZE);
}

TEST_F(NiftiFile, ThatCannotBeReadSaysWhy) {
    EXPECT_THAT(failure({.dataType = 128}), HasSubstr("the pixels are RGB colors"));
    EXPECT_THAT(failure({.dataType = 32}), HasSubstr("the pixels are complex numbers"));
    EXPECT_THAT(failure({.dataType = 1536}), HasSubstr("the pixels are 128-bit float"));
    EXPECT_THAT(failure({.dataType = 7777}), HasSubstr("of NIfTI data type 7777"));
    EXPECT_THAT(failure({.extents = {6, 5, 2, 2}}), HasSubstr("the image has 4 dimensions (6 x 5 x 2 x 2)"));
    EXPECT_THAT(failure({.extents = {120}}), HasSubstr("the image has 1 dimensions (120)"));
    EXPECT_THAT(failure({.extents = {}}), HasSubstr("the number of dimensions is 0"));
    EXPECT_THAT(failure({.extents = {6, -5, 4}}), HasSubstr("an extent of the image is -5"));
    std::string pair = nifti1({});
    put(pair, 344, "ni1");
    WriteFile(path("image.nii"), pair);
    EXPECT_THAT(FailureOfReading(path("image.nii")),
                HasSubstr("is not a NIfTI file with header and pixels in one"));
    WriteFile(path("image.nii"), std::string(400, 'x'));
    EXPECT_THAT(FailureOfReading(path("image.nii")),
                HasSubstr("does not begin with the size of a NIfTI header"));
}

TEST_F(NiftiFile, MayHaveAnythingBehindItsPackedPixels) {
    const auto pixels = TestPixels<std::uint16_t>(SIZE);
    const std::string packed = gzipped(nifti1({.dataType = 512}) + BytesOf(pixels));
    for (const std::string& behind : {std::string(1000, '\0'), std::string("\n"), std::string("any text")}) {
        WriteFile(path("image.nii.gz"), packed + behind);
        ExpectImage<std::uint16_t>(path("image.nii.gz"), SIZE, pixels);
    }
}

TEST_F(NiftiFile, TruncatedAnywhereIsRefused) {
    const std::string bytes = nifti1({.dataType = 512}) + BytesOf(TestPixels<std::uint16_t>(SIZE));
    const std::string packed = gzipped(bytes);
    for (std::size_t length = 1; length < bytes.size(); length += 13) {
        WriteFile(path("image.nii"), bytes.substr(0, length));
        EXPECT_THAT(FailureOfReading(path("image.nii")), HasSubstr("image.nii: the file is truncated"))
            << length;
    }
    for (std::size_t length = 2; length + 12 < packed.size(); length += 5) { // the end holds check sums
        WriteFile(path("image.nii.gz"), packed.substr(0, length));
        EXPECT_THAT(FailureOfReading(path("image.nii.gz")), HasSubstr("image.nii.gz: the file is truncated"))
            << length;
    }
}

} // namespace
} // namespace TEVRA::volume
