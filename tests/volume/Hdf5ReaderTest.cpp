// SPDX-License-Identifier: BSD-3-Clause
#include "volume/FileTesting.h"

#include <hdf5.h>

namespace TEVRA::volume {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const CSize SIZE(6, 5, 4);

struct SDatasetOptions {
    std::vector<hsize_t> extents{4, 5, 6}; // slowest first
    std::vector<hsize_t> chunk{};          // empty: contiguous
    bool compressed = false;
    std::vector<double> elementSizeUm{};
    bool isScalarSize = false;  // element_size_um is a single number, not a list
    bool unwritten = false;     // without values
    std::string externalFile{}; // that the values are in
};

template <typename PixelT>
hid_t native_type() {
    if constexpr (std::is_same_v<PixelT, std::uint8_t>) {
        return H5T_NATIVE_UINT8;
    } else if constexpr (std::is_same_v<PixelT, std::uint16_t>) {
        return H5T_NATIVE_UINT16;
    } else if constexpr (std::is_same_v<PixelT, std::int16_t>) {
        return H5T_NATIVE_INT16;
    } else if constexpr (std::is_same_v<PixelT, std::uint32_t>) {
        return H5T_NATIVE_UINT32;
    } else if constexpr (std::is_same_v<PixelT, std::int32_t>) {
        return H5T_NATIVE_INT32;
    } else if constexpr (std::is_same_v<PixelT, std::uint64_t>) {
        return H5T_NATIVE_UINT64;
    } else if constexpr (std::is_same_v<PixelT, std::int64_t>) {
        return H5T_NATIVE_INT64;
    } else if constexpr (std::is_same_v<PixelT, double>) {
        return H5T_NATIVE_DOUBLE;
    } else {
        static_assert(std::is_same_v<PixelT, float>);
        return H5T_NATIVE_FLOAT;
    }
}

class Hdf5File : public testing::Test {
  protected:
    Hdf5File() : m_file(H5Fcreate(m_path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT)) {}
    ~Hdf5File() override { close(); }

    void close() {
        if (m_file >= 0) {
            H5Fclose(m_file);
            m_file = H5I_INVALID_HID;
        }
    }

    /// A dataset of the given type in the file; `pixels` null: zeros.
    void add(const std::string& name, hid_t storedType, hid_t memoryType, const void* pixels,
             const SDatasetOptions& options = {}) {
        const int rank = static_cast<int>(options.extents.size());
        const hid_t space = H5Screate_simple(rank, options.extents.data(), nullptr);
        const hid_t creation = H5Pcreate(H5P_DATASET_CREATE);
        if (!options.chunk.empty()) {
            H5Pset_chunk(creation, rank, options.chunk.data());
        }
        if (options.compressed) {
            H5Pset_deflate(creation, 6);
        }
        if (!options.externalFile.empty()) {
            H5Pset_external(creation, options.externalFile.c_str(), 0, H5F_UNLIMITED);
        }
        const hid_t links = H5Pcreate(H5P_LINK_CREATE);
        H5Pset_create_intermediate_group(links, 1);
        const hid_t dataset =
            H5Dcreate2(m_file, name.c_str(), storedType, space, links, creation, H5P_DEFAULT);
        ASSERT_GE(dataset, 0);
        std::vector<double> zeros;
        if (pixels == nullptr && memoryType != H5I_INVALID_HID && !options.unwritten) {
            std::size_t count = 1;
            for (const hsize_t extent : options.extents) {
                count *= extent;
            }
            zeros.resize(count);
            pixels = zeros.data();
        }
        if (pixels != nullptr) {
            ASSERT_GE(H5Dwrite(dataset, memoryType, H5S_ALL, H5S_ALL, H5P_DEFAULT, pixels), 0);
        }
        if (!options.elementSizeUm.empty()) {
            const hsize_t sizes = options.elementSizeUm.size();
            const hid_t line =
                options.isScalarSize ? H5Screate(H5S_SCALAR) : H5Screate_simple(1, &sizes, nullptr);
            const hid_t attribute =
                H5Acreate2(dataset, "element_size_um", H5T_IEEE_F32LE, line, H5P_DEFAULT, H5P_DEFAULT);
            H5Awrite(attribute, H5T_NATIVE_DOUBLE, options.elementSizeUm.data());
            H5Aclose(attribute);
            H5Sclose(line);
        }
        H5Dclose(dataset);
        H5Pclose(links);
        H5Pclose(creation);
        H5Sclose(space);
    }

