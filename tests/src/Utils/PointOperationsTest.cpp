// SPDX-License-Identifier: BSD-3-Clause
#include "Utils/PointOperationsImpl.h"

#include "Utils/visitors/PointOperationStatistics.h"
#include "Utils/visitors/PointOperations.h"
#include "support/MakeImage.h"
#include "support/RecordingMonitor.h"
#include "support/StridedImage.h"
#include "support/ThrownException.h"
#include "zeklib2core/Exception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <complex>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace TEVRA {
namespace {

using Complex = std::complex<float>;
using Helper = Impl::VisitorHelper<0>;
using testing::ElementsAre;

constexpr const char* TEXT = "TEVRA::Impl::VisitorHelper<0>::VisitImageData processing...";

/// Writes down the pixels in the order of the visit.
class CPixelList {
  public:
    using PixelType = const float;
    std::vector<float> pixels;

    void Reset() { pixels.clear(); }
    void operator()(float value) { pixels.push_back(value); }
    static std::string TypeName() { return "class CPixelList"; }
};

/// Where each pixel of an image holds its place.
float place(long long x, long long y, long long z) {
    return static_cast<float>(100 * z + 10 * y + x);
}

std::vector<float> places(const CSize& size) {
    std::vector<float> expected;
    for (long long z = 0; z < size[2]; ++z) {
        for (long long y = 0; y < size[1]; ++y) {
            for (long long x = 0; x < size[0]; ++x) {
                expected.push_back(place(x, y, z));
            }
        }
    }
    return expected;
}

std::vector<CSize> sizes_of_all_dimensions() {
    return {CSize({6}),  CSize({1}),     CSize(5, 3),    CSize(1, 4),
            CSize(4, 1), CSize(4, 3, 2), CSize(1, 1, 3), CSize(3, 1, 1)};
}

/// An image whose pixels have two floats' worth of room between them along x.
class CSparseImage : public IImage {
  public:
    explicit CSparseImage(const CSize& size) : m_size(size), m_values(3 * size.Elements(), -77.0F) {}

    float& At(long long x, long long y, long long z) {
        return m_values[static_cast<std::size_t>(3 * ((z * m_size[1] + y) * m_size[0] + x))];
    }
    /// What stands between the pixels.
    std::vector<float> ValuesBetweenPixels() const {
        std::vector<float> gaps;
        for (std::size_t i = 0; i < m_values.size(); ++i) {
            if (i % 3 != 0) {
                gaps.push_back(m_values[i]);
            }
        }
        return gaps;
    }

    const CSize& Size() const override { return m_size; }
    const CType& Type() const override { return IMAGE_GREY_F; }
    const CValueMap& Attributes() const override { return m_attributes; }
    CValueMap& Attributes() override { return m_attributes; }
    IAccess* CreateAccess(bool readOnly) override {
        return new CSparseAccess(m_values.data(), m_size, readOnly);
    }
    IAccess* CreateAccess(bool /*readOnly*/) const override {
        return new CSparseAccess(const_cast<float*>(m_values.data()), m_size, true);
    }
    IImage& Resize(const CSize& /*size*/, const CSize& /*border*/) override { return *this; }

  private:
    class CSparseAccess : public IAccess {
      public:
        CSparseAccess(float* first, const CSize& size, bool readOnly)
            : m_first(first), m_size(size), m_readOnly(readOnly) {}
        void SetRegion(const CPos& /*first*/, const CPos& /*last*/) override {} // always the whole image
        void* Data() override { return m_first; }
        const void* ConstData() const override { return m_first; }
        std::ptrdiff_t Stride(int axis) const override {
            const auto pixel = static_cast<std::ptrdiff_t>(3 * sizeof(float));
            return axis == 0 ? pixel : pixel * m_size[0] * (axis == 1 ? 1 : m_size[1]);
        }
        bool IsReadOnly() const noexcept override { return m_readOnly; }

      private:
        float* m_first;
        CSize m_size;
        bool m_readOnly;
    };

    CSize m_size;
    std::vector<float> m_values;
    CValueMap m_attributes;
};

/// What the visits write to the debug stream while it lives.
class CDebugLines {
  public:
    CDebugLines() : m_before(Impl::DebugStream().rdbuf(m_buffer.rdbuf())) {}
    ~CDebugLines() { Impl::DebugStream().rdbuf(m_before); }
    CDebugLines(const CDebugLines&) = delete;
    CDebugLines& operator=(const CDebugLines&) = delete;
    std::string Text() const { return m_buffer.str(); }

