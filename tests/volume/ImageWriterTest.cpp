// SPDX-License-Identifier: BSD-3-Clause
#include "support/MakeImage.h"
#include "support/RecordingMonitor.h"
#include "support/StridedImage.h"
#include "volume/FileTesting.h"
#include "volume/MetaImageWriter.h"
#include "volume/TiffWriter.h"

#include "VexoBase/ProgressMonitor.h"

#include <functional>
#include <stdexcept>
#include <vector>

#include <tiffio.h>

namespace TEVRA::volume {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::array<double, 3> SPACING{0.5, 0.1, 2.0};

template <typename PixelT, typename WriterT>
void expect_round_trip(const IImage::CType& type, const std::string& path, WriterT write) {
    for (const CSize& size : {CSize(7, 5), CSize(7, 5, 3), CSize(1, 1), CSize(1, 1, 2), CSize(1000, 600)}) {
        const auto pixels = TestPixels<PixelT>(size);
        auto next = pixels.begin();
        const auto value = [&next](long long, long long, long long) { return *next++; };
        write(*test::MakeImage<PixelT>(type, size, value));
        ExpectImage<PixelT>(path, size, pixels);

        test::CStridedImage strided(type, size);
        next = pixels.begin();
        strided.Fill<PixelT>(value);
        write(strided);
        ExpectImage<PixelT>(path, size, pixels);
        EXPECT_EQ(strided.OpenAccesses(), 0);
    }
}

class ImageWriter : public testing::Test {
  protected:
    test::CTemporaryFolder m_folder;
    std::string m_meta = (m_folder / "image.mha").string();
    std::string m_tiff = (m_folder / "image.tif").string();
    std::unique_ptr<CImage> m_image = test::MakeImage<std::uint8_t>(
        IMAGE_GREY_8, CSize(7, 5, 3),
        [](long long x, long long y, long long z) { return x + 10 * y + 60 * z; });
};

TEST_F(ImageWriter, MetaImagesComeBackAsTheyWere) {
    const auto write = [this](const IImage& image) { WriteMetaImage(m_meta, image, SPACING); };
    expect_round_trip<std::uint8_t>(IMAGE_GREY_8, m_meta, write);
    expect_round_trip<std::uint16_t>(IMAGE_GREY_16, m_meta, write);
    expect_round_trip<float>(IMAGE_GREY_F, m_meta, write);
    expect_round_trip<std::uint8_t>(IMAGE_BINARY_FG, m_meta, write);
}

TEST_F(ImageWriter, TiffFilesComeBackAsTheyWere) {
    const auto write = [this](const IImage& image) { WriteTiff(m_tiff, image, SPACING, "mm"); };
    expect_round_trip<std::uint8_t>(IMAGE_GREY_8, m_tiff, write);
    expect_round_trip<std::uint16_t>(IMAGE_GREY_16, m_tiff, write);
    expect_round_trip<float>(IMAGE_GREY_F, m_tiff, write);
}

TEST_F(ImageWriter, SpacingComesBackExactly) {
    for (const char* unit : {"", "mm", "um"}) {
        WriteMetaImage(m_meta, *m_image, SPACING, unit);
        const SImageInfo info = OpenImage(m_meta)->Info();
        EXPECT_EQ(info.spacing, SPACING);
        EXPECT_EQ(info.spacingUnit, unit);
    }
    WriteTiff(m_tiff, *m_image, SPACING, "um");
    EXPECT_EQ(OpenImage(m_tiff)->Info().spacing, SPACING);
    EXPECT_EQ(OpenImage(m_tiff)->Info().spacingUnit, "um");
    WriteTiff(m_tiff, *m_image, SPACING, "mm");
    ExpectSpacing(m_tiff, SExpectedSpacing{{500.0, 100.0, 2000.0}, "um"});
    WriteTiff(m_tiff, *m_image, SPACING, "");
    ExpectSpacing(m_tiff, std::nullopt);
}

TEST_F(ImageWriter, AMissingSpacingIsNotStated) {
    WriteMetaImage(m_meta, *m_image, std::nullopt);
    ExpectSpacing(m_meta, std::nullopt);
    WriteMetaImage(m_meta, *m_image, std::nullopt, "mm"); // a unit of nothing
    ExpectSpacing(m_meta, std::nullopt);
    EXPECT_THAT(test::ReadFile(m_meta), Not(HasSubstr("mm")));
    WriteMetaImage(m_meta, *m_image, std::array<double, 3>{1.0, 1.0, 1.0});
    ExpectSpacing(m_meta, SExpectedSpacing{{1.0, 1.0, 1.0}, ""});
}

TEST_F(ImageWriter, TheMetaImageHeaderIsAsOtherProgramsExpect) {
    WriteMetaImage(m_meta, *m_image, SPACING, "mm");
    const std::string bytes = test::ReadFile(m_meta);
    EXPECT_EQ(bytes.substr(0, bytes.size() - 105),
              "ObjectType = Image\nNDims = 3\nBinaryData = True\nBinaryDataByteOrderMSB = False\n"
              "CompressedData = False\nDistanceUnits = mm\nElementSpacing = 0.5 0.1 2\nDimSize = 7 5 3\n"
              "ElementType = MET_UCHAR\nElementDataFile = LOCAL\n");
}

TEST_F(ImageWriter, SlicesAreWrittenOneAfterTheOther) {
    CMetaImageWriter writer(m_meta, {CSize(2, 1, 3), EPixelType::u16, std::nullopt, ""});
    const std::vector<std::uint16_t> pixels{1, 2, 3, 4, 5, 6};
    writer.WriteSlices(pixels.data(), 1);
    EXPECT_THROW(writer.Close(), std::logic_error);
    writer.WriteSlices(pixels.data() + 2, 2);
    EXPECT_THROW(writer.WriteSlices(pixels.data(), 1), std::out_of_range);
    writer.Close();
    ExpectImage<std::uint16_t>(m_meta, CSize(2, 1, 3), pixels);
}

TEST_F(ImageWriter, APlaceThatCannotBeWrittenToIsAnEnvironmentError) {
    const std::string missing = (m_folder / "missing folder/image.mha").string();
    EXPECT_EQ(
        FailureOf<CEnvironmentError>([&] { WriteMetaImage(missing, *m_image, SPACING); }),
        missing +
            ": cannot be written: No such file or directory; check the folder's permissions and the free "
            "space");
    EXPECT_THAT(FailureOf<CEnvironmentError>([&] { WriteTiff(missing, *m_image, SPACING, ""); }),
                HasSubstr(missing + ": cannot be written"));
}

TEST_F(ImageWriter, AFullDiskIsAnEnvironmentErrorForSmallAndLargeImages) {
    const auto large = test::MakeImage<float>(IMAGE_GREY_F, CSize(512, 512, 2),
                                              [](long long, long long, long long) { return 1.0F; });
    EXPECT_THAT(FailureOf<CEnvironmentError>([&] { WriteMetaImage("/dev/full", *m_image, SPACING); }),
                HasSubstr("/dev/full: cannot be written: No space left on device"));
    EXPECT_THAT(FailureOf<CEnvironmentError>([&] { WriteMetaImage("/dev/full", *large, SPACING); }),
                HasSubstr("No space left on device"));
    EXPECT_THAT(FailureOf<CEnvironmentError>([&] { WriteTiff("/dev/full", *large, SPACING, ""); }),
                HasSubstr("/dev/full: cannot be written"));
}

TEST_F(ImageWriter, WritingReportsSlicesAndCanBeStoppedAfterAny) {
    const std::vector<std::function<void()>> writers{[this] { WriteMetaImage(m_meta, *m_image, SPACING); },
                                                     [this] { WriteTiff(m_tiff, *m_image, SPACING, "mm"); }};
    for (const auto& write : writers) {
        for (int call = 1; call <= 4; ++call) { // the beginning and three slices
            test::CRecordingMonitor monitor;
            monitor.throwAtCall = call;
            const CProgressMonitorScope scope(monitor);
            EXPECT_THROW(write(), test::CInterrupted) << call;
            EXPECT_EQ(monitor.openReports, 0);
        }
        test::CRecordingMonitor monitor;
        const CProgressMonitorScope scope(monitor);
        write();
        EXPECT_EQ(monitor.steps, 3);
    }
}

TEST_F(ImageWriter, ImagesOfOtherTypesOrDimensionsAreOurMistake) {
    const CImage complexImage(IMAGE_COMPLEX_F, CSize(2, 2), CSize(0, 0));
    EXPECT_THROW(WriteMetaImage(m_meta, complexImage, SPACING), std::invalid_argument);
    EXPECT_THROW(WriteTiff(m_tiff, complexImage, SPACING, ""), std::invalid_argument);
    const CImage four(IMAGE_GREY_8, CSize({2, 2, 2, 2}), CSize({0, 0, 0, 0}));
    EXPECT_THROW(WriteMetaImage(m_meta, four, SPACING), std::invalid_argument);
    EXPECT_EQ(m_folder.Entries(), std::vector<std::string>());
}

} // namespace
} // namespace TEVRA::volume
