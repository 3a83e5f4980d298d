// SPDX-License-Identifier: BSD-3-Clause
// Every format's files, cut off at many lengths and with bytes changed: a reader may refuse them or hand out
// wrong pixels, but must not crash, hang, or throw anything but the two failures a user understands.
#include "support/MakeImage.h"
#include "volume/FileTesting.h"
#include "volume/MetaImageWriter.h"
#include "volume/PngTesting.h"
#include "volume/TiffTesting.h"

#include <algorithm>
#include <functional>
#include <optional>

#include <hdf5.h>

namespace TEVRA::volume {
namespace {

const CSize SIZE(19, 11, 3);
// Headers may claim any size; pixels beyond this are not asked for, as an application would run out of
// memory.
constexpr std::size_t MOST_BYTES = std::size_t{1} << 26;

/// Reads whatever the file holds: size and pixels; nothing if it was refused.
std::optional<std::string> content_of(const std::string& path) {
    try {
        const std::unique_ptr<IImageReader> reader = OpenImage(path);
        const SImageInfo& info = reader->Info();
        EXPECT_TRUE(info.size.Dim() == 2 || info.size.Dim() == 3);
        if (info.spacing) {
            EXPECT_TRUE(std::all_of(info.spacing->begin(), info.spacing->end(), [](double distance) {
                return std::isfinite(distance) && distance > 0.0;
            }));
        }
        if (reader->SliceBytes() > MOST_BYTES) {
            return std::nullopt;
        }
        std::string content = info.size.ToString();
        std::string slice(reader->SliceBytes(), '\0');
        const long long slices = std::min(reader->SliceCount(), 10LL);
        for (long long z = 0; z < slices; ++z) {
            reader->ReadSlices(z, 1, slice.data());
            content += slice;
        }
        return content;
    } catch (const CInputError& failure) {
        EXPECT_THAT(failure.what(), testing::HasSubstr(": "));
    } catch (const CEnvironmentError& failure) {
        EXPECT_THAT(failure.what(), testing::HasSubstr(": "));
    }
    return std::nullopt;
}

struct SBrokenCase {
    std::string name;   ///< of the file
    std::string inside; ///< of the dataset
    std::function<void(const std::string& path)> write;
};

void PrintTo(const SBrokenCase& c, std::ostream* out) {
    *out << c.name;
}

std::string pixels_u8() {
    return BytesOf(TestPixels<std::uint8_t>(SIZE));
}

SBrokenCase tiff_case(const std::string& name, const STiffOptions& options) {
    return {name, "",
            [options](const std::string& path) { WriteTestTiff(path, SIZE, pixels_u8(), options); }};
}

void write_hdf5(const std::string& path, bool chunked) {
    const hid_t file = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    const std::array<hsize_t, 3> extents{3, 11, 19};
    const std::array<hsize_t, 3> chunk{2, 8, 8};
    const hid_t space = H5Screate_simple(3, extents.data(), nullptr);
    const hid_t creation = H5Pcreate(H5P_DATASET_CREATE);
    if (chunked) {
        H5Pset_chunk(creation, 3, chunk.data());
        H5Pset_deflate(creation, 6);
    }
    const hid_t dataset = H5Dcreate2(file, "data", H5T_STD_U8LE, space, H5P_DEFAULT, creation, H5P_DEFAULT);
    H5Dwrite(dataset, H5T_NATIVE_UINT8, H5S_ALL, H5S_ALL, H5P_DEFAULT, pixels_u8().data());
    H5Dclose(dataset);
    H5Pclose(creation);
    H5Sclose(space);
    H5Fclose(file);
}

std::vector<SBrokenCase> changed_cases() {
    return {
        tiff_case("strips.tif", {}),
        tiff_case("big.tif", {.mode = "wb8", .compression = COMPRESSION_LZW}),
        tiff_case("tiles.tif", {.compression = COMPRESSION_ADOBE_DEFLATE, .tileWidth = 16, .tileHeight = 16}),
        tiff_case("packbits.tif", {.compression = COMPRESSION_PACKBITS}),
        {"plain.png", "",
         [](const std::string& path) {
             WriteTestPng(path, CSize(19, 33), pixels_u8(), {.pixelsPerMetre = 9999});
         }},
        {"image.mha", "",
         [](const std::string& path) {
             WriteMetaImage(path,
                            *test::MakeImage<std::uint8_t>(
                                IMAGE_GREY_8, SIZE, [](long long x, long long, long long) { return x; }),
                            std::array{0.5, 0.5, 0.5}, "um");
         }},
        {"image.nrrd", "",
         [](const std::string& path) {
             test::WriteFile(
                 path, "NRRD0004\ntype: uint8\ndimension: 3\nsizes: 19 11 3\nspacings: 1 2 3\nencoding: "
                       "raw\nkinds: domain domain domain\n\n" +
                           pixels_u8());
         }},
        {"image.npy", "",
         [](const std::string& path) {
             std::string header = "{'descr': '|u1', 'fortran_order': False, 'shape': (3, 11, 19), }\n";
             header.insert(0, std::string("\x93NUMPY\1\0", 8) +
                                  BytesOf(static_cast<std::uint16_t>(header.size())));
             test::WriteFile(path, header + pixels_u8());
         }},
    };
}

/// HDF5 files are only cut off. With changed bytes libhdf5 1.10 leaks memory on its ways out, and it believes
/// what a file says of the unpacked size of a chunk and reads beyond its memory; that cannot be helped from
/// outside.
std::vector<SBrokenCase> cut_cases() {
    std::vector<SBrokenCase> cases = changed_cases();
    cases.push_back({"contiguous.h5", ":/data", [](const std::string& path) { write_hdf5(path, false); }});
    cases.push_back({"chunked.h5", ":/data", [](const std::string& path) { write_hdf5(path, true); }});
    return cases;
}

class BrokenFile : public testing::TestWithParam<SBrokenCase> {
  protected:
    void SetUp() override {
        GetParam().write(m_path);
        m_bytes = test::ReadFile(m_path);
        m_sound = content_of(m_path + GetParam().inside);
        ASSERT_TRUE(m_sound) << "the sound file must be read";
    }

