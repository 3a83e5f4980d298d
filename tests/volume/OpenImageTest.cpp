// SPDX-License-Identifier: BSD-3-Clause
#include "volume/FileTesting.h"
#include "volume/TiffTesting.h"

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace TEVRA::volume {
namespace {

using testing::HasSubstr;

class OpeningAnImage : public testing::Test {
  protected:
    std::string file(const std::string& name) const { return (m_folder / name).string(); }

    test::CTemporaryFolder m_folder;
};

TEST_F(OpeningAnImage, ThatIsMissingSaysSo) {
    EXPECT_EQ(FailureOfReading(file("missing.tif")), file("missing.tif") + ": there is no such file");
    EXPECT_EQ(FailureOfReading(file("missing/image.tif")),
              file("missing/image.tif") + ": there is no such file");
    EXPECT_EQ(FailureOfReading(file("missing.raw"), {ParseRawLayout("1,1,u8")}),
              file("missing.raw") + ": there is no such file");
    EXPECT_THAT(FailureOfReading(""), HasSubstr("there is no such file"));
}

TEST_F(OpeningAnImage, WithoutPermissionIsAnEnvironmentError) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "permissions do not bind the user root";
    }
    test::WriteFile(file("image.mha"), "x");
    std::filesystem::permissions(file("image.mha"), std::filesystem::perms::none);
    EXPECT_EQ(FailureOf<CEnvironmentError>([&] { OpenImage(file("image.mha")); }),
              file("image.mha") + ": cannot be opened for reading; check its permissions");
}

TEST_F(OpeningAnImage, OfUnknownFormatNamesTheKnownOnes) {
    test::WriteFile(file("notes.txt"), "some text");
    EXPECT_EQ(
        FailureOfReading(file("notes.txt")),
        file("notes.txt") +
            ": not an image file of a known format: it seems to be a text, which holds no image that can "
            "be read; give TIFF, PNG, a folder of TIFF or PNG slices, MetaImage (.mha, .mhd), NRRD, NIfTI, "
            "HDF5 (file.h5:/path), NumPy (.npy), or a raw file with its layout");
    test::WriteFile(file("empty.tif"), "");
    EXPECT_EQ(FailureOfReading(file("empty.tif")), file("empty.tif") + ": the file is empty");
    test::WriteFile(file("image.mha"), "x");
    EXPECT_EQ(FailureOfReading(file("image.mha") + ":/data"),
              file("image.mha") + ": not an HDF5 file, so it has no dataset /data");
}

TEST_F(OpeningAnImage, OfUnknownFormatSaysWhatTheFileSeemsToBe) {
    struct SCase {
        std::string start;
        const char* named;
    };
    using namespace std::string_literals;
    const std::vector<SCase> cases{{"\xFF\xD8\xFF\xE0\0\x10JFIF"s, "a JPEG image"},
                                   {"%PDF-1.7\n\xE2\xE3"s, "a PDF document"},
                                   {"PK\x03\x04\x14\0"s, "a ZIP archive"},
                                   {"\x1F\x8B\x08\0"s, "compressed by gzip"},
                                   {std::string(128, '\0') + "DICM\x02", "a DICOM file"},
                                   {"BZh91AY&SY"s, "compressed by bzip2"},
                                   {std::string(257, '\0') + "ustar", "a tar archive"},
                                   {"x,y\n1,2\n"s, "a text"},
                                   {"ObjectType = Image\n"s, "a MetaImage header"}};
    for (const SCase& c : cases) {
        test::WriteFile(file("image.dat"), c.start);
        EXPECT_THAT(FailureOfReading(file("image.dat")),
                    HasSubstr("image.dat: not an image file of a known format: it seems to be "s + c.named));
    }
    test::WriteFile(file("image.dat"), "\x01\x02\x03");
    EXPECT_THAT(FailureOfReading(file("image.dat")), HasSubstr("of a known format; give TIFF"));
}

TEST_F(OpeningAnImage, TheContentCountsMoreThanTheName) {
    const std::vector<std::uint8_t> pixels{1, 2, 3, 4};
    WriteTestTiff(file("image \xC3\xA4 #1.scan"), CSize(2, 2), BytesOf(pixels));
    ExpectImage<std::uint8_t>(file("image \xC3\xA4 #1.scan"), CSize(2, 2), pixels);
}

TEST_F(OpeningAnImage, RealImagesAreReadAsTheirDescriptionSays) {
    const char* folder = std::getenv("TEVRA_TEST_DATA");
    if (folder == nullptr) {
        GTEST_SKIP() << "TEVRA_TEST_DATA names no folder of real images";
    }
    const std::string data = folder;
    const auto sum_of = [](IImageReader& reader) {
        double sum = 0.0;
        for (long long z = 0; z < reader.SliceCount(); ++z) {
            for (const std::uint8_t pixel : ReadPixels<std::uint8_t>(reader, z, 1)) {
                sum += pixel;
            }
        }
        return sum / static_cast<double>(reader.Info().size.Elements());
    };
    const auto fibers = OpenImage(data + "/polymer_fibers_ct.tif");
    EXPECT_EQ(fibers->Info().size, CSize(128, 128, 128));
    EXPECT_FALSE(fibers->Info().spacing);
    EXPECT_NEAR(sum_of(*fibers), 97.90, 0.005);
    const auto collagen = OpenImage(data + "/collagen_shg.tif");
    EXPECT_EQ(collagen->Info().size, CSize(512, 512));
    EXPECT_FALSE(collagen->Info().spacing);
    EXPECT_NEAR(sum_of(*collagen), 7.12, 0.005);
    const auto gelatin = OpenImage(data + "/electrospun_gelatin_sem.tif");
    EXPECT_EQ(gelatin->Info().size, CSize(1024, 884));
    EXPECT_NEAR(sum_of(*gelatin), 100.39, 0.005);
    ASSERT_TRUE(gelatin->Info().spacing);
    EXPECT_NEAR((*gelatin->Info().spacing)[0], 0.00003096, 5e-9);
    EXPECT_NEAR((*gelatin->Info().spacing)[1], 0.00003096, 5e-9);
    EXPECT_EQ(gelatin->Info().spacingUnit, "mm");
}

} // namespace
} // namespace TEVRA::volume