    template <typename StoredT, typename PixelT>
    void expect_round_trip(hid_t storedType) {
        int number = 0;
        for (const std::vector<hsize_t>& chunk : {std::vector<hsize_t>{}, {4, 5, 6}, {2, 3, 4}, {1, 5, 6}}) {
            for (const bool compressed : {false, true}) {
                const auto pixels = TestPixels<StoredT>(SIZE);
                const std::string name = "/group/data" + std::to_string(++number);
                add(name, storedType, native_type<StoredT>(), pixels.data(),
                    {.chunk = chunk, .compressed = compressed && !chunk.empty()});
            }
        }
        close();
        const auto pixels = TestPixels<StoredT>(SIZE);
        for (; number > 0; --number) {
            ExpectImage<PixelT>(m_path + ":/group/data" + std::to_string(number), SIZE,
                                std::vector<PixelT>(pixels.begin(), pixels.end()));
        }
    }

    test::CTemporaryFolder m_folder;
    std::string m_path = (m_folder / "a file: 1.h5").string();
    hid_t m_file;
};

TEST_F(Hdf5File, EightBitIsReadInEveryLayout) {
    expect_round_trip<std::uint8_t, std::uint8_t>(H5T_STD_U8LE);
}

TEST_F(Hdf5File, SixteenBitIsReadInEitherByteOrder) {
    expect_round_trip<std::uint16_t, std::uint16_t>(H5T_STD_U16BE);
}

TEST_F(Hdf5File, FloatIsReadInEveryLayout) {
    expect_round_trip<float, float>(H5T_IEEE_F32LE);
}

TEST_F(Hdf5File, SignedIsHandedOutAsFloat) {
    expect_round_trip<std::int16_t, float>(H5T_STD_I16LE);
}

TEST_F(Hdf5File, UnsignedNumbersOf32BitAreHandedOutAsFloats) {
    expect_round_trip<std::uint32_t, float>(H5T_STD_U32BE);
}

TEST_F(Hdf5File, SignedNumbersOf32BitAreHandedOutAsFloats) {
    expect_round_trip<std::int32_t, float>(H5T_STD_I32LE);
}

TEST_F(Hdf5File, UnsignedNumbersOf64BitAreHandedOutAsFloats) {
    expect_round_trip<std::uint64_t, float>(H5T_STD_U64LE);
}

TEST_F(Hdf5File, SignedNumbersOf64BitAreHandedOutAsFloats) {
    expect_round_trip<std::int64_t, float>(H5T_STD_I64BE);
}

TEST_F(Hdf5File, DoublesAreHandedOutAsFloats) {
    expect_round_trip<double, float>(H5T_IEEE_F64LE);
}

TEST_F(Hdf5File, SaysByHowMuchValuesWereRounded) {
    const std::vector<double> pixels{1.0, 1.0 + 1e-9};
    add("data", H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, pixels.data(), {.extents = {1, 2}});
    close();
    const auto reader = OpenImage(m_path + ":/data");
    EXPECT_TRUE(reader->Info().isRounded);
    ReadPixels<float>(*reader, 0, 1);
    EXPECT_EQ(reader->LargestRounding(), (1.0 + 1e-9) - 1.0);
}

TEST_F(Hdf5File, ADatasetIsFoundWithoutItsFirstSlash) {
    const auto pixels = TestPixels<std::uint8_t>(SIZE);
    add("group/v", H5T_STD_U8LE, H5T_NATIVE_UINT8, pixels.data());
    close();
    ExpectImage<std::uint8_t>(m_path + ":group/v", SIZE, pixels);
    EXPECT_THAT(FailureOfReading(m_path + ":w"), HasSubstr("there is no dataset /w;"));
    EXPECT_THAT(FailureOfReading(m_path + ":"), HasSubstr("an HDF5 file may hold several images"));
}

TEST_F(Hdf5File, NamesAllFilesThatItReads) {
    const auto pixels = TestPixels<std::uint8_t>(SIZE);
    const std::string raw = (m_folder / "pixels.raw").string();
    test::WriteFile(raw, "");
    add("outside", H5T_STD_U8LE, H5T_NATIVE_UINT8, pixels.data(), {.externalFile = raw});
    H5Lcreate_external((m_folder / "other.h5").c_str(), "/v", m_file, "/link", H5P_DEFAULT, H5P_DEFAULT);
    close();
    m_file = H5Fcreate((m_folder / "other.h5").c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    add("v", H5T_STD_U8LE, H5T_NATIVE_UINT8, pixels.data());
    const std::array<hsize_t, 3> extents{4, 5, 6};
    const hid_t space = H5Screate_simple(3, extents.data(), nullptr);
    const hid_t creation = H5Pcreate(H5P_DATASET_CREATE);
    H5Pset_virtual(creation, space, "a file: 1.h5", "/outside", space);
    H5Dclose(H5Dcreate2(m_file, "virtual", H5T_STD_U8LE, space, H5P_DEFAULT, creation, H5P_DEFAULT));
    H5Pclose(creation);
    H5Sclose(space);
    close();
    const std::string other = (m_folder / "other.h5").string();
    ExpectImage<std::uint8_t>(m_path + ":/outside", SIZE, pixels);
    EXPECT_THAT(OpenImage(m_path + ":/outside")->Files(), ElementsAre(m_path, raw));
    ExpectImage<std::uint8_t>(m_path + ":/link", SIZE, pixels);
    EXPECT_THAT(OpenImage(m_path + ":/link")->Files(), ElementsAre(m_path, other));
    ExpectImage<std::uint8_t>(other + ":/virtual", SIZE, pixels);
    EXPECT_THAT(OpenImage(other + ":/virtual")->Files(), ElementsAre(other, m_path));
}

TEST_F(Hdf5File, WithItsValuesOutsideIsRefusedIfTheyAreTruncated) {
    const std::string raw = (m_folder / "pixels.raw").string();
    test::WriteFile(raw, "");
    add("outside", H5T_STD_U8LE, H5T_NATIVE_UINT8, TestPixels<std::uint8_t>(SIZE).data(),
        {.externalFile = raw});
    close();
    test::WriteFile(raw, test::ReadFile(raw).substr(1));
    EXPECT_EQ(FailureOfReading(m_path + ":/outside"), m_path + ":/outside: the values are in the file " +
                                                          raw +
                                                          ", which is truncated; copy or export it again");
}

TEST_F(Hdf5File, ChunksOfALayerAreKeptIfTheyMay) {
    add("data", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr,
        {.extents = {16, 1000, 1000}, .chunk = {16, 100, 100}, .compressed = true});
    close();
    const auto reader = OpenImage(m_path + ":/data");
    constexpr std::size_t LAYER_BYTES = 16'000'000;
    const std::size_t roomy = reader->BufferBytes();
    EXPECT_GE(roomy, LAYER_BYTES);
    reader->LimitBuffers(LAYER_BYTES - 1);
    EXPECT_EQ(reader->BufferBytes(), roomy - LAYER_BYTES);
    const std::vector<std::uint8_t> zeros(1'000'000, 0);
    EXPECT_EQ(ReadPixels<std::uint8_t>(*reader, 7, 1), zeros);
    reader->LimitBuffers(LAYER_BYTES);
    EXPECT_EQ(reader->BufferBytes(), roomy);
    EXPECT_EQ(ReadPixels<std::uint8_t>(*reader, 7, 1), zeros);
}

TEST_F(Hdf5File, ThatClaimsMoreThanItHoldsIsRefused) {
    add("unwritten", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr,
        {.extents = {100000, 100000}, .chunk = {100, 100}, .unwritten = true});
    EXPECT_THAT(FailureOf([&] { OpenImage(m_path + ":/unwritten"); }),
                HasSubstr("the dataset has no values"));
    add("sparse", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr,
        {.extents = {100000, 100000}, .chunk = {100, 100}, .unwritten = true});
    const hid_t dataset = H5Dopen2(m_file, "sparse", H5P_DEFAULT);
    const hsize_t one[2]{1, 1};
    const hsize_t corner[2]{5, 5};
    const hid_t space = H5Dget_space(dataset);
    const hid_t memory = H5Screate_simple(2, one, nullptr);
    H5Sselect_hyperslab(space, H5S_SELECT_SET, corner, nullptr, one, nullptr);
    const std::uint8_t pixel = 7;
    H5Dwrite(dataset, H5T_NATIVE_UINT8, memory, space, H5P_DEFAULT, &pixel);
    H5Sclose(memory);
    H5Sclose(space);
    H5Dclose(dataset);
    close();
    EXPECT_THAT(
        FailureOf([&] { OpenImage(m_path + ":/sparse"); }),
        HasSubstr("the file is truncated or its header broken: the image takes 1e+10 bytes, but the 10000 "
                  "bytes of its pixels in the file can become no more than 10320000"));
}

TEST_F(Hdf5File, TwoDimensionsAndAxesOfOnePixelAreUnderstood) {
    const auto pixels = TestPixels<std::uint8_t>(SIZE);
    const auto slice = TestPixels<std::uint8_t>(CSize(6, 5));
    add("flat", H5T_STD_U8LE, H5T_NATIVE_UINT8, slice.data(), {.extents = {5, 6}});
    add("single", H5T_STD_U8LE, H5T_NATIVE_UINT8, slice.data(), {.extents = {1, 5, 6}});
    add("channel", H5T_STD_U8LE, H5T_NATIVE_UINT8, pixels.data(), {.extents = {4, 5, 6, 1}});
    add("time", H5T_STD_U8LE, H5T_NATIVE_UINT8, pixels.data(), {.extents = {1, 4, 5, 6}});
    add("both", H5T_STD_U8LE, H5T_NATIVE_UINT8, pixels.data(), {.extents = {1, 4, 5, 6, 1}});
    close();
    ExpectImage<std::uint8_t>(m_path + ":/flat", CSize(6, 5), slice);
    ExpectImage<std::uint8_t>(m_path + ":/single", CSize(6, 5), slice);
    for (const char* name : {"channel", "time", "both"}) {
        ExpectImage<std::uint8_t>(m_path + ":/" + name, SIZE, pixels);
    }
}

TEST_F(Hdf5File, TruthValuesAreReadAsEightBit) {
    const hid_t type = H5Tenum_create(H5T_NATIVE_INT8);
    const std::int8_t no = 0;
    const std::int8_t yes = 1;
    H5Tenum_insert(type, "FALSE", &no);
    H5Tenum_insert(type, "TRUE", &yes);
    const std::vector<std::uint8_t> pixels{0, 1, 1, 0, 0, 1};
    add("mask", type, type, pixels.data(), {.extents = {2, 3}});
    H5Tclose(type);
    close();
    ExpectImage<std::uint8_t>(m_path + ":/mask", CSize(3, 2), pixels);
}

TEST_F(Hdf5File, TakesSpacingFromElementSize) {
    add("with", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr, {.elementSizeUm = {4.0, 0.5, 0.25}});
    add("without", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr);
    add("scalar", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr, {.elementSizeUm = {0.5}, .isScalarSize = true});
    add("one", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr, {.elementSizeUm = {0.5}});
    add("two", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr, {.elementSizeUm = {0.5, 0.5}});
    add("zero", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr, {.elementSizeUm = {0.0, 0.5, 0.25}});
    add("flat", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr, {.extents = {5, 6}, .elementSizeUm = {0.5, 0.25}});
    close();
    ExpectSpacing(m_path + ":/with", SExpectedSpacing{{0.25, 0.5, 4.0}, "um"});
    ExpectSpacing(m_path + ":/without", std::nullopt);
    ExpectSpacing(m_path + ":/zero", std::nullopt);
    ExpectSpacing(m_path + ":/flat", SExpectedSpacing{{0.25, 0.5, 1.0}, "um"});
    ExpectSpacing(m_path + ":/scalar", SExpectedSpacing{{0.5, 0.5, 0.5}, "um"});
    ExpectSpacing(m_path + ":/one", SExpectedSpacing{{0.5, 0.5, 0.5}, "um"});
    ExpectSpacing(m_path + ":/two", std::nullopt);
}

TEST_F(Hdf5File, WithoutDatasetListsItsDatasets) {
    add("volume", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr);
    add("deep/er/volume", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr);
    close();
    EXPECT_EQ(FailureOfReading(m_path),
              m_path + ": an HDF5 file may hold several images; give one of its datasets as in '" + m_path +
                  ":/deep/er/volume'; it holds /deep/er/volume, /volume");
    EXPECT_EQ(FailureOfReading(m_path + ":/wrong"),
              m_path + ": there is no dataset /wrong; give one of its datasets as in '" + m_path +
                  ":/deep/er/volume'; it holds /deep/er/volume, /volume");
    EXPECT_THAT(FailureOfReading(m_path + ":/deep"), HasSubstr("there is no dataset /deep;"));
}

TEST_F(Hdf5File, WithoutAnyDatasetSaysSo) {
    close();
    EXPECT_EQ(FailureOfReading(m_path + ":/data"),
              m_path + ": there is no dataset /data; the file holds no dataset");
}

TEST_F(Hdf5File, ThatIsMissingIsNamed) {
    const std::string missing = (m_folder / "missing.h5").string();
    EXPECT_EQ(FailureOfReading(missing + ":/data"), missing + ": there is no such file");
}

TEST_F(Hdf5File, PixelsThatCannotBeReadAreNamed) {
    const hid_t complexType = H5Tcreate(H5T_COMPOUND, 8);
    H5Tinsert(complexType, "r", 0, H5T_NATIVE_FLOAT);
    H5Tinsert(complexType, "i", 4, H5T_NATIVE_FLOAT);
    struct SCase {
        hid_t type;
        const char* named;
    };
    const std::vector<SCase> cases{{complexType, "compounds of several numbers"}, {H5T_C_S1, "texts"}};
    for (std::size_t i = 0; i < cases.size(); ++i) {
        add("data" + std::to_string(i), cases[i].type, H5I_INVALID_HID, nullptr);
    }
    add("line", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr, {.extents = {120}});
    add("four", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr, {.extents = {2, 2, 5, 6}});
    add("none", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr, {.extents = {0, 5, 6}});
    H5Tclose(complexType);
    close();
    for (std::size_t i = 0; i < cases.size(); ++i) {
        EXPECT_THAT(FailureOfReading(m_path + ":/data" + std::to_string(i)),
                    HasSubstr(m_path + ":/data" + std::to_string(i) + ": the pixels are " + cases[i].named));
    }
    EXPECT_THAT(FailureOfReading(m_path + ":/line"), HasSubstr("the image has 1 dimensions (120)"));
    EXPECT_THAT(FailureOfReading(m_path + ":/four"), HasSubstr("the image has 4 dimensions (6 x 5 x 2 x 2)"));
    EXPECT_THAT(FailureOfReading(m_path + ":/none"), HasSubstr("an extent of the image is 0"));
}

TEST_F(Hdf5File, TruncatedIsRefused) {
    add("data", H5T_STD_U8LE, H5T_NATIVE_UINT8, TestPixels<std::uint8_t>(SIZE).data());
    close();
    const std::string bytes = test::ReadFile(m_path);
    test::WriteFile(m_path, bytes.substr(0, bytes.size() - 1));
    EXPECT_EQ(FailureOfReading(m_path + ":/data"),
              m_path + ": the HDF5 file is broken, truncated or being written; copy or export it again");
}

} // namespace
} // namespace TEVRA::volume