  private:
    std::ostringstream m_buffer;
    std::streambuf* m_before;
};

std::unique_ptr<CImage> make_image(const IImage::CType& type, const CSize& size) {
    return std::make_unique<CImage>(type, size, CSize(0, 0, 0));
}

std::string message_of(IImage& image) {
    CPixelList visitor;
    test::CRecordingMonitor monitor;
    return test::MessageOf([&] { Helper::VisitImageData(image, visitor, monitor); });
}

} // namespace

TEST(PixelVisit, GoesThroughSlicesThenRowsThenColumns) {
    for (const CSize& size : sizes_of_all_dimensions()) {
        const auto image = test::MakeImage<float>(IMAGE_GREY_F, size, place);
        CPixelList visitor;
        test::CRecordingMonitor monitor;
        EXPECT_TRUE(Helper::VisitImageData(*image, visitor, monitor)) << size.ToString();
        EXPECT_EQ(visitor.pixels, places(size)) << size.ToString();
        EXPECT_EQ(monitor.openReports, 0) << size.ToString();
    }
}

TEST(PixelVisit, FollowsTheStridesOfThePixels) {
    for (const CSize& size : sizes_of_all_dimensions()) {
        test::CStridedImage image(IMAGE_GREY_F, size);
        image.Fill<float>(place);
        CPixelList visitor;
        test::CRecordingMonitor monitor;
        EXPECT_TRUE(Helper::VisitImageData(image, visitor, monitor)) << size.ToString();
        EXPECT_EQ(visitor.pixels, places(size)) << size.ToString();
        EXPECT_EQ(image.OpenAccesses(), 0) << size.ToString();
    }
}

TEST(PixelVisit, WritesNothingBetweenThePixels) {
    for (const CSize& size : sizes_of_all_dimensions()) {
        test::CStridedImage target(IMAGE_GREY_F, size);
        const auto source = test::MakeImage<float>(IMAGE_GREY_F, size, place);
        visitors::CCopy<float> copy;
        test::CRecordingMonitor monitor;
        EXPECT_TRUE(Helper::VisitImageData(target, *source, copy, monitor)) << size.ToString();
        EXPECT_TRUE(target.GuardsIntact()) << size.ToString();
        CPixelList visitor;
        Helper::VisitImageData(target, visitor, monitor);
        EXPECT_EQ(visitor.pixels, places(size)) << size.ToString();
        visitors::CInitializer<float> initializer(7.0F);
        EXPECT_TRUE(Helper::VisitImageData(target, initializer, monitor)) << size.ToString();
        EXPECT_TRUE(target.GuardsIntact()) << size.ToString();
        EXPECT_EQ(target.At<float>(size[0] - 1, size[1] - 1, size[2] - 1), 7.0F) << size.ToString();
        EXPECT_EQ(target.OpenAccesses(), 0) << size.ToString();
    }
}

TEST(PixelVisit, FollowsPixelsThatStandApart) {
    CSparseImage target(CSize(3, 2, 2));
    CSparseImage source(CSize(3, 2, 2));
    for (long long z = 0; z < 2; ++z) {
        for (long long y = 0; y < 2; ++y) {
            for (long long x = 0; x < 3; ++x) {
                source.At(x, y, z) = place(x, y, z);
            }
        }
    }
    visitors::CCopy<float> copy;
    test::CRecordingMonitor monitor;
    EXPECT_TRUE(Helper::VisitImageData(target, source, copy, monitor));
    CPixelList visitor;
    EXPECT_TRUE(Helper::VisitImageData(target, visitor, monitor));
    EXPECT_EQ(visitor.pixels, places(CSize(3, 2, 2)));
    EXPECT_THAT(target.ValuesBetweenPixels(), testing::Each(-77.0F));
}

TEST(PixelVisit, OfAPlaneReportsOneStepPerRowAndOneMore) {
    const auto image = make_image(IMAGE_GREY_F, CSize(5, 3));
    CPixelList visitor;
    test::CRecordingMonitor monitor;
    EXPECT_TRUE(Helper::VisitImageData(*image, visitor, monitor));
    EXPECT_THAT(monitor.events, ElementsAre(std::string("begin 4 ") + TEXT, "step", "poll", "step", "poll",
                                            "step", "poll", "step", "poll", "end"));
}

