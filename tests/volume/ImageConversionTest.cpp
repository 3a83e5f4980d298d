// SPDX-License-Identifier: BSD-3-Clause
#include "volume/ImageConversion.h"

#include "VexoBase/ProgressMonitor.h"
#include "support/MakeImage.h"
#include "support/MemoryLimit.h"
#include "support/RecordingMonitor.h"
#include "volume/FileTesting.h"
#include "zeklib2image/HeaderTools.h"

#include <limits>
#include <new>
#include <stdexcept>

namespace TEVRA::volume {
namespace {

using test::PixelsOf;
using testing::HasSubstr;

constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE = std::numeric_limits<float>::infinity();

/// Hands out pixels from memory, and counts what is asked for.
class CCountingReader : public IImageReader {
  public:
    template <typename PixelT>
    CCountingReader(const CSize& size, const std::vector<PixelT>& pixels)
        : m_bytes(sizeof(PixelT) * pixels.size()) {
        m_info.format = "test";
        m_info.size = size;
        m_info.pixelType = HandedOutTypeOf<PixelT>();
        std::memcpy(m_bytes.data(), pixels.data(), m_bytes.size());
    }

    const SImageInfo& Info() const override { return m_info; }
    SImageInfo& Info() { return m_info; }
    std::vector<std::string> Files() const override { return {}; }
    std::size_t BufferBytes() const override { return 0; }
    long long MostSlicesAtOnce() const { return m_mostSlices; }

  private:
    void read_slices(long long firstSlice, long long sliceCount, std::byte* pixels) override {
        m_mostSlices = std::max(m_mostSlices, sliceCount);
        std::memcpy(pixels, m_bytes.data() + static_cast<std::size_t>(firstSlice) * SliceBytes(),
                    static_cast<std::size_t>(sliceCount) * SliceBytes());
    }

