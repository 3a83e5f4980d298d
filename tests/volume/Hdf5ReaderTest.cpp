// SPDX-License-Identifier: BSD-3-Clause
#include "volume/FileTesting.h"

#include <hdf5.h>

namespace TEVRA::volume {
namespace {

using testing::HasSubstr;

const CSize SIZE(6, 5, 4);

struct SDatasetOptions {
    std::vector<hsize_t> extents{4, 5, 6}; // slowest first
    std::vector<hsize_t> chunk{};          // empty: contiguous
    bool compressed = false;
    std::vector<double> elementSizeUm{};
};

template <typename PixelT>
hid_t native_type() {
    if constexpr (std::is_same_v<PixelT, std::uint8_t>) {
        return H5T_NATIVE_UINT8;
    } else if constexpr (std::is_same_v<PixelT, std::uint16_t>) {
        return H5T_NATIVE_UINT16;
    } else if constexpr (std::is_same_v<PixelT, std::int16_t>) {
        return H5T_NATIVE_INT16;
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

    /// A dataset of the given type in the file; `pixels` null: without values.
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
        const hid_t links = H5Pcreate(H5P_LINK_CREATE);
        H5Pset_create_intermediate_group(links, 1);
        const hid_t dataset =
            H5Dcreate2(m_file, name.c_str(), storedType, space, links, creation, H5P_DEFAULT);
        ASSERT_GE(dataset, 0);
        if (pixels != nullptr) {
            ASSERT_GE(H5Dwrite(dataset, memoryType, H5S_ALL, H5S_ALL, H5P_DEFAULT, pixels), 0);
        }
        if (!options.elementSizeUm.empty()) {
            const hsize_t count = options.elementSizeUm.size();
            const hid_t line = H5Screate_simple(1, &count, nullptr);
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
    add("zero", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr, {.elementSizeUm = {0.0, 0.5, 0.25}});
    add("flat", H5T_STD_U8LE, H5T_NATIVE_UINT8, nullptr, {.extents = {5, 6}, .elementSizeUm = {0.5, 0.25}});
    close();
    ExpectSpacing(m_path + ":/with", SExpectedSpacing{{0.25, 0.5, 4.0}, "um"});
    ExpectSpacing(m_path + ":/without", std::nullopt);
    ExpectSpacing(m_path + ":/zero", std::nullopt);
    ExpectSpacing(m_path + ":/flat", SExpectedSpacing{{0.25, 0.5, 1.0}, "um"});
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
    const std::vector<SCase> cases{{H5T_IEEE_F64LE, "64-bit float"},
                                   {H5T_STD_I32LE, "32-bit signed integer"},
                                   {H5T_STD_U64LE, "64-bit unsigned integer"},
                                   {complexType, "compounds of several numbers"},
                                   {H5T_C_S1, "texts"}};
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