TEST(PixelVisit, OfAVolumeReportsOneStepPerSliceAndOneMore) {
    const auto image = make_image(IMAGE_GREY_F, CSize(5, 7, 2));
    CPixelList visitor;
    test::CRecordingMonitor monitor;
    EXPECT_TRUE(Helper::VisitImageData(*image, visitor, monitor));
    EXPECT_THAT(monitor.events, ElementsAre(std::string("begin 3 ") + TEXT, "step", "poll", "step", "poll",
                                            "step", "poll", "end"));
}

TEST(PixelVisit, OfAPlaneEndsAfterTheRowInWhichTheUserCancels) {
    const auto image = test::MakeImage<float>(IMAGE_GREY_F, CSize(2, 4), place);
    CPixelList visitor;
    test::CRecordingMonitor monitor;
    monitor.cancelFromPoll = 3;
    EXPECT_FALSE(Helper::VisitImageData(*image, visitor, monitor));
    EXPECT_THAT(visitor.pixels, ElementsAre(0, 1, 10, 11, 20, 21));
    EXPECT_EQ(monitor.openReports, 0) << "the report is closed on the way out";
}

TEST(PixelVisit, OfAVolumeEndsAfterTheSliceInWhichTheUserCancels) {
    const auto image = test::MakeImage<float>(IMAGE_GREY_F, CSize(2, 1, 4), place);
    CPixelList visitor;
    test::CRecordingMonitor monitor;
    monitor.cancelFromPoll = 1;
    EXPECT_FALSE(Helper::VisitImageData(*image, visitor, monitor));
    EXPECT_THAT(visitor.pixels, ElementsAre(0, 1));
    EXPECT_EQ(monitor.openReports, 0);
}

TEST(PixelVisit, CancelledAfterItsLastStepHasNotRunToTheEnd) {
    for (const CSize& size : {CSize(2, 3), CSize(2, 1, 3)}) {
        const auto image = make_image(IMAGE_GREY_F, size);
        CPixelList visitor;
        test::CRecordingMonitor monitor;
        monitor.cancelFromPoll = 4; // after three rows or slices, the step "plus one"
        EXPECT_FALSE(Helper::VisitImageData(*image, visitor, monitor));
        EXPECT_EQ(visitor.pixels.size(), 6U);
        EXPECT_EQ(monitor.polls, 4);
    }
}

TEST(PixelVisit, OfAPairCanBeCancelledToo) {
    const auto target = make_image(IMAGE_GREY_F, CSize(2, 3));
    const auto source = test::MakeImage<float>(IMAGE_GREY_F, CSize(2, 3), [](auto...) { return 1.0F; });
    visitors::CCopy<float> copy;
    test::CRecordingMonitor monitor;
    monitor.cancelFromPoll = 1;
    EXPECT_FALSE(Helper::VisitImageData(*target, *source, copy, monitor));
    EXPECT_THAT(test::PixelsOf<float>(*target), ElementsAre(1, 1, 0, 0, 0, 0));
}

TEST(PixelVisit, PassesOnWhatTheMonitorThrowsAndClosesTheReport) {
    const auto image = make_image(IMAGE_GREY_F, CSize(2, 3));
    CPixelList visitor;
    test::CRecordingMonitor monitor;
    monitor.throwAtCall = 2;
    EXPECT_THROW(Helper::VisitImageData(*image, visitor, monitor), test::CInterrupted);
    EXPECT_EQ(monitor.openReports, 0);
}

/// Throws from every end of a report.
class CThrowingAtEnd : public test::CRecordingMonitor {
  public:
    void EndProgress() override {
        CRecordingMonitor::EndProgress();
        throw std::domain_error("at the end");
    }
};

TEST(PixelVisit, PassesOnWhatTheMonitorThrowsAtTheEnd) {
    const auto image = make_image(IMAGE_GREY_F, CSize(2, 3));
    CPixelList visitor;
    CThrowingAtEnd monitor;
    EXPECT_THROW(Helper::VisitImageData(*image, visitor, monitor), std::domain_error);
    EXPECT_EQ(monitor.openReports, 0);
}

TEST(PixelVisit, LeavesWithTheFirstOfTwoExceptions) {
    const auto image = make_image(IMAGE_GREY_F, CSize(2, 3));
    CPixelList visitor;
    CThrowingAtEnd monitor;
    monitor.throwAtCall = 2;
    EXPECT_THROW(Helper::VisitImageData(*image, visitor, monitor), test::CInterrupted);
    EXPECT_EQ(monitor.openReports, 0);
}