    SImageInfo m_info;
    std::vector<std::byte> m_bytes;
    long long m_mostSlices = 0;
};

template <typename PixelT>
CCountingReader line_reader(const std::vector<PixelT>& pixels) {
    return {CSize(static_cast<long long>(pixels.size()), 1), pixels};
}

template <typename PixelT>
void expect_same_image(const IImage::CType& type) {
    for (const CSize& size : {CSize(7, 5), CSize(7, 5, 3)}) {
        const auto pixels = TestPixels<PixelT>(size);
        CCountingReader reader(size, pixels);
        const std::unique_ptr<CImage> image = ReadImage(reader);
        EXPECT_TRUE(image->Type() == type);
        EXPECT_EQ(image->Size(), size);
        EXPECT_EQ(PixelsOf<PixelT>(*image), pixels);
    }
}

TEST(ReadImageTest, KeepsPixelsAndTypes) {
    expect_same_image<std::uint8_t>(IMAGE_GREY_8);
    expect_same_image<std::uint16_t>(IMAGE_GREY_16);
    expect_same_image<float>(IMAGE_GREY_F);
}

TEST(ReadImageTest, PutsAKnownSpacingIntoTheHeader) {
    CCountingReader reader(CSize(2, 2, 2), std::vector<std::uint8_t>(8));
    double x = 0;
    double y = 0;
    double z = 0;
    EXPECT_FALSE(CVexoHeaderTools::GetSpacing(*ReadImage(reader), x, y, z));
    reader.Info().spacing = {0.5, 0.25, 2.0};
    for (const auto& image : {ReadImage(reader), ReadMask(reader)}) {
        ASSERT_TRUE(CVexoHeaderTools::GetSpacing(*image, x, y, z));
        EXPECT_EQ(x, 0.5);
        EXPECT_EQ(y, 0.25);
        EXPECT_EQ(z, 2.0);
    }
}

TEST(ReadImageTest, ReadsOneSliceAtATimeAndReportsEach) {
    CCountingReader reader(CSize(2, 2, 3), std::vector<std::uint16_t>(12, 7));
    test::CRecordingMonitor monitor;
    const CProgressMonitorScope scope(monitor);
    ReadImage(reader);
    EXPECT_EQ(monitor.events,
              (std::vector<std::string>{"begin 3 Reading image...", "step", "step", "step", "end"}));
    ReadMask(reader);
    EXPECT_EQ(monitor.steps, 6);
    EXPECT_EQ(monitor.openReports, 0);
    EXPECT_EQ(reader.MostSlicesAtOnce(), 1);
}

TEST(ReadImageTest, AMonitorsExceptionPassesThroughWithoutLeaks) {
    CCountingReader reader(CSize(2, 2, 3), std::vector<std::uint16_t>(12, 7));
    const test::CPixelLeakCheck leaks;
    test::CRecordingMonitor monitor;
    monitor.throwAtCall = 3;
    const CProgressMonitorScope scope(monitor);
    EXPECT_THROW(ReadImage(reader), test::CInterrupted);
    EXPECT_EQ(monitor.openReports, 0);
}

TEST(ReadImageTest, WithoutMemoryThrowsBadAlloc) {
    CCountingReader reader(CSize(200, 200, 3), std::vector<std::uint16_t>(120000, 7));
    const test::CPixelMemoryLimitScope limit(1000);
    EXPECT_THROW(ReadImage(reader), std::bad_alloc);
    EXPECT_THROW(ReadMask(reader), std::bad_alloc);
}

TEST(ReadSlicesTest, BeyondTheImageIsOurMistake) {
    CCountingReader reader(CSize(2, 2, 3), std::vector<std::uint8_t>(12));
    std::array<std::byte, 16> pixels{};
    EXPECT_THROW(reader.ReadSlices(-1, 1, pixels.data()), std::out_of_range);
    EXPECT_THROW(reader.ReadSlices(0, 4, pixels.data()), std::out_of_range);
    EXPECT_THROW(reader.ReadSlices(3, 1, pixels.data()), std::out_of_range);
    EXPECT_THROW(reader.ReadSlices(4, 0, pixels.data()), std::out_of_range);
    EXPECT_THROW(reader.ReadSlices(0, -1, pixels.data()), std::out_of_range);
    EXPECT_THROW(reader.ReadSlices(1, std::numeric_limits<long long>::max(), pixels.data()),
                 std::out_of_range);
    EXPECT_NO_THROW(reader.ReadSlices(3, 0, pixels.data()));
}

TEST(ValueRangeTest, IsThatOfTheFiniteValues) {
    CCountingReader reader(CSize(3, 1, 2),
                           std::vector<float>{2.5F, NOT_A_NUMBER, -1.5F, INFINITE, -INFINITE, 0.0F});
    const SValueRange range = ValueRange(reader);
    EXPECT_EQ(range.lo, -1.5);
    EXPECT_EQ(range.hi, 2.5);
    EXPECT_EQ(range.nanCount, 1);
    EXPECT_EQ(range.infiniteCount, 2);
    CCountingReader wide = line_reader<std::uint16_t>({7, 65535, 3});
    EXPECT_EQ(ValueRange(wide).lo, 3.0);
    EXPECT_EQ(ValueRange(wide).hi, 65535.0);
    CCountingReader none = line_reader<float>({NOT_A_NUMBER, INFINITE});
    EXPECT_EQ(ValueRange(none).lo, 0.0);
    EXPECT_EQ(ValueRange(none).hi, 0.0);
}

std::vector<int> greys_of(const std::vector<double>& values, const SGreyWindow& window) {
    std::vector<int> greys;
    for (const double value : values) {
        greys.push_back(GreyOf(value, window));
    }
    return greys;
}

TEST(GreyWindow, MapsItsEndsToBlackAndWhiteAndRoundsBetween) {
    // 255 (v - 100) / 100: 2.55, 127.5, 252.45
    EXPECT_EQ(greys_of({0, 99, 100, 101, 150, 199, 200, 201, 255}, {100, 200}),
              (std::vector<int>{0, 0, 0, 3, 128, 252, 255, 255, 255}));
}

TEST(GreyWindow, MapsEverySixteenBitValueAsTheFormulaSays) {
    for (int value = 0; value < 65536; ++value) {
        const double exact = 255.0 * (value + 100.25) / 60100.75;
        ASSERT_NEAR(GreyOf(value, {-100.25, 60000.5}), std::min(exact, 255.0), 0.5 + 1e-9) << value;
    }
}

TEST(GreyWindow, ClampsInfinitiesAndMakesNaNBlack) {
    constexpr double INF = std::numeric_limits<double>::infinity();
    EXPECT_EQ(greys_of({-INF, -1.0, 0.0, std::numeric_limits<double>::quiet_NaN(), 1.0, INF}, {-1.0, 1.0}),
              (std::vector<int>{0, 0, 128, 0, 255, 255}));
}

TEST(GreyWindow, OfTheWholeRangeOfFloatsDoesNotOverflow) {
    constexpr double LARGEST = std::numeric_limits<float>::max();
    EXPECT_EQ(greys_of({-LARGEST, 0.0, LARGEST}, {-LARGEST, LARGEST}), (std::vector<int>{0, 128, 255}));
}

TEST(GreyWindow, IsRefusedWhereItMakesNoSense) {
    constexpr double INF = std::numeric_limits<double>::infinity();
    constexpr double NAN_ = std::numeric_limits<double>::quiet_NaN();
    for (const SGreyWindow window : {SGreyWindow{5, 5}, SGreyWindow{6, 5}, SGreyWindow{0, INF},
                                     SGreyWindow{-INF, 0}, SGreyWindow{NAN_, 1}}) {
        EXPECT_THAT(FailureOf([&] { CheckWindow(window); }),
                    HasSubstr(": must be two finite numbers, the lower one first"));
    }
    EXPECT_NO_THROW(CheckWindow({5, 6}));
}

template <typename PixelT>
std::vector<std::uint8_t> mask_of(const std::vector<PixelT>& pixels) {
    CCountingReader reader(CSize(1, 1, static_cast<long long>(pixels.size())), pixels);
    const std::unique_ptr<CImage> mask = ReadMask(reader);
    EXPECT_TRUE(mask->Type() == IMAGE_BINARY_FG);
    return PixelsOf<std::uint8_t>(*mask);
}

TEST(ReadMaskTest, TakesZeroAndOneOtherValue) {
    const std::vector<std::uint8_t> expected{0, 1, 1, 0};
    EXPECT_EQ(mask_of<std::uint8_t>({0, 1, 1, 0}), expected);
    EXPECT_EQ(mask_of<std::uint8_t>({0, 255, 255, 0}), expected);
    EXPECT_EQ(mask_of<std::uint16_t>({0, 65535, 65535, 0}), expected);
    EXPECT_EQ(mask_of<float>({0.0F, -0.5F, -0.5F, -0.0F}), expected);
}

TEST(ReadMaskTest, OfOneValueIsFullOrEmpty) {
    EXPECT_EQ(mask_of<std::uint8_t>({0, 0}), (std::vector<std::uint8_t>{0, 0}));
    EXPECT_EQ(mask_of<std::uint8_t>({9, 9}), (std::vector<std::uint8_t>{1, 1}));
}

TEST(ReadMaskTest, OfMoreValuesNamesThem) {
    EXPECT_EQ(
        FailureOf([] {
            mask_of<std::uint8_t>({0, 7, 7, 3});
        }),
        "the mask is not two-valued: besides 0 it holds 7 and 3; give an image of 0 and one other value");
    EXPECT_THAT(FailureOf([] {
                    mask_of<float>({0.0F, NOT_A_NUMBER});
                }),
                HasSubstr("besides 0 it holds nan;"));
    EXPECT_THAT(FailureOf([] { mask_of<float>({0.5F, NOT_A_NUMBER}); }), HasSubstr("holds 0.5 and nan;"));
}

} // namespace
} // namespace TEVRA::volume
