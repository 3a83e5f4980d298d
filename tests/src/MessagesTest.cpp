// SPDX-License-Identifier: BSD-3-Clause
// Every message of the library: provoked through the operation that reports it, compared in exception type,
// text, function, source and, where it is fixed, line.
#include "Numeric/Matrix.h"
#include "Utils/PointOperationsImpl.h"
#include "Utils/visitors/PointOperationStatistics.h"
#include "Utils/visitors/PointOperations.h"
#include "support/RecordingMonitor.h"
#include "zeklib2core/Exception.h"
#include "zeklib2image/Image.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

namespace TEVRA {
namespace {

struct SMessage {
    std::string name; ///< of the test
    std::function<void()> provoke;
    std::string text;
    std::string source;
    std::string function;
    std::optional<std::int32_t> line;
};

void PrintTo(const SMessage& message, std::ostream* out) {
    *out << message.text;
}

using Messages = std::vector<SMessage>;

Messages matrix_messages() {
    const std::string matrixSource = "src/Numeric/Matrix";
    const std::string interfaceSource = "src/Numeric/MatrixInterface";
    const std::string access = "TEVRA::CMatrix<double>::operator ()";
    return {
        {"MatrixReadAccess",
         [] {
             const CMatrix<double> matrix(2, 3);
             matrix(4, 5);
         },
         "Index exceeds matrix bounds. Tried to access index (4,5) but Matrix size is 2-by-3", matrixSource,
         access, 83},
        {"MatrixWriteAccess",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix(4, 5) = 1.0;
         },
         "Index exceeds matrix bounds.Tried to access index (4,5) but Matrix size is 2-by-3", matrixSource,
         access, 91},
        {"MatrixProduct",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix *= CMatrix<double>(4, 5);
         },
         "Tried to multiply 2-by-3 *= 4-by-5 matrices", interfaceSource,
         "TEVRA::IMatrix<double>::operator *=", 85},
        {"MatrixSum",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix += CMatrix<double>(4, 5);
         },
         "Tried to add 2-by-3 and 4-by-5 matrices", interfaceSource,
         "TEVRA::IMatrix<double>::operator +=", 130},
        {"MatrixDifference",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix -= CMatrix<double>(4, 5);
         },
         "Tried to subtract 2-by-3 and 4-by-5 matrices", interfaceSource,
         "TEVRA::IMatrix<double>::operator -=", 145},
        {"MatrixAddRows",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix.AddRows(CMatrix<double>(4, 5));
         },
         "Tried to concatenate 5-dim rows to 3-dim rows", interfaceSource, "TEVRA::IMatrix<double>::AddRows",
         176},
        {"MatrixAddCols",
         [] {
             CMatrix<double> matrix(2, 3);
             matrix.AddCols(CMatrix<double>(4, 5));
         },
         "Tried to concatenate 4-dim Cols to 2-dim Cols", interfaceSource, "TEVRA::IMatrix<double>::AddCols",
         209},
    };
}

CImage make_image(const IImage::CType& type, const CSize& size) {
    return CImage(type, size, CSize(0, 0, 0));
}

template <typename VisitorT, typename... Images>
void visit(VisitorT visitor, Images&&... images) {
    test::CRecordingMonitor monitor;
    Impl::VisitorHelper<0>::VisitImageData(images..., visitor, monitor);
}

using FloatHistogram = visitors::CAnalyzerHistogram<float, unsigned long long>;

constexpr IImage::CType INTERLEAVED("RGB", 3, true);
constexpr IImage::CType UNKNOWN("DEPTH_24", 3);