TEST(PixelVisit, WritesOneDebugLineForAReadingVisitor) {
    const auto image = make_image(IMAGE_GREY_8, CSize(2, 2));
    std::vector<unsigned long long> counts;
    visitors::CAnalyzerHistogram<unsigned char, unsigned long long> visitor(counts);
    test::CRecordingMonitor monitor;
    const CDebugLines debug;
    Helper::VisitImageData(*image, visitor, monitor);
    EXPECT_EQ(debug.Text(),
              "DEBUG************* access is readonly visitor=class TEVRA::visitors::CAnalyzerHistogram<"
              "unsigned char,unsigned __int64> image=class TEVRA::IImage pixeltype=unsigned char\n");
}

TEST(PixelVisit, WritesOneDebugLineForAWritingVisitor) {
    const auto image = make_image(IMAGE_GREY_F, CSize(2, 2));
    visitors::CInitializer<float> visitor(1.0F);
    test::CRecordingMonitor monitor;
    const CDebugLines debug;
    Helper::VisitImageData(*image, visitor, monitor);
    EXPECT_EQ(debug.Text(), "DEBUG************* access is readwrite visitor=class "
                            "TEVRA::visitors::CInitializer<float> image=class TEVRA::IImage "
                            "pixeltype=float\n");
}

TEST(PixelVisit, WritesOneDebugLineForAPair) {
    const auto target = make_image(IMAGE_GREY_F, CSize(2, 2));
    const auto source = make_image(IMAGE_GREY_F, CSize(2, 2));
    visitors::CCopy<float> visitor;
    test::CRecordingMonitor monitor;
    const CDebugLines debug;
    Helper::VisitImageData(*target, *source, visitor, monitor);
    EXPECT_EQ(debug.Text(), "DEBUG************* access is readwrite visitor=class "
                            "TEVRA::visitors::CCopy<float> image=class TEVRA::IImage pixeltype=float\n");
}

TEST(PixelVisit, WritesNoDebugLineWhenACheckFails) {
    const auto image = make_image(IMAGE_GREY_16, CSize(2, 2));
    const CDebugLines debug;
    EXPECT_NE(message_of(*image), "");
    EXPECT_EQ(debug.Text(), "");
}

TEST(PixelVisit, OfAFourDimensionalImageFailsBeforeAnyOtherCheck) {
    constexpr IImage::CType interleaved("RGB", 3, true);
    EXPECT_EQ(message_of(*make_image(interleaved, CSize({2, 2, 2, 2}))),
              "Dim = 4 can not be handle by CImageDataExtractor.");
}

TEST(PixelVisit, OfASixteenBitImageByAFloatVisitorNamesBothTypes) {
    const std::string message = message_of(*make_image(IMAGE_GREY_16, CSize(2, 2)));
    EXPECT_EQ(message, "input image: supposed pixel type 'GREY_F' does not match to image pixel type "
                       "'GREY_16'.");
}

TEST(PixelVisit, ChecksInterleavingBeforeThePixelType) {
    constexpr IImage::CType interleaved("RGB", 3, true);
    EXPECT_EQ(message_of(*make_image(interleaved, CSize(2, 2))),
              "input image: just non interleaved image types are supported.");
}

TEST(PixelVisit, FillsBothEqualPlaceholdersWithThePixelType) {
    constexpr IImage::CType unknown("DEPTH_24", 3);
    EXPECT_EQ(message_of(*make_image(unknown, CSize(2, 2))),
              "input image: Pixel type 'const float' and image type 'const float' do not match -- "
              "unregistered image type?.");
}

TEST(PixelVisit, ThatFailsLeavesImageAndVisitorAlone) {
    const auto image = test::MakeImage<unsigned short>(IMAGE_GREY_16, CSize(2, 2), [](auto...) { return 9; });
    visitors::CInitializer<float> initializer(1.0F);
    CPixelList list;
    list.pixels = {5.0F};
    test::CRecordingMonitor monitor;
    EXPECT_THROW(Helper::VisitImageData(*image, initializer, monitor), CException);
    EXPECT_THROW(Helper::VisitImageData(*image, list, monitor), CException);
    EXPECT_THAT(test::PixelsOf<unsigned short>(*image), ElementsAre(9, 9, 9, 9));
    EXPECT_THAT(list.pixels, ElementsAre(5.0F));
    EXPECT_TRUE(monitor.events.empty());
}

