// SPDX-License-Identifier: BSD-3-Clause
#include "volume/SliceFile.h"

#include "volume/FileTesting.h"

#include <fcntl.h>
#include <numeric>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace TEVRA::volume {
namespace {

using testing::HasSubstr;

SSliceFileInfo info_of(const CSize& size) {
    SSliceFileInfo info{size};
    info.spacing = {0.65, 0.1, 2.5};
    info.spacingUnit = "um";
    info.name = "theta";
    info.content = "angles & more <in radians>";
    return info;
}

std::vector<float> numbers_of(const SSliceFileInfo& info) {
    std::vector<float> numbers(info.size.Elements() * CountOf(info.channels));
    std::iota(numbers.begin(), numbers.end(), -3.5F);
    return numbers;
}

class SliceFile : public testing::Test {
  protected:
    std::string path(ESliceFormat format) const {
        return (m_folder / (std::string("image.") + NameOf(format))).string();
    }

    test::CTemporaryFolder m_folder;
};

TEST_F(SliceFile, ComesBackAsItWasWithItsSpacing) {
    for (const CSize& size : {CSize(7, 5), CSize(7, 5, 3), CSize(1, 1), CSize(4, 1, 2)}) {
        for (const ESliceFormat format :
             {ESliceFormat::mha, ESliceFormat::nrrd, ESliceFormat::npy, ESliceFormat::tif}) {
            SCOPED_TRACE(NameOf(format));
            const SSliceFileInfo info = info_of(size);
            const SSliceFileLayout layout = LayoutOf(format, info);
            const std::vector<float> numbers = numbers_of(info);
            CSliceFile::Create(path(format), layout);
            {
                CSliceFile above(path(format), layout); // another process, in another order
                CSliceFile below(path(format), layout);
                const std::size_t slice = numbers.size() / static_cast<std::size_t>(size[2]);
                above.WriteSlices(1, size[2] - 1, numbers.data() + slice);
                below.WriteSlices(0, 1, numbers.data());
                above.Close();
                below.Close();
            }
            ExpectImage<float>(path(format), size, numbers);
            const SImageInfo read = OpenImage(path(format))->Info();
            if (format == ESliceFormat::npy) {
                EXPECT_FALSE(read.spacing);
            } else {
                ASSERT_TRUE(read.spacing);
                for (int axis = 0; axis < size.Dim(); ++axis) {
                    const auto at = static_cast<std::size_t>(axis);
                    // libtiff hands out resolutions in single precision.
                    const double tolerance = format == ESliceFormat::tif ? 1e-7 : 1e-15;
                    EXPECT_NEAR((*read.spacing)[at], (*info.spacing)[at], tolerance * (*info.spacing)[at]);
                }
                EXPECT_EQ(read.spacingUnit, "um");
            }
        }
    }
}

TEST_F(SliceFile, StatesNoSpacingWhereThereIsNone) {
    for (const ESliceFormat format :
         {ESliceFormat::mha, ESliceFormat::nrrd, ESliceFormat::npy, ESliceFormat::tif}) {
        SSliceFileInfo info = info_of(CSize(3, 2, 2));
        info.spacing.reset();
        CSliceFile::Create(path(format), LayoutOf(format, info));
        ExpectSpacing(path(format), std::nullopt);
    }
}

TEST_F(SliceFile, OfOtherNumberTypesComesBack) {
    for (const ESliceFormat format :
         {ESliceFormat::mha, ESliceFormat::nrrd, ESliceFormat::npy, ESliceFormat::tif}) {
        SSliceFileInfo info = info_of(CSize(3, 2, 2));
        info.numberType = EPixelType::u8;
        const std::vector<std::uint8_t> bytes = TestPixels<std::uint8_t>(info.size);
        CSliceFile::Create(path(format), LayoutOf(format, info));
        CSliceFile file(path(format), LayoutOf(format, info));
        file.WriteSlices(0, 2, bytes.data());
        file.Close();
        ExpectImage<std::uint8_t>(path(format), info.size, bytes);
    }
}

TEST_F(SliceFile, TiffOfFourGigabytesIsBigTiffWhoseLastSliceIsInItsPlace) {
    const SSliceFileInfo info = info_of(CSize(2048, 2048, 257));
    const SSliceFileLayout layout = LayoutOf(ESliceFormat::tif, info);
    EXPECT_EQ(layout.head.substr(2, 1), "+");
    EXPECT_EQ(LayoutOf(ESliceFormat::tif, info_of(CSize(2048, 2048, 255))).head.substr(2, 1), "*");
    const std::string file = path(ESliceFormat::tif);
    test::WriteFile(file, layout.head); // with a hole instead of pixels: nobody takes 4 GB for a test
    ASSERT_EQ(
        truncate(file.c_str(), static_cast<off_t>(layout.head.size() + std::size_t{257} * layout.sliceBytes)),
        0);
    std::vector<float> slice(std::size_t{2048} * 2048);
    std::iota(slice.begin(), slice.end(), 0.0F);
    CSliceFile parts(file, layout);
    parts.WriteSlices(256, 1, slice.data());
    parts.Close();
    const auto reader = OpenImage(file);
    EXPECT_EQ(reader->Info().size, CSize(2048, 2048, 257));
    std::vector<float> read(slice.size(), -1.0F);
    reader->ReadSlices(256, 1, reinterpret_cast<std::byte*>(read.data()));
    EXPECT_EQ(read, slice);
    reader->ReadSlices(255, 1, reinterpret_cast<std::byte*>(read.data()));
    EXPECT_EQ(read, std::vector<float>(slice.size(), 0.0F));
}

TEST_F(SliceFile, RefusesSlicesThatTheImageDoesNotHave) {
    const SSliceFileLayout layout = LayoutOf(ESliceFormat::npy, info_of(CSize(3, 2, 2)));
    CSliceFile::Create(path(ESliceFormat::npy), layout);
    CSliceFile file(path(ESliceFormat::npy), layout);
    const std::vector<float> pixels(18);
    EXPECT_THROW(file.WriteSlices(1, 2, pixels.data()), std::out_of_range);
    EXPECT_THROW(file.WriteSlices(-1, 1, pixels.data()), std::out_of_range);
    EXPECT_THROW(file.WriteSlices(3, 0, pixels.data()), std::out_of_range);
}

TEST_F(SliceFile, APlaceThatCannotBeWrittenToIsAnEnvironmentError) {
    const SSliceFileLayout layout = LayoutOf(ESliceFormat::vti, info_of(CSize(3, 2, 2)));
    const std::string missing = (m_folder / "missing folder/image.vti").string();
    EXPECT_THAT(FailureOf<CEnvironmentError>([&] { CSliceFile::Create(missing, layout); }),
                HasSubstr(missing + ": cannot be written: No such file or directory"));
    EXPECT_THAT(FailureOf<CEnvironmentError>([&] { CSliceFile(missing, layout); }),
                HasSubstr(missing + ": cannot be written"));
}

TEST_F(SliceFile, FormatsGoByTheEndingsOfTheirFiles) {
    for (const ESliceFormat format : SLICE_FORMATS) {
        EXPECT_EQ(SliceFormatNamed(NameOf(format)), format);
    }
    EXPECT_FALSE(SliceFormatNamed("tiff"));
}

TEST(SliceFiles, HaveTheirRoomOnTheDiskFromTheStart) {
    const test::CTemporaryFolder folder;
    const std::string probe = folder / "probe";
    test::WriteFile(probe, "");
    const int file = open(probe.c_str(), O_WRONLY | O_CLOEXEC);
    const bool takesRoom = fallocate(file, 0, 0, 4096) == 0;
    close(file);
    if (!takesRoom) {
        GTEST_SKIP() << "the file system takes no room in advance";
    }
    const std::string path = folder / "map.mha";
    CSliceFile::Create(path, LayoutOf(ESliceFormat::mha, info_of(CSize(100, 100, 50))));
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    constexpr long long BYTES = 100LL * 100 * 50 * 4;
    EXPECT_GE(status.st_size, BYTES);
    constexpr long long BLOCK_BYTES = 512;
    EXPECT_GE(status.st_blocks * BLOCK_BYTES, BYTES);
}

} // namespace
} // namespace TEVRA::volume