Messages extractor_messages() {
    const std::string source = "src/utils/PointOperationsImpl";
    const std::string readOnly = "TEVRA::Impl::CImageDataExtractor<const class TEVRA::IImage,const float>::";
    const std::string readWrite = "TEVRA::Impl::CImageDataExtractor<class TEVRA::IImage,float>::";
    return {
        {"ExtractorDimension",
         [] {
             visit(visitors::CAnalyzerMinMax<float>(), make_image(IMAGE_GREY_F, CSize({2, 2, 2, 2})));
         },
         "Dim = 4 can not be handle by CImageDataExtractor.", source, readOnly + "InitSize", std::nullopt},
        {"ExtractorWithoutSize",
         [] {
             CImage image = make_image(IMAGE_GREY_F, CSize(2, 2));
             const Impl::CImageDataExtractor<IImage, float> data(image, "input image");
             data.CheckImageValidy();
         },
         "input image: image dimension '0' not supported.", source, readWrite + "CheckImageValidy",
         std::nullopt},
        {"ExtractorInterleaved",
         [] { visit(visitors::CAnalyzerMinMax<float>(), make_image(INTERLEAVED, CSize(2, 2))); },
         "input image: just non interleaved image types are supported.", source,
         readOnly + "CheckImageValidy", std::nullopt},
        {"ExtractorUnregisteredType",
         [] { visit(visitors::CInitializer<float>(1.0F), make_image(UNKNOWN, CSize(2, 2))); },
         "input image: Pixel type 'float' and image type 'float' do not match -- unregistered image type?.",
         source, readWrite + "SetPixelTypeInfo", std::nullopt},
        {"ExtractorPixelTypeForReading",
         [] { visit(visitors::CAnalyzerMinMax<float>(), make_image(IMAGE_GREY_16, CSize(2, 2))); },
         "input image: supposed pixel type 'GREY_F' does not match to image pixel type 'GREY_16'.", source,
         readOnly + "CheckPixelType", std::nullopt},
        {"ExtractorPixelTypeForWriting",
         [] { visit(visitors::CInitializer<float>(1.0F), make_image(IMAGE_GREY_8, CSize(2, 2))); },
         "input image: supposed pixel type 'GREY_F' does not match to image pixel type 'GREY_8'.", source,
         readWrite + "CheckPixelType", std::nullopt},
        {"ExtractorPixelTypeOfBytes",
         [] { visit(visitors::CInitializer<unsigned char>(1), make_image(IMAGE_GREY_F, CSize(2, 2))); },
         "input image: supposed pixel type 'GREY_8' does not match to image pixel type 'GREY_F'.", source,
         "TEVRA::Impl::CImageDataExtractor<class TEVRA::IImage,unsigned char>::CheckPixelType", std::nullopt},
        {"ExtractorPixelTypeOfWords",
         [] {
             CImage image = make_image(IMAGE_BINARY_FG, CSize(2, 2));
             Impl::CImageDataExtractor<const IImage, const unsigned short>(image, "mask").Check();
         },
         "mask: supposed pixel type 'GREY_16' does not match to image pixel type 'BINARY_FG'.", source,
         "TEVRA::Impl::CImageDataExtractor<const class TEVRA::IImage,const unsigned short>::CheckPixelType",
         std::nullopt},
        {"ExtractorPixelTypeOfComplexNumbers",
         [] {
             visit(visitors::CMult<std::complex<float>>(), make_image(IMAGE_COMPLEX_F, CSize(2, 2)),
                   make_image(IMAGE_GREY_F, CSize(2, 2)));
         },
         "second image: supposed pixel type 'COMPLEX_F' does not match to image pixel type 'GREY_F'.", source,
         "TEVRA::Impl::CImageDataExtractor<const class TEVRA::IImage,const class "
         "std::complex<float>>::CheckPixelType",
         std::nullopt},
        {"PairOfOtherDimensions",
         [] {
             visit(visitors::CCopy<float>(), make_image(IMAGE_GREY_F, CSize(2, 2, 1)),
                   make_image(IMAGE_GREY_F, CSize(2, 2)));
         },
         "first image and second image: image dimensions '3' and '2' do not match.", source,
         "TEVRA::Impl::CheckImagesAgainst", std::nullopt},
        {"PairOfOtherSizes",
         [] {
             visit(visitors::CCopy<float>(), make_image(IMAGE_GREY_F, CSize(2, 3)),
                   make_image(IMAGE_GREY_F, CSize(3, 2)));
         },
         "first image and second image: image sizes (2,3) and (3,2) do not match.", source,
         "TEVRA::Impl::CheckImagesAgainst", std::nullopt},
        {"VisitWithoutSize",
         [] {
             CImage image = make_image(IMAGE_GREY_F, CSize(2, 2));
             Impl::CImageDataExtractor<const IImage, const float> unread(image, "input image");
             visitors::CAnalyzerMinMax<float> visitor;
             test::CRecordingMonitor monitor;
             Impl::VisitorHelper<0>::VisitImageData(unread, visitor, monitor);
         },
         "input image: image dimension '0' not supported", source,
         "TEVRA::Impl::VisitorHelper<0>::VisitImageData", std::nullopt},
    };
}

Messages histogram_messages() {
    const std::string source = "src/Utils/visitors/PointOperationStatistics";
    const std::string function =
        "TEVRA::visitors::CAnalyzerHistogram<float,unsigned __int64>::CAnalyzerHistogram";
    return {
        {"HistogramWithTooManyBins",
         [] {
             std::vector<unsigned long long> counts;
             FloatHistogram(counts, 0.0F, 1.0F, 2305843009213693952ULL);
         },
         "vector size is insufficient (std::vector<T>::max_size() = 2305843009213693951 is lower than "
         "2305843009213693952",
         source, function, std::nullopt},
        {"HistogramWithMostBinsThinkable",
         [] {
             std::vector<unsigned long long> counts;
             FloatHistogram(counts, 0.0F, 1.0F, 18446744073709551615ULL);
         },
         "vector size is insufficient (std::vector<T>::max_size() = 2305843009213693951 is lower than "
         "18446744073709551615",
         source, function, std::nullopt},
        {"HistogramOfAnEmptyRange",
         [] {
             std::vector<unsigned long long> counts;
             FloatHistogram(counts, 1.5F, 1.5F, 256);
         },
         "Value range is invalid (min value = 1.5 larger or equal to max value 1.5", source, function,
         std::nullopt},
    };
}

Messages all_messages() {
    Messages all;
    for (const Messages& messages : {matrix_messages(), extractor_messages(), histogram_messages()}) {
        all.insert(all.end(), messages.begin(), messages.end());
    }
    return all;
}

class MessageTable : public testing::TestWithParam<SMessage> {};

INSTANTIATE_TEST_SUITE_P(Library, MessageTable, testing::ValuesIn(all_messages()),
                         [](const auto& message) { return message.param.name; });

} // namespace

TEST_P(MessageTable, IsReportedAsWritten) {
    const SMessage& expected = GetParam();
    try {
        expected.provoke();
        FAIL() << "nothing was thrown";
    } catch (const CException& exception) {
        EXPECT_TRUE(typeid(exception) == typeid(CException)) << "another class: " << typeid(exception).name();
        EXPECT_EQ(exception.Message(), expected.text);
        EXPECT_EQ(exception.Source(), expected.source);
        EXPECT_EQ(exception.Function(), expected.function);
        if (expected.line) {
            EXPECT_EQ(exception.Line(), *expected.line);
        } else {
            EXPECT_GT(exception.Line(), 0);
        }
        EXPECT_THAT(exception.BuildStamp(),
                    testing::MatchesRegex("[A-Z][a-z][a-z] [ 0-9][0-9] [0-9][0-9][0-9][0-9]-"
                                          "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
    }
}

} // namespace TEVRA