TEST(PixelVisit, OfAPairChecksEachImageBeforeItComparesThem) {
    visitors::CCopy<float> copy;
    test::CRecordingMonitor monitor;
    const auto target = make_image(IMAGE_GREY_F, CSize(2, 2));
    const auto otherTypeAndSize = make_image(IMAGE_GREY_8, CSize(3, 2));
    EXPECT_EQ(test::MessageOf([&] { Helper::VisitImageData(*target, *otherTypeAndSize, copy, monitor); }),
              "second image: supposed pixel type 'GREY_F' does not match to image "
              "pixel type 'GREY_8'.");
}

TEST(PixelVisit, OfAPairComparesDimensionsBeforeSizes) {
    visitors::CCopy<float> copy;
    test::CRecordingMonitor monitor;
    const auto target = make_image(IMAGE_GREY_F, CSize(2, 2));
    const auto volume = make_image(IMAGE_GREY_F, CSize(2, 2, 1)); // as many pixels
    EXPECT_EQ(test::MessageOf([&] { Helper::VisitImageData(*target, *volume, copy, monitor); }),
              "first image and second image: image dimensions '2' and '3' do not match.");
}

TEST(Initializer, SetsEveryPixelOfEveryType) {
    test::CRecordingMonitor monitor;
    const auto bytes = make_image(IMAGE_GREY_8, CSize(3, 2));
    visitors::CInitializer<unsigned char> byteVisitor(200);
    EXPECT_TRUE(Helper::VisitImageData(*bytes, byteVisitor, monitor));
    EXPECT_THAT(test::PixelsOf<unsigned char>(*bytes), testing::Each(200));
    const auto words = make_image(IMAGE_GREY_16, CSize(3, 2, 2));
    visitors::CInitializer<unsigned short> wordVisitor(60000);
    EXPECT_TRUE(Helper::VisitImageData(*words, wordVisitor, monitor));
    EXPECT_THAT(test::PixelsOf<unsigned short>(*words), testing::Each(60000));
    const auto floats = make_image(IMAGE_GREY_F, CSize({5}));
    visitors::CInitializer<float> floatVisitor(-0.25F);
    EXPECT_TRUE(Helper::VisitImageData(*floats, floatVisitor, monitor));
    EXPECT_THAT(test::PixelsOf<float>(*floats), testing::Each(-0.25F));
}

TEST(Copy, CopiesPixelByPixelAndLeavesTheSourceAlone) {
    for (const CSize& size : sizes_of_all_dimensions()) {
        const auto source = test::MakeImage<float>(IMAGE_GREY_F, size, place);
        const auto target = make_image(IMAGE_GREY_F, size);
        visitors::CCopy<float> visitor;
        test::CRecordingMonitor monitor;
        EXPECT_TRUE(Helper::VisitImageData(*target, *source, visitor, monitor));
        EXPECT_EQ(test::PixelsOf<float>(*target), places(size)) << size.ToString();
        EXPECT_EQ(test::PixelsOf<float>(*source), places(size)) << size.ToString();
    }
}

TEST(Mult, MultipliesComplexPixelsIntoTheFirstImage) {
    const auto first =
        test::MakeImage<Complex>(IMAGE_COMPLEX_F, CSize(2, 2), [](long long x, long long y, long long) {
            return Complex(static_cast<float>(x + 1), static_cast<float>(y - 2));
        });
    const auto second =
        test::MakeImage<Complex>(IMAGE_COMPLEX_F, CSize(2, 2), [](long long x, long long y, long long) {
            return Complex(static_cast<float>(3 - y), static_cast<float>(x + 2));
        });
    visitors::CMult<Complex> visitor;
    test::CRecordingMonitor monitor;
    EXPECT_TRUE(Helper::VisitImageData(*first, *second, visitor, monitor));
    // (1-2i)(3+2i), (2-2i)(3+3i), (1-i)(2+2i), (2-i)(2+3i)
    EXPECT_THAT(test::PixelsOf<Complex>(*first),
                ElementsAre(Complex(7, -4), Complex(12, 0), Complex(4, 0), Complex(7, 4)));
    EXPECT_THAT(test::PixelsOf<Complex>(*second),
                ElementsAre(Complex(3, 2), Complex(3, 3), Complex(2, 2), Complex(2, 3)));
}

} // namespace TEVRA