    test::CTemporaryFolder m_folder;
    std::string m_path = (m_folder / GetParam().name).string();
    std::string m_bytes;
    std::optional<std::string> m_sound;
};

class CutFile : public BrokenFile {};
class ChangedFile : public BrokenFile {};

TEST_P(CutFile, IsRefusedUnlessNothingIsMissing) {
    const std::size_t step = std::max<std::size_t>(1, m_bytes.size() / 300);
    std::size_t refused = 0;
    std::size_t cuts = 0;
    for (std::size_t length = 0; length < m_bytes.size(); length += step) {
        test::WriteFile(m_path, m_bytes.substr(0, length));
        SCOPED_TRACE(length);
        const std::optional<std::string> content = content_of(m_path + GetParam().inside);
        EXPECT_TRUE(!content || content == m_sound); // files may end with what can be done without
        refused += content ? 0 : 1;
        ++cuts;
    }
    EXPECT_GE(refused, cuts * 9 / 10);
}

TEST_P(ChangedFile, NeverCrashes) {
    std::uint32_t state = 2024;
    const auto random = [&state](std::size_t below) {
        state = state * 1664525U + 1013904223U;
        return static_cast<std::size_t>(state >> 8U) % below;
    };
    // Headers stand at one end of most files; bytes there are changed more often than those of pixels.
    const std::size_t head = std::min<std::size_t>(m_bytes.size(), 400);
    std::size_t refused = 0;
    for (int round = 0; round < 600; ++round) {
        std::string bytes = m_bytes;
        for (std::size_t change = 0; change <= random(3); ++change) {
            const std::size_t place = random(3);
            const std::size_t at = place == 0   ? random(head)
                                   : place == 1 ? bytes.size() - 1 - random(head)
                                                : random(bytes.size());
            constexpr std::array<unsigned char, 6> AWKWARD{0x00, 0x01, 0x7F, 0x80, 0xFF, '9'};
            bytes[at] = static_cast<char>(random(2) == 0 ? AWKWARD[random(AWKWARD.size())] : random(256));
        }
        test::WriteFile(m_path, bytes);
        SCOPED_TRACE(round);
        refused += content_of(m_path + GetParam().inside) ? 0 : 1;
    }
    EXPECT_GT(refused, 0U) << "no change was noticed: the test changes the wrong bytes";
}

std::string test_name(const testing::TestParamInfo<SBrokenCase>& instance) {
    std::string name = instance.param.name;
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(OfEveryFormat, CutFile, testing::ValuesIn(cut_cases()), test_name);
INSTANTIATE_TEST_SUITE_P(OfEveryFormat, ChangedFile, testing::ValuesIn(changed_cases()), test_name);

} // namespace
} // namespace TEVRA::volume
